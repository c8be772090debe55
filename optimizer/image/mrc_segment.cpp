#include "optimizer/image/mrc_segment.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"
#include "optimizer/image/mrc_plane.h"

namespace optimizer {
namespace {

// Ink is darker than its neighbourhood by a share of the neighbourhood's spread (Sauvola, Pietikäinen 2000),
// and by so many levels at least, which keeps paper grain out.
constexpr double spreadShare = 0.25, fullSpread = 128;
constexpr std::uint32_t leastContrast = 12;
// Mean level below which a page is dark.
constexpr std::uint64_t darkPaper = 110;

// Sums over the rows of a window, for every column. A window has at most 121 x 121 pixels.
struct Columns {
  explicit Columns(std::size_t width) : sum(width), squares(width) {}
  void add(const std::uint8_t* row) {
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint32_t *to = sum.data(), *square = squares.data();
      const std::size_t n = sum.size();
      for (std::size_t x = 0; x < n; ++x) {
        to[x] += row[x];
        square[x] += std::uint32_t{row[x]} * row[x];
      }
    });
  }
  void remove(const std::uint8_t* row) {
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint32_t *to = sum.data(), *square = squares.data();
      const std::size_t n = sum.size();
      for (std::size_t x = 0; x < n; ++x) {
        to[x] -= row[x];
        square[x] -= std::uint32_t{row[x]} * row[x];
      }
    });
  }
  std::vector<std::uint32_t> sum, squares;
};

bool isInk(std::uint8_t sample, std::uint32_t places, std::uint32_t sum, std::uint32_t squares) {
  if ((sample + leastContrast) * places > sum) return false;
  const double count = places, mean = sum / count;
  const double spread = std::sqrt(std::max(0.0, squares / count - mean * mean));
  return sample < mean * (1 + spreadShare * (spread / fullSpread - 1));
}

void thresholdRow(const std::uint8_t* row, const Columns& columns, int radius, std::uint32_t rows,
                  std::uint8_t* bits) {
  const int width = static_cast<int>(columns.sum.size());
  const std::uint32_t *sums = columns.sum.data(), *squaredSums = columns.squares.data();
  std::uint32_t sum = 0, squares = 0;
  const auto at = [&](int x, std::uint32_t places) {
    if (isInk(row[x], places, sum, squares)) bits[x >> 3] |= static_cast<std::uint8_t>(0x80 >> (x & 7));
  };
  for (int x = 0; x < std::min(radius, width); ++x) {
    sum += sums[x];
    squares += squaredSums[x];
  }
  const auto slideAt = [&](int x) {
    if (x + radius < width) {
      sum += sums[x + radius];
      squares += squaredSums[x + radius];
    }
    if (x - radius - 1 >= 0) {
      sum -= sums[x - radius - 1];
      squares -= squaredSums[x - radius - 1];
    }
    const int across = std::min(x + radius, width - 1) - std::max(x - radius, 0) + 1;
    at(x, rows * static_cast<std::uint32_t>(across));
  };
  int x = 0;
  for (; x < std::min(radius + 1, width); ++x) slideAt(x);
  const std::uint32_t places = rows * static_cast<std::uint32_t>(2 * radius + 1);
  for (; x + radius < width; ++x) {
    sum += sums[x + radius] - sums[x - radius - 1];
    squares += squaredSums[x + radius] - squaredSums[x - radius - 1];
    at(x, places);
  }
  for (; x < width; ++x) slideAt(x);
}

void threshold(const Pixels& luma, int radius, Bitonal& ink) {
  const int height = static_cast<int>(luma.height());
  const auto rowOf = [&](int y) { return luma.row(static_cast<std::uint32_t>(y)); };
  // Each part begins with a window of its own.
  const auto enough = static_cast<std::size_t>(8 * radius);
  inParts(0, luma.height(), enough, [&](std::size_t begin, std::size_t end) {
    Columns columns(luma.width());
    const auto first = static_cast<int>(begin);
    for (int y = std::max(0, first - radius - 1); y < std::min(first + radius, height); ++y)
      columns.add(rowOf(y));
    for (int y = first; y < static_cast<int>(end); ++y) {
      if (y + radius < height) columns.add(rowOf(y + radius));
      if (y - radius - 1 >= 0) columns.remove(rowOf(y - radius - 1));
      const int rows = std::min(y + radius, height - 1) - std::max(y - radius, 0) + 1;
      thresholdRow(rowOf(y), columns, radius, static_cast<std::uint32_t>(rows), ink.row(y));
    }
  });
}

// Eight counts at once, one in each bit.
struct BitSum {
  unsigned ones, twos;
};
BitSum added(unsigned a, unsigned b, unsigned c) { return {a ^ b ^ c, (a & b) | (c & (a ^ b))}; }

