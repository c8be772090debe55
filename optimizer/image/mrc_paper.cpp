#include "optimizer/image/mrc_paper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/flate.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/codec/jpx_coding.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/lossy_jpx.h"
#include "optimizer/image/mrc_compose.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/score.h"
#include "optimizer/image/strokes.h"

namespace optimizer {
namespace {

constexpr std::array<int, 24> ladder = {12, 15, 18, 22, 26, 30, 34, 38, 42, 46, 50, 54,
                                        58, 62, 66, 70, 74, 77, 80, 83, 86, 89, 91, 93};

// A little above what pictures by themselves are held to, and more where that would lose their fine lines.
constexpr std::array<LookFloor, 3> pictureFloors = {{{0.96, 0.95, 0.66, 2.8, 0.96, 0.87},
                                                     {0.972, 0.965, 0.75, 2.5, 0.972, 0.92},
                                                     {0.982, 0.978, 0.82, 2.2, 0.982, 0.95}}};
constexpr double readingDpi = 200, mostLost = 0.01;
constexpr int highestQuality = 95;
// Halftones change their look with every place at which they are reduced: such a picture must stay a part of
// its page. This much of others remains when they are moved by a pixel.
constexpr double steady = 0.85;
// The last leaves every page as it is.
constexpr std::array<double, 3> pictureSteps = {150, 200, 1e9};
// What resampling must leave above the floor.
constexpr double codingReserve = 0.012;

std::vector<int> rungsFrom(int lowest) {
  std::vector<int> rungs;
  if (lowest > ladder.front()) rungs.push_back(lowest);
  for (int quality : ladder)
    if (quality > lowest) rungs.push_back(quality);
  return rungs;
}

std::optional<CodedLayer> withoutLoss(const Pixels& pixels, std::size_t bytes) {
  EncodedImage plain = encodeFlate(packedOf(pixels));
  plain.kind = pixels.kind();
  plain.width = pixels.width();
  plain.height = pixels.height();
  if (plain.cost() >= bytes) return std::nullopt;
  return CodedLayer{std::move(plain), pixels};
}

std::optional<CodedLayer> asJpeg(const Pixels& pixels, int quality, bool draft) {
  JpegOptions options;
  options.quality = quality;
  options.subsampleChroma = true;
  options.draft = draft;
  Result<EncodedImage> coded = encodeJpeg(pixels, options);
  if (!coded) return std::nullopt;
  Result<Pixels> shown = decodeJpeg(coded->data);
  if (!shown) return std::nullopt;
  return CodedLayer{std::move(*coded), std::move(*shown)};
}

// The lowest quality that is good; a draft says about which.
std::optional<CodedLayer> paperAsJpeg(const Pixels& paper, int lowest, std::size_t bytes,
                                      const LossJudge& judge) {
  const std::vector<int> rungs = rungsFrom(lowest);
  std::size_t low = 0, high = rungs.size();
  while (low < high) {
    // Most paper is plain: the answer is in the lower part.
    const std::size_t next = low + (high - low) / 3;
    const std::optional<CodedLayer> draft = asJpeg(paper, rungs[next], true);
    if (!draft) return std::nullopt;
    if (judge(draft->shown).passes()) {
      high = next;
    } else {
      // A draft takes about a third more than what is kept; this one is hopeless.
      if (draft->image.data.size() * 2 > bytes * 3) return std::nullopt;
      low = next + 1;
    }
  }
  for (; low < rungs.size(); ++low) {
    std::optional<CodedLayer> coded = asJpeg(paper, rungs[low], false);
    if (!coded || coded->image.cost() >= bytes) return std::nullopt;
    if (judge(coded->shown).passes()) return coded;
  }
  return std::nullopt;
}

// Bits a pixel. Of clean paper next to nothing is left to code, and there wavelets beat blocks by far; beyond
// the last blocks do.
constexpr std::array<double, 2> waveletBits = {0.1, 0.6};
// Beyond this blocks may be better.
constexpr double manyBits = 0.2;

double worse(const Loss& loss) { return std::max(loss.structure, loss.chroma); }

// The size at which a loss is just what it may be, by halving. As logarithms.
class SizeSearch {
 public:
  SizeSearch(double least, double most) : least_(least), most_(most), next_(most) {}

  double next() const { return next_; }
  bool done() const { return most_ - least_ < closeEnough; }

