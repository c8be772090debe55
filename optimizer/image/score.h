// How much of its look an image keeps: the judge of every lossy candidate.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/image/cells.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// 1 is the same picture. `structure` is the mean structural similarity (SSIM) of the luma; `busy` weighs each
// place by how much it shows, so that text and edges count and empty paper does not; `worst` is the mean of
// the worst four-hundredth part: a line of text on a page; `chroma` is the root mean square error of the
// colour differences, in levels of 255. `tone` is by how many levels the mean luma of any sixteenth of the width and
// height is off: structure hardly knows of slow changes of light, which the eye sees.
struct Look {
  double structure = 1, busy = 1, worst = 1, chroma = 0, tone = 0;
};

// How a picture is reduced to the size at which it is looked at: with true averages, which is what the
// picture holds; or in whole pixels, as common viewers do (see blockAverage), which is what people get to
// see.
// The second looks at the luma only.
enum class Reduction : std::uint8_t { area, blocks };

// A picture to be compared with several references: what they have in common is computed once. It must
// outlive this.
class Viewed {
 public:
  Viewed(const Pixels& pixels) : pixels_(pixels) {
    if (pixels.kind() != ColorKind::grey || pixels.bits() != 8) luma_ = lumaOf(pixels);
  }
  const Pixels& pixels() const { return pixels_; }
  const Pixels& luma() const { return luma_.empty() ? pixels_ : luma_; }

 private:
  const Pixels& pixels_;
  Pixels luma_;
};

// The reference, prepared once for many comparisons at one viewing size.
class LookReference {
 public:
  // width, height: the size at which both pictures are looked at, at most that of the reference.
  LookReference(const Pixels& reference, std::uint32_t width, std::uint32_t height,
                Reduction reduction = Reduction::area);

  // candidate: any size; it is shown at the viewing size too.
  Look compare(const Viewed& candidate) const;

  // The cells of a grid over the picture in which what shows keeps less than so much of its structure.
  CellGrid unlikeCells(const Viewed& candidate, std::uint32_t across, std::uint32_t down, double least) const;

 private:
  struct Planes {
    Pixels luma;       // empty where the picture's own is of the viewing size
    Pixels blue, red;  // empty for grey
  };
  Planes view(const Viewed& viewed) const;

  std::uint32_t width_, height_;
  Reduction reduction_;
  Planes reference_;
  Pixels tones_;  // of the parts for Look::tone
};

}  // namespace optimizer
