// The irreversible 9/7 wavelet transform of JPEG 2000 (ISO/IEC 15444-1, Annex F) on floats, and the
// irreversible transform of colours (Annex G.3).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/image/pixels.h"

namespace optimizer::jpx {

// One component of a picture, or its wavelet coefficients: those of each level's low bands come first in rows
// and columns, so that the lowest band is in the top left corner.
struct Samples {
  std::uint32_t width = 0, height = 0;
  std::vector<float> values;
  float* row(std::uint32_t y) { return values.data() + std::size_t{y} * width; }
  const float* row(std::uint32_t y) const { return values.data() + std::size_t{y} * width; }
};

// In place, level by level.
void transform(Samples& samples, unsigned levels);
void transformBack(Samples& coefficients, unsigned levels);

// Luma and colour differences of RGB, or grey, about zero. pixels: 8 bits, 1 or 3 channels.
std::vector<Samples> componentsOf(const Pixels& pixels);
// The pixels that a decoder shows.
Pixels pixelsOf(const std::vector<Samples>& components);

// How much an error of one in a coefficient of the band adds to the picture, as the root of the sum of
// squares. level: 1 is the finest; low bands only matter at the last level.
double bandNorm(unsigned level, bool highAcross, bool highDown);

}  // namespace optimizer::jpx
