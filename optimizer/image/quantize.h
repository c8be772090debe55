// A palette for an image of many colours, for charts and screenshots whose colours are mostly shades of
// edges.
#pragma once

#include <cstddef>

#include "optimizer/image/pixels.h"

namespace optimizer {

struct QuantizedImage {
  Pixels indexes;  // kind indexed
  Bytes palette;   // channels bytes a colour
};

// At most `colors` (2 to 256) colours, chosen by median cut over the colours that occur and refined by
// k-means; each pixel takes the nearest, without dithering. Grey or RGB, 8 bits. Deterministic.
QuantizedImage quantize(const Pixels& pixels, std::size_t colors);

}  // namespace optimizer
