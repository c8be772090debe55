#include "optimizer/image/dither.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace optimizer {
namespace {

// Floyd and Steinberg's shares, rows alternating in direction so that no trails form.
Pixels diffuse(const Pixels& grey) {
  const std::size_t width = grey.width();
  Pixels bitonal(grey.width(), grey.height(), 1, ColorKind::grey, 1);
  // In sixteenths of a level, a pixel wider on both sides.
  std::vector<int> here(width + 2), below(width + 2);
  for (std::uint32_t y = 0; y < grey.height(); ++y) {
    const std::uint8_t* row = grey.row(y);
    const bool leftToRight = y % 2 == 0;
    std::fill(below.begin(), below.end(), 0);
    for (std::size_t i = 0; i < width; ++i) {
      const std::size_t x = leftToRight ? i : width - 1 - i, at = x + 1;
      const std::size_t ahead = leftToRight ? at + 1 : at - 1, behind = leftToRight ? at - 1 : at + 1;
      const int wanted = row[x] * 16 + here[at];
      const bool white = wanted >= 128 * 16;
      if (white) bitonal.setBit(static_cast<std::uint32_t>(x), y, true);
      const int error = wanted - (white ? 255 * 16 : 0);
      here[ahead] += error * 7 / 16;
      below[behind] += error * 3 / 16;
      below[at] += error * 5 / 16;
      below[ahead] += error / 16;
    }
    here.swap(below);
  }
  return bitonal;
}

// Bayer's order of 64 thresholds: the bits of x ^ y and y, interleaved from the lowest up.
unsigned rank(unsigned x, unsigned y) {
  unsigned value = 0;
  for (unsigned bit = 0; bit < 3; ++bit) {
    value = value << 2 | (((x ^ y) >> bit & 1) << 1) | (y >> bit & 1);
  }
  return value;
}

Pixels order(const Pixels& grey) {
  Pixels bitonal(grey.width(), grey.height(), 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < grey.height(); ++y) {
    for (std::uint32_t x = 0; x < grey.width(); ++x) {
      if (grey.row(y)[x] * 64u >= rank(x & 7, y & 7) * 255u + 128u) bitonal.setBit(x, y, true);
    }
  }
  return bitonal;
}

}  // namespace

Pixels ditherTo1Bit(const Pixels& grey, Dithering dithering) {
  if (dithering == Dithering::diffusion) return diffuse(grey);
  if (dithering == Dithering::ordered) return order(grey);
  return thresholdTo1Bit(grey);
}

}  // namespace optimizer
