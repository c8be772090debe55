#include "optimizer/passes/mrc.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/document/stream_data.h"
#include "optimizer/image/convert.h"
#include "optimizer/image/decode.h"

namespace optimizer {
namespace {

// An image below this share of its page is a picture on the page, not the page.
constexpr double leastCoverage = 0.6;
// Inches: what is smaller than a small notebook's page is a picture, whatever its page.
constexpr double leastSide = 3;
// Pages stored in so few bytes have nothing to give.
constexpr std::size_t leastBytes = 8000;

QPDFObjectHandle colorSpaceOf(QPDFObjectHandle image) {
  QPDFObjectHandle space = image.getDict().getKey("/ColorSpace");
  const bool indexed =
      space.isArray() && space.getArrayNItems() > 1 && space.getArrayItem(0).isName() &&
      (space.getArrayItem(0).getName() == "/Indexed" || space.getArrayItem(0).getName() == "/I");
  return indexed ? space.getArrayItem(1) : space;
}

QPDFObjectHandle newImage(QPDF& pdf, const EncodedImage& coded) {
  QPDFObjectHandle image = QPDFObjectHandle::newStream(&pdf);
  QPDFObjectHandle dictionary = image.getDict();
  dictionary.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
  dictionary.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
  dictionary.replaceKey("/Width", QPDFObjectHandle::newInteger(coded.width));
  dictionary.replaceKey("/Height", QPDFObjectHandle::newInteger(coded.height));
  dictionary.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(coded.bitsPerComponent));
  QPDFObjectHandle parms =
      coded.decodeParms.empty() ? QPDFObjectHandle::newNull() : QPDFObjectHandle::parse(coded.decodeParms);
  setStreamData(image, coded.data, QPDFObjectHandle::newName("/" + coded.filter), parms);
  return image;
}

// The matrix that takes the unit square to a part of it.
std::string placeOf(const PagePart& part) {
  const auto number = [](double value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), " %.5f", value);
    return std::string(text.data());
  };
  return number(part.right - part.left) + " 0 0" + number(part.bottom - part.top) + number(part.left) +
         number(1 - part.bottom);
}

}  // namespace

bool layersSuit(QPDFObjectHandle image, const ImageJob& job, double pageCoverage, const Settings& settings) {
  if (!allows(settings.continuousCodecs, Codec::automatic) && !allows(settings.continuousCodecs, Codec::mrc))
    return false;
  if (settings.imageQuality >= 100 || job.losslessOnly || job.role != ImageRole::picture || job.softMask)
    return false;
  const ImageColorSpace& color = job.source.color;
  if (color.baseKind != ColorKind::grey && color.baseKind != ColorKind::rgb) return false;
  if (color.lab || job.source.colorKeyMask || job.source.jpxAlpha || job.source.bits < 8) return false;
  if (pageCoverage < leastCoverage || job.source.storedBytes < leastBytes || job.dpiX <= 0 || job.dpiY <= 0)
    return false;
  if (job.source.width < leastSide * job.dpiX || job.source.height < leastSide * job.dpiY) return false;
  QPDFObjectHandle dictionary = image.getDict();
  for (const char* key : {"/SMask", "/Mask", "/Alternates", "/SMaskInData"})
    if (dictionary.hasKey(key)) return false;
  return dictionary.hasKey("/ColorSpace");
}

std::optional<LayeredImage> layersOf(const ImageJob& job, const Settings& settings, std::size_t toBeat) {
  // Ink is sharp enough at this resolution; a finer page is reduced by whole numbers, which leaves it at 300
  // dpi or more and takes a quarter of the time and memory.
  constexpr double finestMask = 450, enough = 290;
  const double dpi = std::min(job.dpiX, job.dpiY);
  const auto reduce = dpi > finestMask ? static_cast<std::uint32_t>(dpi / enough) : 1u;
  Result<Pixels> pixels = decodeImage(job.source, std::max(1u, reduce));
  if (!pixels) return std::nullopt;
  if (pixels->kind() == ColorKind::indexed) *pixels = applyPalette(*pixels, job.source.color);
  std::unique_ptr<ColorConverter> shown;
  if (job.unlikeDevice) {
    shown = ColorConverter::make(job.source.color, {}, {});
    if (!shown) return std::nullopt;
  }
  return codeInLayers(*pixels, job.dpiX * pixels->width() / job.source.width,
                      job.dpiY * pixels->height() / job.source.height, settings, toBeat, shown.get());
}

void replaceByLayers(QPDF& pdf, QPDFObjectHandle image, const LayeredImage& layers) {
  const QPDFObjectHandle space = colorSpaceOf(image);
  QPDFObjectHandle before = image.getDict().shallowCopy();
  QPDFObjectHandle background = pdf.makeIndirectObject(newImage(pdf, layers.background));
  QPDFObjectHandle foreground = pdf.makeIndirectObject(newImage(pdf, layers.foreground));
  QPDFObjectHandle mask = pdf.makeIndirectObject(newImage(pdf, layers.mask));
  std::vector<QPDFObjectHandle> colored = {background, foreground};
  QPDFObjectHandle objects = QPDFObjectHandle::newDictionary();
  objects.replaceKey("/B", background);
  objects.replaceKey("/F", foreground);
  std::string content = "/B Do";
  for (const LayeredPicture& picture : layers.pictures) {
    const std::string name = "/P" + std::to_string(colored.size() - 1);
    colored.push_back(pdf.makeIndirectObject(newImage(pdf, picture.image)));
    objects.replaceKey(name, colored.back());
    content += " q" + placeOf(picture.part) + " cm " + name + " Do Q";
  }
  content += layers.pictures.empty() ? "/F Do" : " /F Do";
  for (QPDFObjectHandle layer : colored) {
    QPDFObjectHandle dictionary = layer.getDict();
    dictionary.replaceKey("/ColorSpace", space);
    dictionary.replaceKey("/Interpolate", QPDFObjectHandle::newBool(true));
    if (before.hasKey("/Intent")) dictionary.replaceKey("/Intent", before.getKey("/Intent"));
  }
  mask.getDict().replaceKey("/ImageMask", QPDFObjectHandle::newBool(true));
  foreground.getDict().replaceKey("/Mask", mask);

  QPDFObjectHandle resources = QPDFObjectHandle::newDictionary();
  resources.replaceKey("/XObject", objects);
  QPDFObjectHandle form = QPDFObjectHandle::newDictionary();
  form.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
  form.replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
  form.replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 1 1]"));
  form.replaceKey("/Resources", resources);
  for (const char* key : {"/OC", "/StructParent", "/Metadata", "/PieceInfo", "/LastModified"})
    if (before.hasKey(key)) form.replaceKey(key, before.getKey(key));
  image.replaceDict(form);
  setStreamData(image, Bytes(content.begin(), content.end()), QPDFObjectHandle::newNull(),
                QPDFObjectHandle::newNull());
}

}  // namespace optimizer
