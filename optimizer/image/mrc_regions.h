// Rectangles around marked cells of a page.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/image/cut.h"
#include "optimizer/image/strokes.h"

namespace optimizer {

// At most `most` rectangles of whole blocks of 8 pixels, none of which meets another, that hold every marked
// cell of the grid, which lies over a picture of width x height pixels in cells of cellWidth x cellHeight.
std::vector<PixelRegion> regionsOf(const CellGrid& grid, double cellWidth, double cellHeight,
                                   std::uint32_t width, std::uint32_t height, std::size_t most);

}  // namespace optimizer
