// Cuts away what no page ever shows of an image: what lies outside of the clip paths and page boxes of all
// its uses.
//
//   1. The rectangle that holds every visible part, over all uses, comes from document/usage.h. Images whose
//   uses are not
//      all known stay whole.
//   2. It grows by some pixels, for what viewers blend at edges, and to the grid on which codings can be cut.
//   The masks of
//      a picture are cut in step with it.
//   3. A form takes the object's place and draws what is left in its place in the unit square, so that no
//   content that
//      draws the image changes.
//
// Viewers fit an image to whole pixels of the screen, and a smaller one comes out a fraction of a pixel
// elsewhere. Where the settings ask for no loss, and where there is nothing but black and white, it keeps its size, and
// what is not seen becomes blank.
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <numeric>
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
#include "optimizer/image/cut.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// Pixels that stay around what is seen: viewers and the resampling that follows blend neighbours in. What is blank must
// be further away than that of viewers that draw at this resolution.
constexpr double kMargin = 12;
constexpr double kCoarsestView = 18, kBlendedPixels = 2;
// The largest share of an image that may be left where cutting is to pay.
constexpr double kLargestShare = 0.9;
// What a form and another object cost, and then some.
constexpr std::size_t kOverhead = 400;
// Stored bytes that one batch holds.
constexpr std::size_t kBatchBytes = std::size_t{24} << 20;

struct Part {
  QPDFObjectHandle object;
  ImageSource source;
  PixelRegion region;
  std::optional<CutImage> cut;
};

struct Task {
  Part picture;
  std::vector<std::pair<std::string, Part>> masks;  // by the key of the picture's dictionary
  Cut how = Cut::away;
  bool sharedMask = false;  // another picture may go on using the whole mask
};

class ClipImagesPass : public Pass {
 public:
  std::string_view name() const override { return "clip images"; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("clip images", [&]() -> Result<PassOutcome> {
      // Printers of PDF/X see more than the crop box.
      if (promisesOf(context.document).pdfX) return PassOutcome::unchanged;
      how_ = context.settings.imageQuality >= 100 ? Cut::blank : Cut::away;
      work(context);
      if (cut_ == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(cut_) + " images lost what no page shows, " +
                          std::to_string(saved_) + " bytes");
      return PassOutcome::changed;
    });
  }

 private:
  void work(PassContext& context);
  std::optional<Task> plan(QPDFObjectHandle image, const ImageUse& use);
  bool planMask(Task& task, const char* key);
  void runBatch(PassContext& context, std::vector<Task>& batch);
  void apply(QPDF& pdf, Task& task);

  Cut how_ = Cut::away;
  std::map<QPDFObjGen, int> maskUsers_;
  std::set<QPDFObjGen> neededAsImage_;  // where no form may stand
  std::size_t cut_ = 0, saved_ = 0;
};

struct Span {
  std::uint32_t begin, length;
};

// The pixels of one axis that hold the part [low, high] of it: begin lies on the grid and, where another
// image is stretched over this one, both ends on its pixels as well. step: such a pair of borders comes every
// so many pixels.
Span spanOf(std::uint32_t side, double low, double high, double margin, std::uint32_t grid, std::uint32_t step) {
  const double first = std::max(0.0, std::floor(low * side - margin)),
               last = std::min<double>(side, std::ceil(high * side + margin));
  const std::uint64_t unit = std::uint64_t{grid} * step;
  const auto begin = static_cast<std::uint32_t>(static_cast<std::uint64_t>(first) / unit * unit);
  const auto end = static_cast<std::uint32_t>(
      std::min<std::uint64_t>(side, (static_cast<std::uint64_t>(last) + step - 1) / step * step));
  return {begin, end - begin};
}

std::uint32_t stepOf(std::uint32_t side, std::uint32_t otherSide) { return side / std::gcd(side, otherSide); }

std::uint32_t scaled(std::uint32_t at, std::uint32_t side, std::uint32_t otherSide) {
  return static_cast<std::uint32_t>(std::uint64_t{at} * otherSide / side);
}

bool ClipImagesPass::planMask(Task& task, const char* key) {
  QPDFObjectHandle mask = task.picture.object.getDict().getKey(key);
  if (!mask.isStream()) return true;
  Result<ImageSource> source = readImageSource(mask);
  if (!source) return false;
  task.sharedMask = task.sharedMask || maskUsers_[mask.getObjGen()] > 1;
  task.masks.push_back({key, {mask, std::move(*source), {}, {}}});
  return true;
}

