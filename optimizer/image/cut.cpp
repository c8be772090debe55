#include "optimizer/image/cut.h"

#include <algorithm>
#include <utility>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/flate.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/image/decode.h"

namespace optimizer {
namespace {

// The coding is chosen in earnest later, by those who look at all codings.
constexpr int quickEffort = 6;

CutImage cutOf(EncodedImage image) { return {std::move(image.data), image.filter, image.decodeParms}; }

std::optional<CutImage> cutSamples(const ImageSource& source, const PixelRegion& region, Cut how) {
  Result<PackedSamples> whole = decodeSamples(source);
  if (!whole) return std::nullopt;
  const std::size_t bits = std::size_t{whole->channels} * whole->bits;
  // Eight pixels are whole bytes at every depth.
  const std::size_t first = region.left * bits / 8,
                    end = ((std::size_t{region.left} + region.width) * bits + 7) / 8;
  PackedSamples part = *whole;
  if (how == Cut::away) {
    part.width = region.width;
    part.height = region.height;
    part.stride = (region.width * bits + 7) / 8;
    part.samples.assign(part.stride * part.height, 0);
  } else {
    std::fill(part.samples.begin(), part.samples.end(), std::uint8_t{0});
  }
  for (std::uint32_t y = 0; y < region.height; ++y) {
    const auto row = whole->samples.begin() + static_cast<std::ptrdiff_t>(whole->stride * (region.top + y));
    const std::size_t target = how == Cut::away ? part.stride * y : part.stride * (region.top + y) + first;
    std::copy(row + static_cast<std::ptrdiff_t>(first), row + static_cast<std::ptrdiff_t>(end),
              part.samples.begin() + static_cast<std::ptrdiff_t>(target));
  }
  return cutOf(encodeFlate(part, quickEffort));
}

Pixels cutPixels(const Pixels& whole, const PixelRegion& region, Cut how) {
  Pixels part = crop(whole, region.left, region.top, region.width, region.height);
  if (how == Cut::away) return part;
  Pixels blank(whole.width(), whole.height(), whole.channels(), whole.kind(), whole.bits());
  for (std::uint32_t y = 0; y < region.height; ++y) {
    if (whole.bits() == 1) {
      for (std::uint32_t x = 0; x < region.width; ++x)
        blank.setBit(region.left + x, region.top + y, part.bit(x, y));
    } else {
      std::copy_n(part.row(y), part.stride(),
                  blank.row(region.top + y) + std::size_t{region.left} * whole.channels());
    }
  }
  return blank;
}

// The samples as the filter hands them out, whatever Decode array and colour space make of them.
std::optional<Pixels> storedPixels(ImageSource source) {
  source.decode.clear();
  if (source.coding != ImageCoding::jpx) {
    if (source.color.components != 1) return std::nullopt;
    source.color = ImageColorSpace();
  }
  Result<Pixels> pixels = decodeImage(source);
  if (!pixels) return std::nullopt;
  return std::move(*pixels);
}

}  // namespace

std::uint32_t cutGrid(const ImageSource& source) { return source.coding == ImageCoding::jpeg ? 16 : 8; }

std::optional<CutImage> cutImage(const ImageSource& source, const PixelRegion& region, Cut how) {
  if (region.area() == 0 || std::uint64_t{region.left} + region.width > source.width ||
      std::uint64_t{region.top} + region.height > source.height || region.left % cutGrid(source) != 0) {
    return std::nullopt;
  }
  switch (source.coding) {
    case ImageCoding::raw:
    case ImageCoding::flate:
      return cutSamples(source, region, how);
    case ImageCoding::jpeg: {
      const JpegRegion part{region.left, region.top, region.width, region.height};
      const Result<JpegInfo> info = readJpegInfo(source.data);
      if (!info || info->width != source.width || info->height != source.height) return std::nullopt;
      Result<Bytes> data = how == Cut::away ? cropJpeg(source.data, part) : blankJpeg(source.data, part);
      if (!data) return std::nullopt;
      CutImage cut{std::move(*data), "DCTDecode", ""};
      if (source.colorTransform)
        cut.decodeParms = "<</ColorTransform " + std::to_string(*source.colorTransform) + ">>";
      return cut;
    }
    case ImageCoding::ccitt:
    case ImageCoding::jbig2: {
      const std::optional<Pixels> pixels = storedPixels(source);
      if (!pixels || pixels->bits() != 1) return std::nullopt;
      const Pixels left = cutPixels(*pixels, region, how);
      // The quicker of the bitonal codings.
      return CutImage{encodeCcittG4(bitonalOf(left)), "CCITTFaxDecode",
                      "<</K -1/Columns " + std::to_string(left.width()) + ">>"};
    }
    case ImageCoding::jpx: {
      if (source.jpxAlpha || source.color.kind == ColorKind::indexed) return std::nullopt;
      const std::optional<Pixels> pixels = storedPixels(source);
      if (!pixels) return std::nullopt;
      Result<EncodedImage> image = encodeJpx(cutPixels(*pixels, region, how), 0);
      if (!image) return std::nullopt;
      return cutOf(std::move(*image));
    }
  }
  return std::nullopt;
}

}  // namespace optimizer