// Single pixels that stand out of an edge, or alone, cost more in the mask than they show: each pixel joins
// its eight neighbours where all but one of them are of the other side.
void smoothEdges(Bitonal& ink) {
  const Bitonal before = ink;
  const Bytes none(before.stride);
  for (int y = 0; y < ink.height; ++y) {
    const std::uint8_t* rows[3] = {y > 0 ? before.row(y - 1) : none.data(), before.row(y),
                                   y + 1 < ink.height ? before.row(y + 1) : none.data()};
    std::uint8_t* to = ink.row(y);
    for (std::size_t i = 0; i < before.stride; ++i) {
      const auto left = [&](const std::uint8_t* row) {
        return unsigned{row[i]} >> 1 | (i > 0 ? unsigned{row[i - 1]} << 7 : 0u);
      };
      const auto right = [&](const std::uint8_t* row) {
        return unsigned{row[i]} << 1 | (i + 1 < before.stride ? unsigned{row[i + 1]} >> 7 : 0u);
      };
      const unsigned self = rows[1][i];
      if (rows[0][i] == self && self == rows[2][i] && (self == 0 || self == 0xFF)) continue;
      const BitSum above = added(left(rows[0]), rows[0][i], right(rows[0])),
                   below = added(left(rows[2]), rows[2][i], right(rows[2])),
                   beside = added(left(rows[1]), right(rows[1]), 0),
                   ones = added(above.ones, below.ones, beside.ones),
                   twos = added(above.twos, below.twos, beside.twos), more = added(twos.ones, ones.twos, 0),
                   fours = added(twos.twos, more.twos, 0);
      const unsigned sevenOrMore = fours.twos | (fours.ones & more.ones & ones.ones),
                     oneOrNone = ~(fours.twos | fours.ones | more.ones);
      to[i] ^= static_cast<std::uint8_t>((~self & sevenOrMore) | (self & oneOrNone));
    }
  }
}

// The first threshold takes in the soft edges of strokes, which would make all ink paler. The edge is put a
// little beyond the middle between the tone of the ink and that of the paper around it; what is fainter stays
// with the paper.
constexpr float inkReach = 0.6f;

void tighten(const Pixels& luma, double dpi, Bitonal& ink) {
  constexpr double cellsPerInch = 12;
  const auto cells = [&](std::uint32_t side) {
    return std::max(1u, static_cast<std::uint32_t>(side * cellsPerInch / dpi));
  };
  const std::uint32_t width = cells(luma.width()), height = cells(luma.height());
  Bitonal paperOnly = ink;
  for (std::uint8_t& byte : paperOnly.bits) byte = static_cast<std::uint8_t>(~byte);
  WeightedPlane paper = meanOfInk(luma, 0, paperOnly, width, height),
                tone = meanOfInk(luma, 0, ink, width, height);
  fillGaps(paper);
  fillGaps(tone);
  // The mean of the darker part of the ink: its core.
  Bitonal core = ink;
  std::vector<std::uint32_t> columns(luma.width());
  for (std::uint32_t x = 0; x < luma.width(); ++x)
    columns[x] = static_cast<std::uint32_t>(std::uint64_t{x} * width / luma.width());
  const auto keepDarker = [&](Bitonal& part, const Plane& limit) {
    for (std::uint32_t y = 0; y < luma.height(); ++y) {
      std::uint8_t* bits = part.row(static_cast<int>(y));
      const std::size_t base = std::size_t{std::uint64_t{y} * height / luma.height()} * width;
      for (std::uint32_t x = 0; x < luma.width(); ++x) {
        if (bits[x >> 3] == 0) {
          x |= 7;
          continue;
        }
        if (luma.row(y)[x] > limit.values[base + columns[x]])
          bits[x >> 3] &= static_cast<std::uint8_t>(~(0x80 >> (x & 7)));
      }
    }
  };
  keepDarker(core, tone.values);
  WeightedPlane darkest = meanOfInk(luma, 0, core, width, height);
  fillGaps(darkest);
  Plane& edge = paper.values;
  for (std::size_t i = 0; i < edge.values.size(); ++i)
    edge.values[i] = darkest.values.values[i] + inkReach * (edge.values[i] - darkest.values.values[i]);
  keepDarker(ink, edge);
}

void clearInPictures(InkMask& found) {
  const auto side = static_cast<int>(found.cell);
  for (std::uint32_t cy = 0; cy < found.pictures.down; ++cy)
    for (std::uint32_t cx = 0; cx < found.pictures.across; ++cx) {
      if (!found.pictures.cells[std::size_t{cy} * found.pictures.across + cx]) continue;
      const int left = static_cast<int>(cx) * side, top = static_cast<int>(cy) * side;
      for (int y = top; y < std::min(top + side, found.ink.height); ++y)
        for (int x = left; x < std::min(left + side, found.ink.width); ++x)
          found.ink.row(y)[x >> 3] &= static_cast<std::uint8_t>(~(0x80 >> (x & 7)));
    }
}

}  // namespace

Pixels withDarkInk(Pixels luma) {
  std::uint64_t sum = 0;
  for (std::uint8_t sample : luma.samples()) sum += sample;
  if (sum < darkPaper * luma.samples().size())
    for (std::uint8_t& sample : luma.samples()) sample = static_cast<std::uint8_t>(255 - sample);
  return luma;
}

InkMask findInk(const Pixels& luma, double dpi, bool picturesApart) {
  InkMask found;
  found.ink = Bitonal(static_cast<int>(luma.width()), static_cast<int>(luma.height()));
  threshold(luma, std::clamp(static_cast<int>(dpi / 8), 6, 60), found.ink);
  tighten(luma, dpi, found.ink);
  smoothEdges(found.ink);
  if (picturesApart) {
    found.cell = std::max(8u, static_cast<std::uint32_t>(dpi / 6));
    found.pictures = findPictures(luma, found.ink, found.cell);
    found.pictureShare =
        static_cast<double>(found.pictures.count()) / static_cast<double>(found.pictures.cells.size());
    clearInPictures(found);
  }
  std::uint64_t black = 0;
  for (std::uint8_t byte : found.ink.bits) black += static_cast<std::uint64_t>(std::popcount(byte));
  found.inkShare = static_cast<double>(black) / (static_cast<double>(found.ink.width) * found.ink.height);
  return found;
}

}  // namespace optimizer