std::optional<Task> ClipImagesPass::plan(QPDFObjectHandle image, const ImageUse& use) {
  const double share = (use.visibleRight - use.visibleLeft) * (use.visibleTop - use.visibleBottom);
  if (!use.complete || use.drawCount == 0 || !(share < kLargestShare)) return std::nullopt;
  QPDFObjectHandle dictionary = image.getDict();
  for (const char* key : {"/Alternates", "/OPI", "/SMaskInData", "/Measure", "/PtData"}) {
    if (dictionary.hasKey(key)) return std::nullopt;
  }
  Task task;
  task.picture.object = image;
  Result<ImageSource> source = readImageSource(image);
  if (!source) return std::nullopt;
  task.picture.source = std::move(*source);
  const ImageSource& picture = task.picture.source;
  // Black and white letters show a shift by a fraction of a pixel most: bitonal images keep their size.
  task.how = picture.bits == 1 ? Cut::blank : how_;
  if (task.how == Cut::away && (!planMask(task, "/SMask") || !planMask(task, "/Mask"))) return std::nullopt;

  std::uint32_t grid = cutGrid(picture), stepX = 1, stepY = 1;
  for (const auto& [key, mask] : task.masks) {
    grid = std::max(grid, cutGrid(mask.source));
    stepX = std::lcm(stepX, stepOf(picture.width, mask.source.width));
    stepY = std::lcm(stepY, stepOf(picture.height, mask.source.height));
  }
  if (stepX > picture.width || stepY > picture.height) return std::nullopt;
  const double far = task.how == Cut::blank ? kBlendedPixels * resolutionOf(use, dictionary).finest / kCoarsestView : 0;
  const double margin = std::max(kMargin, far);
  const Span across = spanOf(picture.width, use.visibleLeft, use.visibleRight, margin, grid, stepX);
  const Span down = spanOf(picture.height, 1 - use.visibleTop, 1 - use.visibleBottom, margin, grid, stepY);
  task.picture.region = {across.begin, down.begin, across.length, down.length};
  const double left =
      static_cast<double>(task.picture.region.area()) / (double{1} * picture.width * picture.height);
  if (left > kLargestShare || (1 - left) * static_cast<double>(picture.storedBytes) < kOverhead)
    return std::nullopt;
  for (auto& [key, mask] : task.masks) {
    const ImageSource& size = mask.source;
    const std::uint32_t x = scaled(across.begin, picture.width, size.width),
                        y = scaled(down.begin, picture.height, size.height);
    mask.region = {x, y, scaled(across.begin + across.length, picture.width, size.width) - x,
                   scaled(down.begin + down.length, picture.height, size.height) - y};
  }
  return task;
}

void ClipImagesPass::work(PassContext& context) {
  const DocumentUsage& usage = usageOf(context);
  // Content that cannot be read may show any part of any image.
  if (!usage.complete) return;
  std::vector<QPDFObjectHandle> images;
  for (QPDFObjectHandle& object : context.document.reachable()) {
    if (!isImage(object)) continue;
    images.push_back(object);
    for (const char* key : {"/SMask", "/Mask"}) {
      if (QPDFObjectHandle mask = object.getDict().getKey(key); mask.isStream())
        ++maskUsers_[mask.getObjGen()];
    }
  }
  if (images.empty()) return;
  for (QPDFObjectHandle container : context.document.containers()) {
    if (!container.isDictionary()) continue;
    for (const char* key : {"/Thumb", "/Image", "/Poster"}) {
      if (QPDFObjectHandle value = container.getKey(key); value.isStream())
        neededAsImage_.insert(value.getObjGen());
    }
  }
  std::vector<Task> batch;
  std::size_t held = 0;
  for (QPDFObjectHandle& image : images) {
    if (how_ == Cut::away && neededAsImage_.count(image.getObjGen()) != 0) continue;
    const auto drawn = usage.images.find(image.getObjGen()), masks = usage.masks.find(image.getObjGen());
    const bool isMask = maskUsers_.count(image.getObjGen()) != 0;
    // A mask is cut with its picture; blank it may be by itself, where it is nothing but a mask.
    const auto use = isMask ? masks : drawn;
    if ((isMask && (how_ == Cut::away || drawn != usage.images.end())) ||
        use == (isMask ? usage.masks.end() : usage.images.end())) {
      continue;
    }
    std::optional<Task> task = plan(image, use->second);
    if (!task) continue;
    held += task->picture.source.data.size();
    batch.push_back(std::move(*task));
    if (held < kBatchBytes) continue;
    runBatch(context, batch);
    held = 0;
  }
  runBatch(context, batch);
}

