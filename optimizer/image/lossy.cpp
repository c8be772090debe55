#include "optimizer/image/lossy.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "optimizer/codec/jpeg.h"
#include "optimizer/image/classify.h"

namespace optimizer {
namespace {

// Steps small enough that the next lower one would be seen in the size, large enough to need four trials
// only. Below the lowest, smooth colours fall into blocks, which the structure of the luma hardly shows.
constexpr std::array<int, 14> ladder = {34, 40, 45, 50, 55, 60, 65, 70, 75, 80, 84, 88, 92, 95};

// A trial's draft is coded faster than what is kept, and is larger. Beyond what it takes to say that all
// blocks are empty, the kept picture takes at least this share of it.
constexpr double keptShare = 0.85;
// What it takes in four of five cases, of that least.
constexpr double usualShare = 1.3;
constexpr double lumaBlockBits = 6, chromaBlockBits = 4, headerBytes = 600;

std::size_t leastKept(std::size_t draft, const Pixels& pixels, bool subsample) {
  const double blocks = std::ceil(pixels.width() / 8.0) * std::ceil(pixels.height() / 8.0);
  const double chroma = pixels.channels() >= 3 ? blocks * (subsample ? 0.5 : 2) : 0;
  const double empty = (blocks * lumaBlockBits + chroma * chromaBlockBits) / 8 + headerBytes;
  return static_cast<std::size_t>(std::max(0.0, (static_cast<double>(draft) - empty) * keptShare));
}

double excessOf(double value, double floor) { return floor < 1 ? (1 - value) / (1 - floor) : 0; }

}  // namespace

JpegSearch::Trial JpegSearch::judge(const EncodedImage& coded, const LookTarget& target) {
  const Result<Pixels> decoded = decodeJpeg(coded.data);
  if (!decoded) return {};
  const Viewed shown(*decoded);
  const LookFloor& floor = target.floor;
  const Look look = target.view.compare(shown);
  Trial trial;
  trial.color = look.chroma <= floor.chroma;
  Look luma = look;
  luma.chroma = 0;
  trial.view = passes(luma, floor);
  trial.excess = std::max({excessOf(look.structure, floor.structure), excessOf(look.busy, floor.busy),
                           excessOf(look.worst, floor.worst)});
  if (!trial.view) return trial;
  const double structure = target.shown.compare(shown).structure;
  trial.view = structure >= floor.shown;
  trial.excess = std::max(trial.excess, excessOf(structure, floor.shown));
  if (!trial.view) return trial;
  const double near = target.closeUp.compare(shown).structure;
  trial.near = near >= floor.closeUp;
  trial.excess = std::max(trial.excess, excessOf(near, floor.closeUp));
  return trial;
}

JpegSearch::Trial JpegSearch::attempt(std::size_t rung) {
  JpegOptions options;
  options.quality = ladder[rung];
  options.subsampleChroma = subsample_;
  options.draft = true;
  const Result<EncodedImage> coded = encodeJpeg(pixels_, options);
  if (!coded) return {};
  Trial trial;
  if (leastKept(coded->data.size(), pixels_, subsample_) >= toBeat_) {
    trial.tooLarge = true;
    return trial;
  }
  trial = judge(*coded, target_);
  if (trial.passed()) draftBytes_ = coded->data.size();
  return trial;
}

// The lowest rung that passes, found in few trials: the first trial is at the lowest, which is enough for
// half of all photographs; its excess says about how many rungs are missing.
JpegSearch::Outcome JpegSearch::descend() {
  std::size_t low = 0, high = count_, next = 0;
  // Rungs from here up are too large to win whatever they look like.
  std::size_t useless = count_;
  while (low < high) {
    const Trial trial = attempt(next);
    if (trial.tooLarge) {
      useless = high = next;
    } else if (trial.passed()) {
      high = next;
    } else {
      // Where only the colours suffer although the quality is high, it is the subsampling that harms.
      if (subsample_ && trial.view && !trial.color && ladder[next] >= 60) return Outcome::unlike;
      low = next + 1;
    }
    if (low >= high) break;
    const std::size_t middle = (low + high) / 2;
    if (high == count_ && low == next + 1 && trial.excess > 1) {
      // The loss falls by a third in about two rungs.
      const auto ahead = static_cast<std::size_t>(std::log(trial.excess) * 5);
      next = std::clamp(low + ahead, low, high - 1);
    } else {
      next = middle;
    }
  }
  rung_ = low;
  if (useless < count_ && low >= useless) return Outcome::tooLarge;
  return low < count_ ? Outcome::found : Outcome::unlike;
}

JpegSearch::JpegSearch(const Pixels& pixels, const LookTarget& target, int highest, std::size_t toBeat)
    : pixels_(pixels), target_(target), toBeat_(toBeat) {
  while (count_ < ladder.size() && ladder[count_] <= highest) ++count_;
  subsample_ = pixels.channels() >= 3 && chromaSurvivesHalving(pixels);
  outcome_ = descend();
  if (outcome_ == Outcome::unlike && subsample_) {
    subsample_ = false;
    outcome_ = descend();
  }
}

std::size_t JpegSearch::leastBytes() const {
  return static_cast<std::size_t>(usualShare * static_cast<double>(leastKept(draftBytes_, pixels_, subsample_)));
}

LookResult JpegSearch::encode() const {
  for (std::size_t rung = rung_; rung < count_; ++rung) {
    JpegOptions options;
    options.quality = ladder[rung];
    options.subsampleChroma = subsample_;
    Result<EncodedImage> coded = encodeJpeg(pixels_, options);
    if (!coded || coded->data.size() >= toBeat_) return {{}, true};
    if (judge(*coded, target_).passed()) return {std::move(*coded), false};
  }
  return {};
}

bool passes(const Look& look, const LookFloor& floor) {
  return look.structure >= floor.structure && look.busy >= floor.busy && look.worst >= floor.worst &&
         look.chroma <= floor.chroma && look.tone <= floor.tone;
}

LookResult encodeJpegForLook(const Pixels& pixels, const LookTarget& target, int highest,
                             std::size_t toBeat) {
  const JpegSearch search(pixels, target, highest, toBeat);
  if (!search.found()) return {{}, search.tooLarge()};
  return search.encode();
}

}  // namespace optimizer
