// Writes quantised coefficients as a JPEG file through libjpeg.
#pragma once

#include <vector>

#include "optimizer/base/result.h"
#include "optimizer/codec/jpeg_trellis_quant.h"

namespace optimizer::jpegtrellis {

// One component ready to be written: blocks row by row, blocksWide of them a row.
struct Component {
  int blocksWide = 0, blocksHigh = 0, h = 1, v = 1;
  bool chroma = false;
  std::vector<Quantized> blocks;
};

// The smallest of several orders of scans. Error: internal.
Result<Bytes> writeJpeg(int width, int height, const std::vector<Component>& components,
                        const QuantTable& luma, const QuantTable& chroma);

}  // namespace optimizer::jpegtrellis
