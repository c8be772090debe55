#include "optimizer/image/strokes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "optimizer/image/mrc_regions.h"

namespace optimizer {
namespace {

constexpr std::uint32_t side = 480;

Pixels grainy(int grain, int seed) {
  Pixels page(side, side, 1, ColorKind::grey);
  std::mt19937 random(static_cast<unsigned>(seed));
  for (std::uint8_t& s : page.samples())
    s = static_cast<std::uint8_t>(230 + static_cast<int>(random() % (2 * grain + 1)) - grain);
  return page;
}

void line(Pixels& page, std::uint32_t y, std::uint32_t thick, int darker) {
  for (std::uint32_t dy = 0; dy < thick; ++dy)
    for (std::uint32_t x = 20; x < side - 20; ++x) {
      std::uint8_t& s = page.row(y + dy)[x];
      s = static_cast<std::uint8_t>(std::max(0, s - darker));
    }
}

TEST(Strokes, FaintLinesThatGoAreFoundWhereTheyWere) {
  Pixels page = grainy(3, 1);
  line(page, 100, 2, 22);
  const CellGrid lost = StrokeReference(page).compare(grainy(0, 1));
  EXPECT_GT(lost.count(), 12u);
  for (std::size_t i = 0; i < lost.cells.size(); ++i) {
    if (!lost.cells[i]) continue;
    const auto row = static_cast<std::uint32_t>(i / lost.across);
    EXPECT_TRUE(row == 3 || row == 4) << row;
  }
}

TEST(Strokes, GrainMayGoAndEdgesMayBecomeSharper) {
  Pixels page = grainy(4, 1), clean = grainy(0, 1);
  for (std::uint32_t y = 50; y < 400; y += 40) {
    line(page, y, 5, 150);
    line(page, y - 1, 1, 60);  // a soft edge
    line(clean, y, 5, 150);
  }
  EXPECT_EQ(StrokeReference(page).compare(clean).count(), 0u);
  EXPECT_EQ(StrokeReference(page).compare(page).count(), 0u);
}

TEST(Strokes, LinesOfLessThanHalfTheContrastAreLost) {
  Pixels page = grainy(2, 1), more = grainy(2, 2), less = grainy(2, 2);
  line(page, 200, 3, 40);
  line(more, 200, 3, 28);
  line(less, 200, 3, 12);
  EXPECT_EQ(StrokeReference(page).compare(more).count(), 0u);
  EXPECT_GT(StrokeReference(page).compare(less).count(), 12u);
}

TEST(Regions, HoldEveryMarkedCellAndNeverMeet) {
  CellGrid grid{20, 20, std::vector<std::uint8_t>(400)};
  std::mt19937 random(3);
  for (int i = 0; i < 30; ++i) grid.cells[random() % 400] = 1;
  for (const std::size_t most : {1u, 3u, 40u}) {
    const std::vector<PixelRegion> regions = regionsOf(grid, 12.5, 12.5, 250, 245, most);
    EXPECT_LE(regions.size(), most);
    for (std::size_t cell = 0; cell < grid.cells.size(); ++cell) {
      if (!grid.cells[cell]) continue;
      const double x = (static_cast<double>(cell % 20) + 0.5) * 12.5,
                   y = (static_cast<double>(cell / 20) + 0.5) * 12.5;
      if (y >= 245) continue;
      EXPECT_TRUE(std::any_of(regions.begin(), regions.end(), [&](const PixelRegion& r) {
        return r.left <= x && x < r.left + r.width && r.top <= y && y < r.top + r.height;
      }));
    }
    for (std::size_t a = 0; a < regions.size(); ++a)
      for (std::size_t b = a + 1; b < regions.size(); ++b) {
        const PixelRegion &p = regions[a], &q = regions[b];
        EXPECT_FALSE(p.left < q.left + q.width && q.left < p.left + p.width && p.top < q.top + q.height &&
                     q.top < p.top + p.height);
      }
  }
}

}  // namespace
}  // namespace optimizer