  // What the paper loses at that size.
  void tell(double loss) {
    if (loss <= 1) {
      most_ = next_;
      spared_ = std::log(std::max(loss, 0.1));
    } else {
      least_ = next_;
      excess_ = std::log(loss);
    }
    // The first steps down are long: most paper is plain.
    next_ = excess_ > 0 ? most_ + std::clamp(spared_ / (excess_ - spared_), -0.75, -0.25) * (most_ - least_)
                        : std::max(least_, most_ - firstStep);
  }

 private:
  static constexpr double closeEnough = 0.3, firstStep = 1.8;
  double least_, most_, next_;
  double spared_ = 0, excess_ = 0;  // at the ends
};

// What a decoder makes of so many bytes, and a little more where that is too little.
std::optional<CodedLayer> decodedJpx(JpxCoding& coding, std::size_t bytes, std::size_t limit,
                                     const LossJudge& judge) {
  for (const double more : {1.0, 1.1, 1.3}) {
    EncodedImage image =
        coding.encoded(coding.cutTo(static_cast<std::size_t>(more * static_cast<double>(bytes))));
    if (image.cost() >= limit) return std::nullopt;
    Result<Pixels> shown = decodeJpx(image.data);
    if (shown && judge(*shown).passes()) return CodedLayer{std::move(image), std::move(*shown)};
  }
  return std::nullopt;
}

// Where even so many times the bytes are not enough, blocks do not take fewer than there are, nor does finer
// paper: it needs half at best.
constexpr std::size_t outOfReach = 2;

CodedPaper paperAsJpx(const Pixels& paper, std::size_t bytes, const LossJudge& judge) {
  constexpr std::size_t fewest = 200;
  std::size_t least = fewest;
  for (const double bits : waveletBits) {
    const auto wanted = static_cast<std::size_t>(bits / 8 * static_cast<double>(paper.pixelCount()));
    std::size_t most = std::min(outOfReach * bytes, wanted);
    if (most <= least) break;
    Result<JpxCoding> coding = JpxCoding::begin(paper, most);
    if (!coding) break;
    const auto lossAt = [&](std::size_t size) { return judge(coding->shown(coding->cutTo(size))); };
    Loss loss = lossAt(most);
    if (!loss.passes()) {
      if (most < wanted) return {{}, true};
      least = most;
      continue;
    }
    if (most > bytes) {
      most = bytes;
      loss = lossAt(most);
      if (!loss.passes()) break;
    }
    SizeSearch search(std::log(static_cast<double>(least)), std::log(static_cast<double>(most)));
    search.tell(worse(loss));
    while (!search.done()) {
      const auto size = static_cast<std::size_t>(std::exp(search.next()));
      loss = lossAt(size);
      search.tell(worse(loss));
      if (loss.passes()) most = size;
    }
    return {decodedJpx(*coding, most, bytes, judge), false};
  }
  return {};
}

bool mayUseJpx(const Settings& settings) {
  return allows(settings.continuousCodecs, Codec::jpeg2000) && !settings.onlyPdf14;
}

std::optional<CodedLayer> lossyPicture(const Pixels& picture, const LookTarget& target,
                                       const Settings& settings, std::size_t bytes) {
  const Codec codec = settings.mrcPictureCodec;
  LookResult found = encodeJpegForLook(picture, target, highestQuality, bytes);
  if (!found.image) return std::nullopt;
  const auto jpegBytes = static_cast<double>(found.image->data.size());
  std::optional<EncodedImage> best;
  if (codec != Codec::jpeg && mayUseJpx(settings)) {
    // Where JPEG 2000 is what is asked for, it may take more.
    const double share = codec == Codec::automatic ? 1.0 : 1.6;
    best = encodeJpxForLook(picture, target, static_cast<std::size_t>(share * jpegBytes));
  }
  if (!best) best = std::move(found.image);
  if (best->cost() >= bytes) return std::nullopt;
  Result<Pixels> pixels = best->codec == Codec::jpeg2000 ? decodeJpx(best->data) : decodeJpeg(best->data);
  if (!pixels) return std::nullopt;
  return CodedLayer{std::move(*best), std::move(*pixels)};
}

}  // namespace

bool holdsPaper(Codec codec) {
  return codec == Codec::jpeg || codec == Codec::flate || codec == Codec::jpeg2000 ||
         codec == Codec::automatic;
}

bool holdsMask(Codec codec) {
  return codec == Codec::bitonal || codec == Codec::flate || codec == Codec::automatic;
}

CodedPaper codePaper(const Pixels& paper, const Settings& settings, std::size_t bytes,
                     const LossJudge& judge) {
  if (settings.mrcLayerCodec == Codec::flate) {
    std::optional<CodedLayer> plain = withoutLoss(paper, bytes);
    if (plain && !judge(plain->shown).passes()) plain.reset();
    return {std::move(plain), false};
  }
  const bool jpx = settings.mrcLayerCodec != Codec::jpeg && mayUseJpx(settings);
  const bool anyQuality = settings.mrcLayerQuality <= ladder.front();
  std::optional<CodedLayer> best;
  if (jpx && anyQuality) {
    CodedPaper found = paperAsJpx(paper, bytes, judge);
    const double bits = manyBits / 8 * static_cast<double>(paper.pixelCount());
    if (found.outOfReach || (found.layer && static_cast<double>(found.layer->image.cost()) < bits))
      return found;
    best = std::move(found.layer);
  }
  std::optional<CodedLayer> jpeg =
      paperAsJpeg(paper, settings.mrcLayerQuality, best ? best->image.cost() : bytes, judge);
  if (!jpeg) return {std::move(best), false};
  best = std::move(jpeg);
  if (!jpx || anyQuality) return {std::move(best), false};
  // As good as the JPEG of the quality that is asked for.
  const auto fewer = static_cast<std::size_t>(0.85 * static_cast<double>(best->image.data.size()));
  std::optional<EncodedImage> like = encodeJpxLike(paper, best->image, fewer);
  if (!like) return {std::move(best), false};
  Result<Pixels> shown = decodeJpx(like->data);
  if (shown && judge(*shown).passes()) best = CodedLayer{std::move(*like), std::move(*shown)};
  return {std::move(best), false};
}

std::optional<CodedLayer> codePicture(const Pixels& picture, double dpiX, double dpiY,
                                      const Settings& settings, std::size_t bytes) {
  const auto side = [](std::uint32_t pixels, double dpi, double wanted) {
    return dpi <= wanted ? pixels
                         : std::max(1u, static_cast<std::uint32_t>(std::lround(pixels * wanted / dpi)));
  };
  const std::uint32_t width = side(picture.width(), dpiX, viewingDpi),
                      height = side(picture.height(), dpiY, viewingDpi);
  const LookReference view(picture, width, height), shown(picture, width, height, Reduction::blocks);
  const Pixels read =
      areaAverage(picture, side(picture.width(), dpiX, readingDpi), side(picture.height(), dpiY, readingDpi));
  constexpr std::uint32_t leastSide = 16;
  if (read.width() < leastSide || read.height() < leastSide) return std::nullopt;
  const StrokeReference strokes(lumaOf(read));
  const Pixels moved = crop(picture, 1, 1, picture.width() - 1, picture.height() - 1);
  const Pixels movedView =
      areaAverage(moved, std::min(width, moved.width()), std::min(height, moved.height()));
  if (view.compare(movedView).structure < steady) return std::nullopt;
  for (const double dpi : pictureSteps) {
    const Pixels reduced =
        resample(picture, side(picture.width(), dpiX, dpi), side(picture.height(), dpiY, dpi));
    const Viewed viewed(reduced);
    LookFloor before = pictureFloors[0];
    before.structure += codingReserve;
    const bool whole = reduced.width() == picture.width() && reduced.height() == picture.height();
    if (!whole && (!passes(view.compare(viewed), before) ||
                   shown.compare(viewed).structure < before.shown + codingReserve))
      continue;
    if (settings.mrcPictureCodec == Codec::flate) return withoutLoss(reduced, bytes);
    const LookReference closeUp(reduced, reduced.width(), reduced.height(), Reduction::blocks);
    for (const LookFloor& floor : pictureFloors) {
      std::optional<CodedLayer> coded = lossyPicture(reduced, {view, shown, closeUp, floor}, settings, bytes);
      if (!coded) return std::nullopt;
      const CellGrid lost = strokes.compare(
          lumaOf(enlargedPart(areaAverage(coded->shown, std::min(coded->shown.width(), read.width()),
                                          std::min(coded->shown.height(), read.height())),
                              {}, read.width(), read.height())));
      if (static_cast<double>(lost.count()) <= 1 + mostLost * static_cast<double>(lost.cells.size()))
        return coded;
    }
  }
  return std::nullopt;
}

EncodedImage codeMask(const Pixels& mask, const Settings& settings) {
  if (settings.mrcMaskCodec != Codec::flate) return encodeBitonal(mask);
  EncodedImage plain = encodeFlate(packedOf(mask));
  plain.bitsPerComponent = 1;
  plain.width = mask.width();
  plain.height = mask.height();
  return plain;
}

}  // namespace optimizer
