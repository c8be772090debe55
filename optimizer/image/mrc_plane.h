// Single channels as floating-point planes: what layered coding computes with.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/codec/bitonal.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

struct Plane {
  Plane() = default;
  Plane(std::uint32_t w, std::uint32_t h) : width(w), height(h), values(std::size_t{w} * h) {}
  std::uint32_t width = 0, height = 0;
  std::vector<float> values;
};

// weights: 0 where a value is not known, 1 where it is.
struct WeightedPlane {
  Plane values, weights;
};

Plane channelOf(const Pixels& pixels, unsigned channel);
void putChannel(const Plane& plane, Pixels& pixels, unsigned channel);

// Mean of the channel over the black pixels in the area of each target pixel; weight 0 where there is none.
WeightedPlane meanOfInk(const Pixels& pixels, unsigned channel, const Bitonal& ink, std::uint32_t width,
                        std::uint32_t height);

// Gives values to the places without weight: smooth ones, from what is known around them.
void fillGaps(WeightedPlane& plane);

// The black pixels whose four neighbours are black, too.
Bitonal eroded(const Bitonal& picture);

// The pixels that have a black one within so many, 1 to 7, across and down.
Bitonal grown(const Bitonal& picture, int by);

// Nearest neighbour.
Pixels resizeBitonal(const Pixels& bits, std::uint32_t width, std::uint32_t height);

}  // namespace optimizer