void ClipImagesPass::runBatch(PassContext& context, std::vector<Task>& batch) {
  context.pool.parallelFor(
      batch.size(),
      [&](std::size_t i) {
        try {
          Task& task = batch[i];
          task.picture.cut = cutImage(task.picture.source, task.picture.region, task.how);
          if (!task.picture.cut) return;
          for (auto& [key, mask] : task.masks) mask.cut = cutImage(mask.source, mask.region, task.how);
        } catch (const std::exception&) {
          batch[i].picture.cut.reset();  // out of memory: the image stays as it is
        }
      },
      [&](std::size_t i) {
        const ImageSource& source = batch[i].picture.source;
        return std::min<std::size_t>(source.rowBytes() * source.height, maxImageBytes) * 3;
      });
  for (Task& task : batch) apply(context.document.pdf(), task);
  batch.clear();
}

void setCut(QPDFObjectHandle image, const CutImage& cut) {
  setStreamData(
      image, cut.data, QPDFObjectHandle::newName("/" + cut.filter),
      cut.decodeParms.empty() ? QPDFObjectHandle::newNull() : QPDFObjectHandle::parse(cut.decodeParms));
}

QPDFObjectHandle cutObject(QPDF& pdf, Part& part) {
  QPDFObjectHandle image = pdf.makeIndirectObject(QPDFObjectHandle::newStream(&pdf));
  image.replaceDict(part.object.getDict().shallowCopy());
  setCut(image, *part.cut);
  image.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(part.region.width));
  image.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(part.region.height));
  return image;
}

std::string fraction(std::uint64_t part, std::uint64_t whole) {
  return QPDFObjectHandle::newReal(static_cast<double>(part) / static_cast<double>(whole), 9).unparse();
}

// What is left of the image, in its place in the unit square.
std::string contentFor(const Part& picture) {
  const std::uint64_t width = picture.source.width, height = picture.source.height;
  const PixelRegion& region = picture.region;
  return fraction(region.width, width) + " 0 0 " + fraction(region.height, height) + " " +
         fraction(region.left, width) + " " + fraction(height - region.top - region.height, height) +
         " cm/I Do";
}

void ClipImagesPass::apply(QPDF& pdf, Task& task) {
  Part& picture = task.picture;
  if (!picture.cut) return;
  std::size_t before = picture.source.storedBytes, after = picture.cut->data.size() + kOverhead;
  for (const auto& [key, mask] : task.masks) {
    if (!mask.cut) return;
    after += mask.cut->data.size();
    if (!task.sharedMask) before += mask.source.storedBytes;
  }
  if (after >= before) return;
  ++cut_;
  saved_ += before - after;
  if (task.how == Cut::blank) {
    setCut(picture.object, *picture.cut);
    return;
  }
  QPDFObjectHandle image = cutObject(pdf, picture);
  for (auto& [key, mask] : task.masks) image.getDict().replaceKey(key, cutObject(pdf, mask));
  QPDFObjectHandle whole = picture.object.getDict().shallowCopy();
  QPDFObjectHandle form = QPDFObjectHandle::newDictionary();
  form.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
  form.replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
  // Larger than the image: its own edges are to look as they did, not as those of a clip.
  form.replaceKey("/BBox", QPDFObjectHandle::parse("[-1 -1 2 2]"));
  form.replaceKey("/Resources", QPDFObjectHandle::parse("<< /XObject << >> >>"));
  form.getKey("/Resources").getKey("/XObject").replaceKey("/I", image);
  // What belongs to the object rather than to its pixels.
  for (const char* key : {"/OC", "/StructParent", "/Metadata", "/PieceInfo", "/LastModified"}) {
    if (!whole.hasKey(key)) continue;
    form.replaceKey(key, whole.getKey(key));
    image.getDict().removeKey(key);
  }
  picture.object.replaceDict(form);
  const std::string content = contentFor(picture);
  setStreamData(picture.object, Bytes(content.begin(), content.end()), QPDFObjectHandle::newNull(),
                QPDFObjectHandle::newNull());
}

}  // namespace

std::unique_ptr<Pass> makeClipImagesPass() { return std::make_unique<ClipImagesPass>(); }

}  // namespace optimizer
