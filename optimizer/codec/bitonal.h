// Bitonal pictures as the JBIG2 and CCITT coders see them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "optimizer/base/bytes.h"

namespace optimizer {

// Rows of packed bits, leftmost pixel in the highest bit, 1 = black; each row starts at a new byte. Bits
// after the width are ignored. PDF image samples are the other way round: both filters hand out 0 for black
// by default (ISO 32000-1, 7.4.6 and 7.4.7).
struct BitonalView {
  int width = 0;           // pixels, at least 1
  int height = 0;          // rows, at least 1
  std::size_t stride = 0;  // bytes from row to row, at least (width + 7) / 8
  const std::uint8_t* data = nullptr;

  const std::uint8_t* row(int y) const { return data + static_cast<std::size_t>(y) * stride; }
  bool at(int x, int y) const { return (row(y)[x >> 3] >> (7 - (x & 7))) & 1; }
};

// The same, owning its bytes; new pictures are white.
struct Bitonal {
  Bitonal() = default;
  Bitonal(int w, int h)
      : width(w), height(h), stride((static_cast<std::size_t>(w) + 7) / 8), bits(stride * h) {}

  int width = 0, height = 0;
  std::size_t stride = 0;
  Bytes bits;

  std::uint8_t* row(int y) { return bits.data() + static_cast<std::size_t>(y) * stride; }
  const std::uint8_t* row(int y) const { return bits.data() + static_cast<std::size_t>(y) * stride; }
  bool at(int x, int y) const { return (row(y)[x >> 3] >> (7 - (x & 7))) & 1; }
  void set(int x, int y) { row(y)[x >> 3] |= static_cast<std::uint8_t>(0x80 >> (x & 7)); }
  operator BitonalView() const { return {width, height, stride, bits.data()}; }
};

}  // namespace optimizer
