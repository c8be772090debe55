// Component planes of a JPEG picture and their transform into blocks of coefficients.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "optimizer/codec/jpeg_trellis.h"

namespace optimizer::jpegtrellis {

// One component, its samples padded to whole MCUs by repeating the last column and row.
struct Plane {
  int blocksWide = 0, blocksHigh = 0;  // padded to whole MCUs
  int h = 1, v = 1;                    // sampling factors
  bool chroma = false;
  std::vector<std::uint8_t> samples;  // rows of blocksWide * 8

  const std::uint8_t* block(int bx, int by) const {
    return samples.data() + (static_cast<std::size_t>(by) * 8 * static_cast<std::size_t>(blocksWide) +
                             static_cast<std::size_t>(bx)) *
                                8;
  }
  std::size_t stride() const { return static_cast<std::size_t>(blocksWide) * 8; }
};

// Grey: one plane. RGB: Y, Cb, Cr. CMYK: Y, Cb, Cr of the complements of C, M, Y, and K.
std::vector<Plane> makePlanes(const Pixels& pixels, ChromaSampling chroma);

// Coefficients, or samples, of one block, row by row.
using Block = std::array<float, 64>;

// Forward and inverse DCT (ISO/IEC 10918-1, A.3.3), scaled as the standard does; samples are centred on zero.
void forwardDct(const Block& samples, Block& coefficients);
void inverseDct(const Block& coefficients, Block& samples);

}  // namespace optimizer::jpegtrellis
