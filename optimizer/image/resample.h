// Changing the size of an image while it keeps its look.
#pragma once

#include <cstdint>

#include "optimizer/image/pixels.h"

namespace optimizer {

// Reduces to width x height (each at most the source's). Lanczos (3 lobes) where the reduction is mild, an
// area average first where it is strong, edges replicated. Samples are averaged as stored, like viewers do. 8
// bits only.
Pixels resample(const Pixels& pixels, std::uint32_t width, std::uint32_t height);

// The same, where alpha (8-bit grey, of the same size) says how much each pixel shows: what is transparent
// does not bleed into what is seen.
Pixels resampleUnderMask(const Pixels& pixels, const Pixels& alpha, std::uint32_t width,
                         std::uint32_t height);

// Plain averages over the area of each target pixel, as a viewer shows a reduced image. Sizes up to the
// source's; 8 bits.
Pixels areaAverage(const Pixels& pixels, std::uint32_t width, std::uint32_t height);

// The same in whole pixels, as common viewers show a reduced image: each target pixel averages a block of
// source pixels whose sides differ by one, evenly spread. Harder on fine detail than a true average, and what
// people see. 8 bits.
Pixels blockAverage(const Pixels& pixels, std::uint32_t width, std::uint32_t height);

}  // namespace optimizer
