// Images: resampled to the settings' resolution, reduced to the colours they have, and coded anew, each in
// the smallest form that keeps its look (image/recode.h decides).
//
//   1. Every image XObject of the document is found, with the pictures that use it as a mask.
//   2. Images that are equal byte for byte are worked once, at the largest use of any of them.
//   3. Bytes are read on this thread; the pool decodes, resamples, codes and judges; results are put back in
//   order, so
//      that they do not depend on the number of threads. A batch holds so many images that memory stays
//      bounded.
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
#include "optimizer/document/usage.h"
#include "optimizer/image/color.h"
#include "optimizer/image/recode.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/mrc.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// Stored bytes that one batch holds.
constexpr std::size_t kBatchBytes = std::size_t{24} << 20;
constexpr std::size_t kBatchImages = 256;

struct Entry {
  QPDFObjectHandle object;
  ImageRole role = ImageRole::picture;
  double dpiX = 0, dpiY = 0;
  double pageCoverage = 0;
  bool fixed = false;                     // used in a way that forbids any change of its samples
  std::vector<QPDFObjectHandle> parents;  // pictures whose soft mask this is
};

struct Task {
  std::vector<std::size_t> entries;  // equal images, the first of them is read
  ImageJob job;
  bool mayBeLayered = false;
  std::optional<RecodedImage> result;
  std::optional<LayeredImage> layers;  // where they beat the result
};

// What decides whether two image streams are the same picture, apart from their data.
std::string dictionaryKey(QPDFObjectHandle dictionary) {
  std::string key;
  for (const char* name : {"/Width", "/Height", "/BitsPerComponent", "/ColorSpace", "/Decode", "/Filter",
                           "/DecodeParms", "/ImageMask", "/Mask", "/SMask", "/SMaskInData", "/Matte"}) {
    key += dictionary.getKey(name).unparse();
    key += '\n';
  }
  return key;
}

class ImagesPass : public Pass {
 public:
  std::string_view name() const override { return "images"; }
  bool keepsUsage() const override { return usageHolds_; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("images", [&]() -> Result<PassOutcome> {
      claimsPdfA_ = promisesOf(context.document).pdfAPart != 0;
      const DeviceColors device = deviceColorsOf(context.document);
      // PDF/A has no device colours without an output intent, and a default space gives them another meaning.
      deviceColors_ = !device.gray.present && !device.rgb.present && (!claimsPdfA_ || device.outputIntent);
      collect(context);
      work(context);
      forgetMasks(context);
      if (changed_ == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(changed_) + " images became " + std::to_string(saved_) +
                          " bytes smaller");
      return PassOutcome::changed;
    });
  }

 private:
  void collect(PassContext& context);
  void placeMask(QPDFObjectHandle picture, const char* key, ImageRole role, const Entry& use);
  void work(PassContext& context);
  void runBatch(PassContext& context, std::vector<Task>& batch);
  void apply(PassContext& context, Task& task);
  void replace(QPDFObjectHandle object, const Task& task);
  void forgetMasks(PassContext& context);
  bool sameData(QPDFObjectHandle a, QPDFObjectHandle b);

  std::vector<Entry> entries_;
  std::map<QPDFObjGen, std::size_t> byObject_;
  bool claimsPdfA_ = false;
  bool deviceColors_ = true;  // a device space may take the place of one that looks the same
  std::size_t changed_ = 0;
  long long saved_ = 0;
  bool usageHolds_ = true;
  std::vector<QPDFObjGen> masksGone_;
};

double numberOf(QPDFObjectHandle dictionary, const char* key) {
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isInteger() ? static_cast<double>(value.getIntValue()) : 0;
}

