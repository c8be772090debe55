// Converts the colours of images to RGB, CMYK or grey, through the document's profiles.
//
//   - What samples mean comes from their profile or calibration; of device spaces from the document's default
//   space or
//     output intent, and else from what viewers take them for.
//   - They become device colours, or where the document gives these another meaning or promises to name its
//   colours
//     (PDF/A), colours of a profile that stands beside them.
//   - Palettes are converted as such; a colour-key mask, which names samples, becomes a stencil mask.
//
// Left as they are: grey images where colour is asked for, because every device shows them and they are the
// smallest; masks; Separation and DeviceN, whose inks are meant; images preblended with a matte colour.
#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <qpdf/QPDF.hh>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/document/device_colors.h"
#include "optimizer/document/document.h"
#include "optimizer/document/promises.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/image/color_key.h"
#include "optimizer/image/convert.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/profile.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// Stored bytes that one batch holds.
constexpr std::size_t kBatchBytes = std::size_t{24} << 20;
constexpr std::size_t kBatchImages = 64;
// The coding is chosen in earnest later.
constexpr int kQuickEffort = 2;

struct Task {
  QPDFObjectHandle object;
  ImageSource source;
  std::vector<int> colorKey;  // ranges of stored samples; empty for none
  const ColorConverter* converter = nullptr;
  std::optional<EncodedImage> image, stencil;
};

ColorKind kindOf(ColorConversion conversion) {
  return conversion == ColorConversion::rgb    ? ColorKind::rgb
         : conversion == ColorConversion::cmyk ? ColorKind::cmyk
                                               : ColorKind::grey;
}

class ConvertColorsPass : public Pass {
 public:
  std::string_view name() const override { return "convert colors"; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("convert colors", [&]() -> Result<PassOutcome> {
      if (!chooseTarget(context)) return PassOutcome::unchanged;
      work(context);
      if (converted_ == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(converted_) + " images in other colours");
      return PassOutcome::changed;
    });
  }

 private:
  bool chooseTarget(PassContext& context);
  void embedTarget(QPDF& pdf, Bytes profile, int components);
  void work(PassContext& context);
  std::set<QPDFObjGen> masks(Document& document);
  const DefaultSpace& defaultOf(ColorKind kind) const;
  const ColorConverter* converterFor(const ImageColorSpace& space);
  bool convertPalette(QPDFObjectHandle image, const ImageSource& source, const ColorConverter& converter);
  void runBatch(PassContext& context, std::vector<Task>& batch);
  void apply(QPDF& pdf, Task& task);

  DeviceColors device_;
  Bytes outputProfile_;
  ConversionTarget target_;
  QPDFObjectHandle targetSpace_;
  using ConverterKey = std::pair<Bytes, std::vector<double>>;
  std::map<ConverterKey, std::unique_ptr<ColorConverter>> converters_;
  std::size_t converted_ = 0;
};

const DefaultSpace& ConvertColorsPass::defaultOf(ColorKind kind) const {
  return kind == ColorKind::grey ? device_.gray : kind == ColorKind::cmyk ? device_.cmyk : device_.rgb;
}

