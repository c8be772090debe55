// The bitonal codecs for 1-bit Pixels, black and white as PDF's filters hand them out: black is 0.
#pragma once

#include "optimizer/base/result.h"
#include "optimizer/codec/bitonal.h"
#include "optimizer/codec/codec.h"

namespace optimizer {

// 1-bit Pixels to a bitonal picture and back.
Bitonal bitonalOf(const Pixels& pixels);
Pixels pixelsOf(BitonalView picture);

// The best lossless bitonal coding: JBIG2 or CCITT group 4, whichever is smaller. pixels: 1 bit.
// Deterministic.
EncodedImage encodeBitonal(const Pixels& pixels);

}  // namespace optimizer