// A mask is stretched over its picture, so its resolution follows from the picture's.
void ImagesPass::placeMask(QPDFObjectHandle picture, const char* key, ImageRole role, const Entry& use) {
  const double dpiX = use.dpiX, dpiY = use.dpiY, pageCoverage = use.pageCoverage;
  QPDFObjectHandle mask = picture.getDict().getKey(key);
  if (!mask.isStream() || !mask.isIndirect()) return;
  const auto [at, fresh] = byObject_.try_emplace(mask.getObjGen(), entries_.size());
  if (fresh) entries_.push_back({mask, role, 0, 0, 0, false, {}});
  Entry& entry = entries_[at->second];
  if (fresh) {
    entry.role = role;
  } else if (entry.role != role) {
    entry.fixed = true;
  }
  if (role == ImageRole::softMask) entry.parents.push_back(picture);
  entry.pageCoverage = std::max(entry.pageCoverage, pageCoverage);
  if (mask.getDict().hasKey("/Matte")) entry.fixed = true;
  const double width = numberOf(picture.getDict(), "/Width"), height = numberOf(picture.getDict(), "/Height");
  if (width <= 0 || height <= 0 || dpiX <= 0 || dpiY <= 0) {
    entry.fixed = true;
    return;
  }
  const double x = dpiX * numberOf(mask.getDict(), "/Width") / width;
  const double y = dpiY * numberOf(mask.getDict(), "/Height") / height;
  entry.dpiX = entry.dpiX > 0 ? std::min(entry.dpiX, x) : x;
  entry.dpiY = entry.dpiY > 0 ? std::min(entry.dpiY, y) : y;
}

void ImagesPass::collect(PassContext& context) {
  const DocumentUsage& usage = usageOf(context);
  for (QPDFObjectHandle& object : context.document.reachable()) {
    if (!isImage(object) || !byObject_.try_emplace(object.getObjGen(), entries_.size()).second) continue;
    Entry entry;
    entry.object = object;
    QPDFObjectHandle stencil = object.getDict().getKey("/ImageMask");
    if (stencil.isBool() && stencil.getBoolValue()) entry.role = ImageRole::stencil;
    const auto use = usage.images.find(object.getObjGen());
    if (use != usage.images.end()) {
      const ImageResolution resolution = resolutionOf(use->second, object.getDict());
      entry.dpiX = resolution.x;
      entry.dpiY = resolution.y;
      entry.pageCoverage = use->second.pageCoverage;
    }
    // Where content could not be read, a larger use may have been missed.
    entry.fixed = !usage.complete;
    entries_.push_back(std::move(entry));
  }
  const std::size_t pictures = entries_.size();
  for (std::size_t i = 0; i < pictures; ++i) {
    Entry picture = entries_[i];
    QPDFObjectHandle dictionary = picture.object.getDict();
    QPDFObjectHandle soft = dictionary.getKey("/SMask"), hard = dictionary.getKey("/Mask");
    for (QPDFObjectHandle mask : {soft, hard}) {
      if (!mask.isStream() || !mask.isIndirect()) continue;
      const auto at = byObject_.find(mask.getObjGen());
      // Masks are found among the images, too; an image that is a mask and also drawn itself keeps its
      // samples.
      if (at != byObject_.end() && entries_[at->second].parents.empty() && at->second < pictures) {
        Entry& entry = entries_[at->second];
        const auto use = usage.images.find(mask.getObjGen());
        if (use == usage.images.end() || use->second.drawCount == 0) {
          entry.dpiX = entry.dpiY = 0;
          entry.role = mask.getObjGen() == soft.getObjGen() ? ImageRole::softMask : ImageRole::stencil;
        }
      }
    }
    placeMask(picture.object, "/SMask", ImageRole::softMask, picture);
    placeMask(picture.object, "/Mask", ImageRole::stencil, picture);
  }
}

bool ImagesPass::sameData(QPDFObjectHandle a, QPDFObjectHandle b) {
  const Result<Bytes> x = rawStreamData(a), y = rawStreamData(b);
  return x.ok() && y.ok() && *x == *y;
}

