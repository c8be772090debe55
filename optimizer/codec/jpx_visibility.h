// How much errors in code blocks are seen: what rate control weighs, beyond squared errors.
#pragma once

#include <vector>

#include "optimizer/codec/jpx_picture.h"
#include "optimizer/codec/jpx_wavelet.h"

namespace optimizer::jpx {

// For each block, how much an error of one in the picture matters as against one that matters most, above 0
// and up to
// 1. components: not yet transformed.
std::vector<float> visibilityOf(const Layout& layout, const std::vector<Samples>& components);

// The lowest bit-plane that is worth coding of a block of that visibility where the others go down to 0.
unsigned lowestPlane(float visibility);

}  // namespace optimizer::jpx
