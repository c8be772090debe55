#include "optimizer/image/lossy.h"

#include <array>

#include "optimizer/codec/jpeg.h"

namespace optimizer {
namespace {

// Steps small enough that the next lower one would be seen in the size, large enough to need four trials
// only. Below the lowest, smooth colours fall into blocks, which the structure of the luma hardly shows.
constexpr std::array<int, 14> ladder = {34, 40, 45, 50, 55, 60, 65, 70, 75, 80, 84, 88, 92, 95};

struct Trial {
  bool view = false, color = false, near = false;
  bool passed() const { return view && color && near; }
};

Trial judge(const EncodedImage& coded, const LookTarget& target) {
  const Result<Pixels> shown = decodeJpeg(coded.data);
  if (!shown) return {};
  const Look look = target.view.compare(*shown);
  Trial trial;
  trial.color = look.chroma <= target.floor.chroma;
  Look luma = look;
  luma.chroma = 0;
  trial.view = passes(luma, target.floor);
  trial.view = trial.view && target.shown.compare(*shown).structure >= target.floor.shown;
  trial.near = trial.view && target.closeUp.compare(*shown).structure >= target.floor.closeUp;
  return trial;
}

Trial attempt(const Pixels& pixels, const LookTarget& target, int quality, bool subsample) {
  JpegOptions options;
  options.quality = quality;
  options.subsampleChroma = subsample;
  options.draft = true;
  const Result<EncodedImage> coded = encodeJpeg(pixels, options);
  if (!coded) return {};
  return judge(*coded, target);
}

}  // namespace

bool passes(const Look& look, const LookFloor& floor) {
  return look.structure >= floor.structure && look.busy >= floor.busy && look.worst >= floor.worst &&
         look.chroma <= floor.chroma;
}

std::optional<EncodedImage> encodeJpegForLook(const Pixels& pixels, const LookTarget& target, int highest) {
  std::size_t count = 0;
  while (count < ladder.size() && ladder[count] <= highest) ++count;
  bool subsample = pixels.channels() >= 3;
  for (;;) {
    // The look grows with quality, near enough: bisect for the lowest rung that passes.
    std::size_t low = 0, high = count;
    bool colorFails = false;
    while (low < high) {
      const std::size_t middle = (low + high) / 2;
      const Trial trial = attempt(pixels, target, ladder[middle], subsample);
      if (trial.passed()) {
        high = middle;
      } else {
        // Where only the colours suffer although the quality is high, it is the subsampling that harms.
        if (trial.view && !trial.color && ladder[middle] >= 60) colorFails = true;
        if (colorFails && subsample) break;
        low = middle + 1;
      }
    }
    if (colorFails && subsample) {
      subsample = false;
      continue;
    }
    if (low >= count) {
      if (!subsample) return std::nullopt;
      subsample = false;
      continue;
    }
    // The encoder that keeps is another than the draft's: its picture is judged, too.
    for (; low < count; ++low) {
      JpegOptions options;
      options.quality = ladder[low];
      options.subsampleChroma = subsample;
      Result<EncodedImage> coded = encodeJpeg(pixels, options);
      if (!coded) return std::nullopt;
      if (judge(*coded, target).passed()) return std::move(*coded);
    }
    return std::nullopt;
  }
}

}  // namespace optimizer
