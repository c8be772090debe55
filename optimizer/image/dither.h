// Grey to black and white.
#pragma once

#include "optimizer/image/pixels.h"

namespace optimizer {

// How black and white stand for grey; the numbers of the C interface's dithering mode.
enum class Dithering : int {
  none = 0,       // black below the middle
  diffusion = 1,  // each pixel's error goes on to its neighbours: smooth tones at the price of size
  ordered = 2,    // thresholds in a pattern of 8 by 8: coarser tones, smaller
};

// grey: 8 bits, one channel.
Pixels ditherTo1Bit(const Pixels& grey, Dithering dithering);

}  // namespace optimizer
