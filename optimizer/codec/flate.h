// Flate with PNG and TIFF predictors (ISO 32000-1, 7.4.4): rows out of a stream, and an image into the
// smallest one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// The decode parameters of ISO 32000-1, Table 8.
struct FlateParms {
  int predictor = 1;  // 1 none, 2 TIFF, 10 and above PNG
  unsigned colors = 1, bits = 8;
  std::uint32_t columns = 1;
};

// Inflates row by row, so that an image larger than memory allows can be reduced on the way. rowBytes is the
// length of an image row; sink gets `rows` of them. Missing data at the end is an error (damaged), trailing
// data is not. Where the predictor's own rows have another length than rowBytes, the bytes are regrouped.
Status inflateRows(ByteView data, const FlateParms& parms, std::size_t rowBytes, std::uint32_t rows,
                   const std::function<void(const std::uint8_t* row)>& sink);

// Packed rows of samples as an image dictionary describes them.
struct PackedSamples {
  std::uint32_t width = 0, height = 0;
  unsigned channels = 1, bits = 8;
  ColorKind kind = ColorKind::grey;
  std::size_t stride = 0;
  Bytes samples;
};

// What coding a picture would take, found at a fraction of the price.
struct FlateDraft {
  int filter = -1;           // the row filter that suits best; see encodeFlate
  std::size_t estimate = 0;  // bytes, within some percent, rather above than below
};
FlateDraft draftFlate(const PackedSamples& image);

// Lossless: the smallest of no predictor (-1), each PNG filter on all rows (0 to 4), and the filter of least
// magnitude row by row (5), as the draft found it. effort: 1 to 12, where 12 is the smallest and slowest;
// large images get less, so that no single one costs seconds.
EncodedImage encodeFlate(const PackedSamples& image, const FlateDraft& draft, int effort = 12);
EncodedImage encodeFlate(const PackedSamples& image, int effort = 12);

// 8-bit and 1-bit pixels as they are.
PackedSamples packedOf(const Pixels& pixels);

}  // namespace optimizer
