#include "optimizer/image/look.h"

#include <algorithm>
#include <cmath>

namespace optimizer {
namespace {

constexpr LookFloor pictureFloor = {0.955, 0.945, 0.66, 2.8, 0.955, 0.87};
// Charts and screenshots, where the eye expects clean flat colours.
constexpr LookFloor syntheticFloor = {0.985, 0.965, 0.85, 3.0, 0.955, 0.95};

// An image that takes up less of the page than this may lose a little more of what viewers show at reduced
// size.
constexpr double smallCoverage = 0.4;
constexpr double smallShown = 0.015;

// The number from which on the look decides, and the one that stands for the web profile's look.
constexpr int leastJudged = 50, usualQuality = 60;

LookFloor scaled(LookFloor floor, int quality) {
  const double left = (100.0 - quality) / (100 - usualQuality);
  for (double* part : {&floor.structure, &floor.busy, &floor.worst, &floor.shown, &floor.closeUp}) {
    *part = 1 - (1 - *part) * left;
  }
  floor.chroma *= left;
  return floor;
}

// Below this many dots per inch every pixel of an image is seen, and what would pass at normal size shows as
// halos and blocks.
constexpr double everyPixelSeen = 25;
constexpr LookFloor enlargedFloor = {0.975, 0.96, 0.75, 2.8, 0.955, 0.93};

std::uint32_t viewSide(std::uint32_t side, double dpi) {
  if (dpi <= viewingDpi) return side;
  return std::max(1u, static_cast<std::uint32_t>(std::lround(side * viewingDpi / dpi)));
}

}  // namespace

const LookFloor maskFloor = {0.985, 0.965, 0.80, 3.0, 0.955, 0.95};

LookFloor floorFor(const ImageJob& job, const Settings& settings, const ImageFacts& facts) {
  LookFloor floor = job.role == ImageRole::softMask                           ? maskFloor
                    : facts.kind == ImageClass::synthetic || job.unlikeDevice ? syntheticFloor
                    : std::max(job.dpiX, job.dpiY) < everyPixelSeen           ? enlargedFloor
                                                                              : pictureFloor;
  if (job.pageCoverage < smallCoverage) floor.shown -= smallShown;
  return settings.perceptualQuality ? floor : scaled(floor, settings.imageQuality);
}

bool lookDecides(const Settings& settings, const Resampling& wanted) {
  if (settings.perceptualQuality) return true;
  return settings.imageQuality >= leastJudged && settings.imageQuality < 100 && !settings.forceRecompression &&
         !settings.forceCompressionTypes && (wanted.resolution <= 0 || wanted.resolution >= viewingDpi);
}

Views::Views(const Pixels& original, const ImageJob& job)
    : area(original, viewSide(job.source.width, job.dpiX), viewSide(job.source.height, job.dpiY)),
      blocks(original, viewSide(job.source.width, job.dpiX), viewSide(job.source.height, job.dpiY),
             Reduction::blocks) {}

bool looksRight(const Views& views, const Pixels& candidate, const LookFloor& floor) {
  const Viewed shown(candidate);
  return passes(views.area.compare(shown), floor) && views.blocks.compare(shown).structure >= floor.shown;
}

}  // namespace optimizer
