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

using Good = std::function<bool(const Pixels&)>;

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

std::optional<CodedLayer> asJpx(const Pixels& pixels, std::size_t bytes) {
  constexpr std::size_t least = 200;
  Result<EncodedImage> coded = encodeJpx(pixels, std::max(bytes, least));
  if (!coded) return std::nullopt;
  Result<Pixels> shown = decodeJpx(coded->data);
  if (!shown) return std::nullopt;
  return CodedLayer{std::move(*coded), std::move(*shown)};
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
std::optional<CodedLayer> paperAsJpeg(const Pixels& paper, int lowest, std::size_t bytes, const Good& good) {
  const std::vector<int> rungs = rungsFrom(lowest);
  std::size_t low = 0, high = rungs.size();
  while (low < high) {
    // Most paper is plain: the answer is in the lower part.
    const std::size_t next = low + (high - low) / 3;
    const std::optional<CodedLayer> draft = asJpeg(paper, rungs[next], true);
    if (!draft) return std::nullopt;
    if (good(draft->shown)) {
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
    if (good(coded->shown)) return coded;
  }
  return std::nullopt;
}

// Bits a pixel. Of clean paper next to nothing is left to code, and there wavelets beat blocks by far.
constexpr std::array<double, 8> wavelets = {0.006, 0.012, 0.024, 0.048, 0.096, 0.19, 0.38, 0.6};
// Beyond this blocks may be better.
constexpr double manyBits = 0.2;

std::optional<CodedLayer> paperAsJpx(const Pixels& paper, std::size_t bytes, const Good& good) {
  const auto bytesAt = [&](double bits) {
    return static_cast<std::size_t>(bits / 8 * static_cast<double>(paper.pixelCount()));
  };
  std::optional<CodedLayer> best;
  std::size_t low = 0, high = wavelets.size();
  while (high > low && bytesAt(wavelets[high - 1]) >= bytes) --high;
  while (low < high) {
    const std::size_t next = low + (high - low) / 3;
    std::optional<CodedLayer> coded = asJpx(paper, bytesAt(wavelets[next]));
    if (!coded) return best;
    if (coded->image.cost() < bytes && good(coded->shown)) {
      best = std::move(coded);
      high = next;
    } else {
      low = next + 1;
    }
  }
  return best;
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

std::optional<CodedLayer> codePaper(const Pixels& paper, const Settings& settings, std::size_t bytes,
                                    const Good& good) {
  if (settings.mrcLayerCodec == Codec::flate) {
    std::optional<CodedLayer> plain = withoutLoss(paper, bytes);
    if (plain && !good(plain->shown)) plain.reset();
    return plain;
  }
  const bool jpx = settings.mrcLayerCodec != Codec::jpeg && mayUseJpx(settings);
  const bool anyQuality = settings.mrcLayerQuality <= ladder.front();
  std::optional<CodedLayer> best;
  if (jpx && anyQuality) {
    best = paperAsJpx(paper, bytes, good);
    const double bits = manyBits / 8 * static_cast<double>(paper.pixelCount());
    if (best && static_cast<double>(best->image.cost()) < bits) return best;
  }
  std::optional<CodedLayer> jpeg =
      paperAsJpeg(paper, settings.mrcLayerQuality, best ? best->image.cost() : bytes, good);
  if (!jpeg) return best;
  best = std::move(jpeg);
  if (!jpx || anyQuality) return best;
  // As good as the JPEG of the quality that is asked for.
  const auto fewer = static_cast<std::size_t>(0.85 * static_cast<double>(best->image.data.size()));
  std::optional<EncodedImage> like = encodeJpxLike(paper, best->image, fewer);
  if (!like) return best;
  Result<Pixels> shown = decodeJpx(like->data);
  if (shown && good(*shown)) return CodedLayer{std::move(*like), std::move(*shown)};
  return best;
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
