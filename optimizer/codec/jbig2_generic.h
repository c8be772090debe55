// Generic regions of JBIG2 (ITU-T T.88, 6.2): every pixel coded in the context of pixels already coded.
#pragma once

#include <array>
#include <cstdint>

#include "optimizer/base/result.h"
#include "optimizer/codec/bitonal.h"
#include "optimizer/codec/jbig2_arithmetic.h"

namespace optimizer::jbig2 {

// Place of an adaptive pixel relative to the pixel being coded; y from -128 to 0, x from -128 to 127, below 0
// in the same row.
struct AdaptivePixel {
  int x = 0, y = 0;
  bool operator==(const AdaptivePixel&) const = default;
};

struct GenericParams {
  int template_ = 0;                     // 0 to 3
  bool typicalPrediction = false;        // rows equal to the one above cost one decision
  std::array<AdaptivePixel, 4> at = {};  // template 0 uses four, the others the first
};

// Parameters with the adaptive pixels at their nominal places.
GenericParams nominalParams(int templateNumber, bool typicalPrediction);

// Number of contexts, and of adaptive pixels, of a template.
std::size_t contextCount(int templateNumber);
int adaptivePixelCount(int templateNumber);

// A picture with room around it, so that windows of it can be read without looking at the edges: white
// outside.
class Padded {
 public:
  Padded(int width, int height);
  explicit Padded(BitonalView picture);

  int width() const { return width_; }
  int height() const { return height_; }
  // 64 pixels of row y from x on, the first in the highest bit. y from -128 to height - 1, x from -160 to
  // width + 160; white outside the picture.
  std::uint64_t window(int y, int x) const {
    const std::uint8_t* p = rowStart(y) + ((x + margin) >> 3);
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8 | p[i];
    unsigned shift = (x + margin) & 7;
    return shift ? bits << shift | p[8] >> (8 - shift) : bits;
  }
  void set(int x, int y) {
    int at = x + margin;
    rowStart(y)[at >> 3] |= static_cast<std::uint8_t>(0x80 >> (at & 7));
  }
  bool at(int x, int y) const {
    int place = x + margin;
    return rowStart(y)[place >> 3] >> (7 - (place & 7)) & 1;
  }
  void copyRow(int from, int to);
  bool sameRows(int a, int b) const;
  bool blankRow(int y) const;
  Bitonal picture() const;

 private:
  static constexpr int margin = 160;
  static constexpr int above = 128;
  const std::uint8_t* rowStart(int y) const {
    return bytes_.data() + static_cast<std::size_t>(y + above) * stride_;
  }
  std::uint8_t* rowStart(int y) { return bytes_.data() + static_cast<std::size_t>(y + above) * stride_; }

  int width_, height_;
  std::size_t stride_;
  Bytes bytes_;
};

// Codes the picture; contexts has contextCount entries and is carried on by a caller that codes several
// pictures in one go.
void encodeGeneric(Encoder& encoder, Contexts& contexts, const Padded& picture, const GenericParams& params);

// Reads a picture of the given size. Error: damaged, when the data ends long before the picture does.
Result<Padded> decodeGeneric(Decoder& decoder, Contexts& contexts, int width, int height,
                             const GenericParams& params);

}  // namespace optimizer::jbig2
