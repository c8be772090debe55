#include "optimizer/image/lossy_jpx.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/codec/jpx_coding.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

constexpr int mostTrials = 6;
// As logarithms: how far slopes may get above those of the largest size, and that of the colours above that
// of the luma.
constexpr double highestSlope = 6, mostColorLead = 2;
// What the losses of structure and colour usually grow with, as powers of the slope.
constexpr double lumaPower = 0.5, colorPower = 0.25;
// Losses beyond this at the largest size cannot be made good by what the colours may spare.
constexpr double hopeless = 1.08;

double excess(double value, double floor) {
  if (floor >= 1) return value < floor ? 2 : 0;
  return (1 - value) / (1 - floor);
}

// What is judged in the end is what a decoder gives.
std::optional<EncodedImage> judged(EncodedImage image, const LossJudge& judge) {
  const Result<Pixels> decoded = decodeJpx(image.data);
  if (!decoded || !judge(*decoded).passes()) return std::nullopt;
  return image;
}

// Of a picture larger than this a decoder is asked for half the size only: that reads all of the file's structure, in a
// third of the time, and what it draws must be what the coding foretells.
constexpr std::uint64_t decodedWhole = 250'000;
// Levels by which two decoders may round apart.
constexpr int roundingApart = 3;

bool decodesAsForetold(const EncodedImage& image, const Pixels& foretold) {
  const Result<Pixels> decoded = decodeJpx(image.data, 1);
  if (!decoded || decoded->width() != foretold.width() || decoded->height() != foretold.height() ||
      decoded->channels() != foretold.channels())
    return false;
  return std::equal(decoded->samples().begin(), decoded->samples().end(), foretold.samples().begin(),
                    [](int a, int b) { return std::abs(a - b) <= roundingApart; });
}

// Finds the slope at which a loss is just what it may be. Both as logarithms: the loss grows about like a
// power of the slope. It is told losses and says what to try next.
class SlopeSearch {
 public:
  SlopeSearch(double first, double highest, double usualPower)
      : next_(first), highest_(highest), usualPower_(usualPower) {}

  // The highest slope that is of use, where that changes on the way.
  void limit(double highest) {
    highest_ = highest;
    next_ = std::min(next_, highest_);
  }
  double next() const { return done() ? passing() : next_; }
  bool everPassed() const { return passed_; }
  double passing() const { return std::min(passing_.slope, highest_); }
  bool done() const {
    return passed_ && (passing_.slope >= highest_ - closeEnough || passing_.loss > aim - closeEnough ||
                       (failed_ && failing_.slope - passing_.slope < closeEnough));
  }

  void tell(double loss) {
    if (done()) return;
    const Point point{next_, std::log(std::max(loss, 1e-3))};
    if (point.loss <= 0) {
      if (!passed_ || point.slope > passing_.slope) passing_ = point;
      passed_ = true;
    } else {
      if (!failed_ || point.slope < failing_.slope) failing_ = point;
      failed_ = true;
    }
    if (passed_ && failed_) {
      const double share = (aim - passing_.loss) / (failing_.loss - passing_.loss);
      next_ = passing_.slope + std::clamp(share, 0.1, 0.9) * (failing_.slope - passing_.slope);
    } else {
      next_ = std::min(highest_, point.slope + (aim - point.loss) / usualPower_);
    }
  }

 private:
  struct Point {
    double slope = 0, loss = 0;
  };
  static constexpr double aim = -0.015, closeEnough = 0.025;
  double next_, highest_, usualPower_;
  bool passed_ = false, failed_ = false;
  Point passing_, failing_;
};

}  // namespace

Loss lossOf(const Look& look, const LookFloor& floor) {
  const double ratio = look.chroma / std::max(floor.chroma, 0.01);
  return {std::max({excess(look.structure, floor.structure), excess(look.busy, floor.busy),
                    excess(look.worst, floor.worst), look.tone / floor.tone}),
          look.chroma <= floor.chroma ? 0.999 * ratio : std::max(ratio, 1.001)};
}