void ImagesPass::work(PassContext& context) {
  // Groups of equal images. The data is compared in full: a hash alone would let a crafted file swap its
  // pictures.
  std::map<std::pair<std::string, std::size_t>, std::vector<std::size_t>> groups;
  std::vector<std::vector<std::size_t>> ordered;
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    const std::string key = dictionaryKey(entries_[i].object.getDict()) + (entries_[i].fixed ? "fixed" : "");
    const auto length =
        static_cast<std::size_t>(std::max(0.0, numberOf(entries_[i].object.getDict(), "/Length")));
    std::vector<std::size_t>& candidates = groups[{key, length}];
    bool joined = false;
    for (std::size_t group : candidates) {
      Entry& first = entries_[ordered[group].front()];
      if (first.role != entries_[i].role || !sameData(first.object, entries_[i].object)) continue;
      ordered[group].push_back(i);
      joined = true;
      break;
    }
    if (joined) continue;
    // A crafted file could make this quadratic; beyond a few different images of one shape, equality is not
    // sought.
    if (candidates.size() < 16) candidates.push_back(ordered.size());
    ordered.push_back({i});
  }

  std::vector<Task> batch;
  std::size_t held = 0;
  for (std::vector<std::size_t>& group : ordered) {
    Task task;
    task.entries = std::move(group);
    Entry& first = entries_[task.entries.front()];
    Result<ImageSource> source = readImageSource(first.object);
    if (!source) continue;
    task.job.source = std::move(*source);
    task.job.role = first.role;
    task.job.dpiX = first.dpiX;
    task.job.dpiY = first.dpiY;
    task.job.pageCoverage = first.pageCoverage;
    task.job.preblended = task.job.source.matte;
    task.job.losslessOnly = task.job.source.matte && first.role != ImageRole::picture;
    for (std::size_t i : task.entries) {
      const Entry& entry = entries_[i];
      task.job.dpiX = std::min(task.job.dpiX, entry.dpiX);
      task.job.dpiY = std::min(task.job.dpiY, entry.dpiY);
      task.job.pageCoverage = std::max(task.job.pageCoverage, entry.pageCoverage);
      task.job.losslessOnly = task.job.losslessOnly || entry.fixed;
    }
    if (task.job.dpiX <= 0 || task.job.dpiY <= 0) task.job.losslessOnly = true;
    task.job.deviceColors = deviceColors_ && looksLikeDevice(task.job.source.color);
    constexpr int farFromDevice = 60;
    task.job.unlikeDevice = task.job.source.color.profiled && !looksLikeDevice(task.job.source.color, farFromDevice);
    QPDFObjectHandle mask = first.object.getDict().getKey("/SMask");
    if (mask.isStream() && !task.job.losslessOnly) {
      Result<ImageSource> soft = readImageSource(mask);
      if (soft && soft->width == task.job.source.width && soft->height == task.job.source.height) {
        held += soft->data.size();
        task.job.softMask = std::move(*soft);
      }
    }
    // Layers are of so low a resolution that they must be interpolated, which PDF/A forbids.
    task.mayBeLayered = !claimsPdfA_ &&
                        layersSuit(first.object, task.job, task.job.pageCoverage, context.settings);
    held += task.job.source.data.size();
    batch.push_back(std::move(task));
    if (held >= kBatchBytes || batch.size() >= kBatchImages) {
      runBatch(context, batch);
      held = 0;
    }
  }
  runBatch(context, batch);
}

void ImagesPass::runBatch(PassContext& context, std::vector<Task>& batch) {
  // The largest first, so that no thread is left with a long one at the end.
  std::stable_sort(batch.begin(), batch.end(),
                   [](const Task& a, const Task& b) { return recodingCost(a.job) > recodingCost(b.job); });
  context.pool.parallelFor(
      batch.size(),
      [&](std::size_t i) {
        try {
          Task& task = batch[i];
          task.result = recodeImage(task.job, context.settings);
          if (!task.mayBeLayered) return;
          const std::size_t toBeat = task.result ? task.result->image.cost() : task.job.source.storedBytes;
          task.layers = layersOf(task.job, context.settings, toBeat);
        } catch (const std::exception&) {
          batch[i].result.reset();  // out of memory: the image stays as it is
          batch[i].layers.reset();
        }
      },
      [&](std::size_t i) { return recodingCost(batch[i].job); });
  for (Task& task : batch) {
    if (task.result || task.layers) apply(context, task);
  }
  batch.clear();
}

