// A grid of cells over a picture.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace optimizer {

// Row by row: 1 for each cell of which something holds.
struct CellGrid {
  std::uint32_t across = 0, down = 0;
  std::vector<std::uint8_t> cells;
  std::size_t count() const { return static_cast<std::size_t>(std::count(cells.begin(), cells.end(), 1)); }
};

}  // namespace optimizer