// Structure is nearly all a matter of the luma, so that the two slopes are sought beside each other.
std::optional<EncodedImage> smallestJpx(const Pixels& pixels, std::size_t mostBytes, const LossJudge& judge) {
  Result<JpxCoding> coding = JpxCoding::begin(pixels, mostBytes);
  if (!coding) return std::nullopt;
  const double first = std::log(std::max(coding->slopesFor(mostBytes).luma, 1e-20f));
  SlopeSearch luma(first, first + highestSlope, lumaPower), colors(first, first + highestSlope, colorPower);
  const auto cutAt = [&](double lumaSlope, double colorSlope) {
    return coding->cutAt(
        {static_cast<float>(std::exp(lumaSlope)), static_cast<float>(std::exp(colorSlope))});
  };
  std::optional<std::pair<double, double>> passed;  // slopes of the luma and the colours that passed together
  for (int trial = 0; trial < mostTrials && !(luma.done() && (colors.done() || pixels.channels() == 1));
       ++trial) {
    const Loss loss = judge(coding->shown(cutAt(luma.next(), colors.next())));
    if (trial == 0 && loss.structure > hopeless) return std::nullopt;
    if (loss.passes()) passed.emplace(luma.next(), colors.next());
    luma.tell(loss.structure);
    colors.tell(loss.chroma);
    colors.limit(luma.next() + mostColorLead);
  }
  if (!luma.everPassed() || !colors.everPassed()) return std::nullopt;
  // The two may not have been tried together, and a decoder rounds in its own way.
  for (const double flatter : {0.0, 0.1, 0.3}) {
    const std::pair<double, double> slopes = {luma.passing() - flatter, colors.passing() - flatter};
    const jpx::Cuts cuts = cutAt(slopes.first, slopes.second);
    if (coding->sizeOf(cuts) > mostBytes) return std::nullopt;
    EncodedImage image = coding->encoded(cuts);
    if (pixels.pixelCount() <= decodedWhole) {
      if (auto whole = judged(std::move(image), judge)) return whole;
    } else if (passed == slopes || judge(coding->shown(cuts)).passes()) {
      if (!decodesAsForetold(image, coding->shownHalved(cuts))) return std::nullopt;
      return image;
    }
  }
  return std::nullopt;
}

std::optional<EncodedImage> encodeJpxForLook(const Pixels& pixels, const LookTarget& target,
                                             std::size_t mostBytes) {
  return smallestJpx(pixels, mostBytes, [&](const Pixels& picture) {
    const Viewed shown(picture);
    Loss loss = lossOf(target.view.compare(shown), target.floor);
    const auto also = [&](const LookReference& reference, double floor) {
      if (loss.structure <= 1)
        loss.structure = std::max(loss.structure, excess(reference.compare(shown).structure, floor));
    };
    also(target.shown, target.floor.shown);
    also(target.closeUp, target.floor.closeUp);
    return loss;
  });
}

std::optional<EncodedImage> encodeJpxLike(const Pixels& pixels, const EncodedImage& jpeg,
                                          std::size_t mostBytes) {
  const Result<Pixels> wanted = decodeJpeg(jpeg.data);
  if (!wanted) return std::nullopt;
  const LookReference reference(pixels, pixels.width(), pixels.height());
  const Look least = reference.compare(*wanted);
  const LookFloor floor{least.structure, least.busy, least.worst, least.chroma, 0, 0, std::max(1.0, least.tone)};
  return smallestJpx(pixels, mostBytes,
                     [&](const Pixels& shown) { return lossOf(reference.compare(shown), floor); });
}

std::optional<EncodedImage> encodeJpxOf(const Pixels& pixels, std::size_t mostBytes) {
  Result<JpxCoding> coding = JpxCoding::begin(pixels, mostBytes);
  if (!coding) return std::nullopt;
  return judged(coding->encoded(coding->cutTo(mostBytes)), [](const Pixels&) { return Loss{}; });
}

}  // namespace optimizer