void ImagesPass::apply(PassContext& context, Task& task) {
  for (std::size_t i : task.entries) {
    Entry& entry = entries_[i];
    if (task.layers) {
      replaceByLayers(context.document.pdf(), entry.object, *task.layers);
      usageHolds_ = false;
      saved_ +=
          static_cast<long long>(task.job.source.storedBytes) - static_cast<long long>(task.layers->cost());
    } else if (task.result->opaqueMask) {
      for (QPDFObjectHandle& parent : entry.parents) parent.getDict().removeKey("/SMask");
      masksGone_.push_back(entry.object.getObjGen());
      if (entry.fixed) usageHolds_ = false;  // it may be a stencil mask as well
      saved_ += static_cast<long long>(task.job.source.storedBytes);
    } else {
      replace(entry.object, task);
      context.document.markFinal(entry.object.getObjGen());
      saved_ += static_cast<long long>(task.job.source.storedBytes) -
                static_cast<long long>(task.result->image.cost());
    }
    ++changed_;
  }
}

// Puts right what the usage says of masks that went.
void ImagesPass::forgetMasks(PassContext& context) {
  if (masksGone_.empty() || !usageHolds_) return;
  auto usage = std::make_shared<DocumentUsage>(usageOf(context));
  for (QPDFObjGen mask : masksGone_) usage->masks.erase(mask);
  context.usage = std::move(usage);
}

const char* deviceSpace(ColorKind kind) {
  return kind == ColorKind::grey ? "/DeviceGray" : kind == ColorKind::cmyk ? "/DeviceCMYK" : "/DeviceRGB";
}

void ImagesPass::replace(QPDFObjectHandle object, const Task& task) {
  const EncodedImage& image = task.result->image;
  QPDFObjectHandle dictionary = object.getDict();
  QPDFObjectHandle parms =
      image.decodeParms.empty() ? QPDFObjectHandle::newNull() : QPDFObjectHandle::parse(image.decodeParms);
  setStreamData(object, image.data, QPDFObjectHandle::newName("/" + image.filter), parms);
  dictionary = object.getDict();
  if (task.result->sameSamples) return;

  dictionary.replaceKey("/Width", QPDFObjectHandle::newInteger(image.width));
  dictionary.replaceKey("/Height", QPDFObjectHandle::newInteger(image.height));
  dictionary.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(image.bitsPerComponent));
  dictionary.removeKey("/Decode");
  if (task.job.role == ImageRole::stencil) {
    if (dictionary.hasKey("/ColorSpace")) dictionary.removeKey("/ColorSpace");
    return;
  }
  const ImageColorSpace& before = task.job.source.color;
  QPDFObjectHandle space = dictionary.getKey("/ColorSpace");
  QPDFObjectHandle base = before.kind == ColorKind::indexed ? space.getArrayItem(1) : space;
  const auto spaceOf = [&](ColorKind kind) {
    return kind == before.baseKind ? base : QPDFObjectHandle::newName(deviceSpace(kind));
  };
  if (image.kind != ColorKind::indexed) {
    dictionary.replaceKey("/ColorSpace", spaceOf(image.kind));
    return;
  }
  QPDFObjectHandle indexed = QPDFObjectHandle::newArray();
  const std::size_t channels = image.paletteKind == ColorKind::rgb    ? 3
                               : image.paletteKind == ColorKind::cmyk ? 4
                                                                      : 1;
  indexed.appendItem(QPDFObjectHandle::newName("/Indexed"));
  indexed.appendItem(spaceOf(image.paletteKind));
  indexed.appendItem(
      QPDFObjectHandle::newInteger(static_cast<long long>(image.palette.size() / channels) - 1));
  indexed.appendItem(QPDFObjectHandle::newString(std::string(image.palette.begin(), image.palette.end())));
  dictionary.replaceKey("/ColorSpace", indexed);
}

}  // namespace

std::unique_ptr<Pass> makeImagesPass() { return std::make_unique<ImagesPass>(); }

}  // namespace optimizer
