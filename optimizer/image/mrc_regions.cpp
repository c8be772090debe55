#include "optimizer/image/mrc_regions.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace optimizer {
namespace {

// In cells, ends outside.
struct Box {
  std::uint32_t left, top, right, bottom;
  std::uint64_t area() const { return std::uint64_t{right - left} * (bottom - top); }
};

Box around(const Box& a, const Box& b) {
  return {std::min(a.left, b.left), std::min(a.top, b.top), std::max(a.right, b.right),
          std::max(a.bottom, b.bottom)};
}

bool meet(const Box& a, const Box& b) {
  return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

// Boxes around what is connected, by flooding.
std::vector<Box> boxesOf(const CellGrid& grid) {
  std::vector<std::uint8_t> left = grid.cells;
  std::vector<Box> boxes;
  std::vector<std::size_t> open;
  for (std::size_t start = 0; start < left.size(); ++start) {
    if (!left[start]) continue;
    Box box = {grid.across, grid.down, 0, 0};
    open.assign(1, start);
    left[start] = 0;
    while (!open.empty()) {
      const std::size_t at = open.back();
      open.pop_back();
      const auto x = static_cast<std::uint32_t>(at % grid.across),
                 y = static_cast<std::uint32_t>(at / grid.across);
      box = around(box, {x, y, x + 1, y + 1});
      for (std::uint32_t ny = y > 0 ? y - 1 : 0; ny <= std::min(y + 1, grid.down - 1); ++ny)
        for (std::uint32_t nx = x > 0 ? x - 1 : 0; nx <= std::min(x + 1, grid.across - 1); ++nx) {
          const std::size_t next = std::size_t{ny} * grid.across + nx;
          if (!left[next]) continue;
          left[next] = 0;
          open.push_back(next);
        }
    }
    boxes.push_back(box);
  }
  return boxes;
}

// Joins the two whose common box adds least, until there are no more than `most` and none meet.
void join(std::vector<Box>& boxes, std::size_t most) {
  for (;;) {
    std::size_t first = 0, second = 0;
    auto least = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < boxes.size(); ++i)
      for (std::size_t k = i + 1; k < boxes.size(); ++k) {
        const bool must = meet(boxes[i], boxes[k]);
        if (!must && boxes.size() <= most) continue;
        const auto added = must ? -1
                                : static_cast<std::int64_t>(around(boxes[i], boxes[k]).area()) -
                                      static_cast<std::int64_t>(boxes[i].area() + boxes[k].area());
        if (added >= least) continue;
        least = added;
        first = i;
        second = k;
      }
    if (first == second) return;
    boxes[first] = around(boxes[first], boxes[second]);
    boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(second));
  }
}

}  // namespace

std::vector<PixelRegion> regionsOf(const CellGrid& grid, double cellWidth, double cellHeight,
                                   std::uint32_t width, std::uint32_t height, std::size_t most) {
  std::vector<Box> boxes = boxesOf(grid);
  // Joining looks at every pair; a page with so many is no page with pictures.
  constexpr std::size_t mostBoxes = 150;
  if (boxes.size() > mostBoxes) {
    Box all = boxes.front();
    for (const Box& box : boxes) all = around(all, box);
    boxes.assign(1, all);
  }
  join(boxes, most);
  std::vector<PixelRegion> regions;
  const auto down8 = [](double v) { return static_cast<std::uint32_t>(v) / 8 * 8; };
  const auto up8 = [](double v, std::uint32_t side) {
    return std::min(side, (static_cast<std::uint32_t>(std::ceil(v)) + 7) / 8 * 8);
  };
  for (const Box& box : boxes) {
    const std::uint32_t left = down8(box.left * cellWidth), top = down8(box.top * cellHeight);
    const std::uint32_t right = up8(box.right * cellWidth, width),
                        bottom = up8(box.bottom * cellHeight, height);
    if (right > left && bottom > top) regions.push_back({left, top, right - left, bottom - top});
  }
  return regions;
}

}  // namespace optimizer
