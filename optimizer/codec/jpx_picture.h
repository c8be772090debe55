// How a picture falls into bands and code blocks (ISO/IEC 15444-1, Annex B), with one tile, no precincts and
// every component of the same size.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/codec/jpx_block.h"

namespace optimizer::jpx {

struct Band {
  unsigned component = 0, resolution = 0;
  unsigned level = 0;  // of the transform, 1 the finest; 0 where there is none
  bool highAcross = false, highDown = false;
  std::uint32_t left = 0, top = 0, width = 0, height = 0;  // among the component's coefficients
  std::size_t firstBlock = 0;                              // of the picture's, row by row
  std::uint32_t blocksAcross = 0, blocksDown = 0;

  Orientation orientation() const {
    return highAcross ? (highDown ? Orientation::diagonal : Orientation::across) : Orientation::lowOrDown;
  }
};

struct Layout {
  std::uint32_t width = 0, height = 0;
  unsigned components = 0, levels = 0;
  // In the order of coding: resolution by resolution from the lowest, then component by component, then HL,
  // LH, HH.
  std::vector<Band> bands;
  std::size_t blocks = 0;
};

// A block among its component's coefficients.
struct BlockPlace {
  std::size_t block;  // of the picture's
  std::uint32_t left, top, width, height;
};
template <typename Work>
void eachBlock(const Band& band, const Work& work) {
  for (std::uint32_t y = 0; y < band.blocksDown; ++y) {
    for (std::uint32_t x = 0; x < band.blocksAcross; ++x) {
      const std::uint32_t left = x * blockSide, top = y * blockSide;
      work(BlockPlace{band.firstBlock + std::size_t{y} * band.blocksAcross + x, band.left + left,
                      band.top + top, std::min(blockSide, band.width - left),
                      std::min(blockSide, band.height - top)});
    }
  }
}

Layout layoutOf(std::uint32_t width, std::uint32_t height, unsigned components);

// One step for all bands: `base` is what an error of a whole step amounts to in the picture, and the bands'
// own steps follow from it as a derived quantiser has them (E.1.1).
class Quantiser {
 public:
  static constexpr unsigned guardBits = 2;

  // base: 2^-8 to 2^6. It is rounded to what can be said.
  Quantiser(double base, unsigned levels);
  double base() const;
  float stepOf(const Band& band) const;
  // Magnitude bit-planes that a band may have (equation E-2).
  unsigned planesOf(const Band& band) const { return guardBits + exponentOf(band) - 1; }
  // As the code stream has it: of the lowest band (Table A.30).
  std::uint16_t code() const { return static_cast<std::uint16_t>((exponent_ + levels_) << 11 | mantissa_); }

 private:
  unsigned exponentOf(const Band& band) const { return exponent_ + band.level; }
  unsigned levels_, exponent_, mantissa_;  // the exponent before any level
};

}  // namespace optimizer::jpx