void ConvertColorsPass::embedTarget(QPDF& pdf, Bytes profile, int components) {
  QPDFObjectHandle stream = pdf.makeIndirectObject(QPDFObjectHandle::newStream(&pdf));
  stream.getDict().replaceKey("/N", QPDFObjectHandle::newInteger(components));
  target_.profile = profile;
  setStreamData(stream, std::move(profile), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
  targetSpace_ = QPDFObjectHandle::newArray({QPDFObjectHandle::newName("/ICCBased"), stream});
}

// False where the document allows no colours of that kind.
bool ConvertColorsPass::chooseTarget(PassContext& context) {
  device_ = deviceColorsOf(context.document);
  if (device_.outputProfile.isStream()) {
    Result<Bytes> profile = decodedStreamData(device_.outputProfile);
    if (profile) outputProfile_ = std::move(*profile);
  }
  const bool pdfA = promisesOf(context.document).pdfAPart != 0;
  target_.kind = kindOf(context.settings.colorConversion);
  QPDF& pdf = context.document.pdf();
  const DefaultSpace& byDefault = defaultOf(target_.kind);
  const bool intended = profileIsFor(outputProfile_, target_.kind) && !byDefault.present;
  if (target_.kind == ColorKind::cmyk) {
    // There is no profile of a press to put in: only the document has one.
    if (byDefault.present || (pdfA && !intended)) {
      context.report.note("the document's own CMYK forbids others");
      return false;
    }
    if (intended) target_.profile = outputProfile_;
    targetSpace_ = QPDFObjectHandle::newName("/DeviceCMYK");
  } else if (target_.kind == ColorKind::rgb) {
    targetSpace_ = QPDFObjectHandle::newName("/DeviceRGB");
    if (pdfA && intended) {
      target_.profile = outputProfile_;
    } else if (pdfA || byDefault.present) {
      embedTarget(pdf, srgbProfile(), 3);
    }
  } else {
    targetSpace_ = QPDFObjectHandle::newName("/DeviceGray");
    if (byDefault.present || (pdfA && !device_.outputIntent)) embedTarget(pdf, greyProfile(), 1);
  }
  return true;
}

std::set<QPDFObjGen> ConvertColorsPass::masks(Document& document) {
  std::set<QPDFObjGen> found;
  for (QPDFObjectHandle& object : document.reachable()) {
    if (!object.isStream()) continue;
    for (const char* key : {"/SMask", "/Mask"}) {
      if (QPDFObjectHandle mask = object.getDict().getKey(key); mask.isStream())
        found.insert(mask.getObjGen());
    }
  }
  return found;
}

// Null where the samples stay.
const ColorConverter* ConvertColorsPass::converterFor(const ImageColorSpace& space) {
  if (!space.lab && (space.baseKind == target_.kind || space.baseKind == ColorKind::grey)) return nullptr;
  Bytes meaning;
  if (!space.profiled && !space.lab) {
    const DefaultSpace& byDefault = defaultOf(space.baseKind);
    if (byDefault.several) return nullptr;
    if (byDefault.present) {
      const Result<ImageColorSpace> read = readColorSpace(byDefault.space);
      if (!read || read->kind != space.baseKind || read->profile.empty()) return nullptr;
      meaning = read->profile;
    } else if (profileIsFor(outputProfile_, space.baseKind)) {
      meaning = outputProfile_;
    }
  }
  ConverterKey key{space.profiled ? space.profile : meaning,
                   {double(space.baseKind), double(space.profiled)}};
  if (space.lab) key.second.insert(key.second.end(), space.labRange.begin(), space.labRange.end());
  const auto [at, fresh] = converters_.try_emplace(std::move(key));
  if (fresh) at->second = ColorConverter::make(space, meaning, target_);
  return at->second.get();
}

bool ConvertColorsPass::convertPalette(QPDFObjectHandle image, const ImageSource& source,
                                       const ColorConverter& converter) {
  const ImageColorSpace& space = source.color;
  const auto count = static_cast<std::uint32_t>(space.palette.size() / space.baseComponents);
  if (count == 0) return false;
  Pixels colors(count, 1, space.baseComponents, space.baseKind);
  std::copy_n(space.palette.begin(), colors.samples().size(), colors.samples().begin());
  const Pixels converted = converter.convert(colors);
  QPDFObjectHandle indexed = QPDFObjectHandle::newArray();
  indexed.appendItem(QPDFObjectHandle::newName("/Indexed"));
  indexed.appendItem(targetSpace_);
  indexed.appendItem(QPDFObjectHandle::newInteger(static_cast<long long>(count) - 1));
  indexed.appendItem(
      QPDFObjectHandle::newString(std::string(converted.samples().begin(), converted.samples().end())));
  image.getDict().replaceKey("/ColorSpace", indexed);
  return true;
}

void ConvertColorsPass::work(PassContext& context) {
  const std::set<QPDFObjGen> asMasks = masks(context.document);
  std::vector<Task> batch;
  std::size_t held = 0;
  for (QPDFObjectHandle& object : context.document.reachable()) {
    if (!isImage(object) || asMasks.count(object.getObjGen()) != 0) continue;
    Result<ImageSource> source = readImageSource(object);
    if (!source || source->stencil || source->matte || source->jpxAlpha) continue;
    const ColorConverter* converter = converterFor(source->color);
    if (converter == nullptr) continue;
    if (source->color.kind == ColorKind::indexed) {
      if (convertPalette(object, *source, *converter)) ++converted_;
      continue;
    }
    Task task;
    task.object = object;
    task.converter = converter;
    if (source->colorKeyMask) {
      for (const QPDFObjectHandle& item : object.getDict().getKey("/Mask").getArrayAsVector()) {
        task.colorKey.push_back(QPDFObjectHandle(item).isInteger() ? QPDFObjectHandle(item).getIntValueAsInt()
                                                                   : -1);
      }
    }
    task.source = std::move(*source);
    held += task.source.data.size();
    batch.push_back(std::move(task));
    if (held < kBatchBytes && batch.size() < kBatchImages) continue;
    runBatch(context, batch);
    held = 0;
  }
  runBatch(context, batch);
}

void ConvertColorsPass::runBatch(PassContext& context, std::vector<Task>& batch) {
  context.pool.parallelFor(
      batch.size(),
      [&](std::size_t i) {
        try {
          Task& task = batch[i];
          if (!task.colorKey.empty()) {
            const std::optional<Pixels> stencil = stencilOfColorKey(task.source, task.colorKey);
            if (!stencil) return;
            task.stencil = encodeFlate(packedOf(*stencil), kQuickEffort);
          }
          const Result<Pixels> pixels = decodeImage(task.source);
          if (!pixels) return;
          task.image = encodeFlate(packedOf(task.converter->convert(*pixels)), kQuickEffort);
        } catch (const std::exception&) {
          batch[i].image.reset();  // out of memory: the image stays as it is
        }
      },
      [&](std::size_t i) { return std::min<std::size_t>(decodedBytes(batch[i].source), maxImageBytes) * 4; });
  for (Task& task : batch) apply(context.document.pdf(), task);
  batch.clear();
}

void setCoded(QPDFObjectHandle image, const EncodedImage& coded) {
  QPDFObjectHandle dictionary = image.getDict();
  dictionary.replaceKey("/Width", QPDFObjectHandle::newInteger(coded.width));
  dictionary.replaceKey("/Height", QPDFObjectHandle::newInteger(coded.height));
  dictionary.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(coded.bitsPerComponent));
  setStreamData(
      image, coded.data, QPDFObjectHandle::newName("/" + coded.filter),
      coded.decodeParms.empty() ? QPDFObjectHandle::newNull() : QPDFObjectHandle::parse(coded.decodeParms));
}

void ConvertColorsPass::apply(QPDF& pdf, Task& task) {
  if (!task.image) return;
  QPDFObjectHandle dictionary = task.object.getDict();
  dictionary.removeKey("/Decode");
  dictionary.replaceKey("/ColorSpace", targetSpace_);
  setCoded(task.object, *task.image);
  if (task.stencil) {
    QPDFObjectHandle mask = pdf.makeIndirectObject(QPDFObjectHandle::newStream(&pdf));
    mask.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    mask.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    mask.getDict().replaceKey("/ImageMask", QPDFObjectHandle::newBool(true));
    setCoded(mask, *task.stencil);
    task.object.getDict().replaceKey("/Mask", mask);
  }
  ++converted_;
}

}  // namespace

std::unique_ptr<Pass> makeConvertColorsPass() { return std::make_unique<ConvertColorsPass>(); }

}  // namespace optimizer
