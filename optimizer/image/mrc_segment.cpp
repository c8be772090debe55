#include "optimizer/image/mrc_segment.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <vector>

#include "optimizer/image/mrc_plane.h"

namespace optimizer {
namespace {

// Ink is darker than its neighbourhood by a share of the neighbourhood's spread (Sauvola, Pietikäinen 2000),
// and by so many levels at least, which keeps paper grain out.
constexpr double spreadShare = 0.25, fullSpread = 128;
constexpr std::uint64_t leastContrast = 12;
// Mean level below which a page is dark.
constexpr std::uint64_t darkPaper = 110;

// Sums over the rows of a window, for every column.
struct Columns {
  explicit Columns(std::size_t width) : sum(width), squares(width) {}
  void add(const std::uint8_t* row) {
    for (std::size_t x = 0; x < sum.size(); ++x) {
      sum[x] += row[x];
      squares[x] += std::uint32_t{row[x]} * row[x];
    }
  }
  void remove(const std::uint8_t* row) {
    for (std::size_t x = 0; x < sum.size(); ++x) {
      sum[x] -= row[x];
      squares[x] -= std::uint32_t{row[x]} * row[x];
    }
  }
  std::vector<std::uint32_t> sum, squares;
};

void threshold(const Pixels& luma, int radius, Bitonal& ink) {
  const int width = static_cast<int>(luma.width()), height = static_cast<int>(luma.height());
  Columns columns(luma.width());
  for (int y = 0; y < std::min(radius, height); ++y) columns.add(luma.row(static_cast<std::uint32_t>(y)));
  for (int y = 0; y < height; ++y) {
    if (y + radius < height) columns.add(luma.row(static_cast<std::uint32_t>(y + radius)));
    if (y - radius - 1 >= 0) columns.remove(luma.row(static_cast<std::uint32_t>(y - radius - 1)));
    const int rows = std::min(y + radius, height - 1) - std::max(y - radius, 0) + 1;
    std::uint64_t sum = 0, squares = 0;
    const auto column = [&](int x) { return static_cast<std::size_t>(x); };
    for (int x = 0; x < std::min(radius, width); ++x) {
      sum += columns.sum[column(x)];
      squares += columns.squares[column(x)];
    }
    const std::uint8_t* row = luma.row(static_cast<std::uint32_t>(y));
    for (int x = 0; x < width; ++x) {
      if (x + radius < width) {
        sum += columns.sum[column(x + radius)];
        squares += columns.squares[column(x + radius)];
      }
      if (x - radius - 1 >= 0) {
        sum -= columns.sum[column(x - radius - 1)];
        squares -= columns.squares[column(x - radius - 1)];
      }
      const auto places =
          static_cast<std::uint64_t>(rows * (std::min(x + radius, width - 1) - std::max(x - radius, 0) + 1));
      if ((row[x] + leastContrast) * places > sum) continue;
      const auto count = static_cast<double>(places);
      const double mean = static_cast<double>(sum) / count;
      const double spread = std::sqrt(std::max(0.0, static_cast<double>(squares) / count - mean * mean));
      if (row[x] < mean * (1 + spreadShare * (spread / fullSpread - 1))) ink.set(x, y);
    }
  }
}

// Single pixels that stand out of an edge, or alone, cost more in the mask than they show: each pixel joins
// its eight neighbours where all but one of them are of the other side.
void smoothEdges(Bitonal& ink) {
  const Bitonal before = ink;
  const Bytes none(before.stride);
  for (int y = 0; y < ink.height; ++y) {
    const std::uint8_t* rows[3] = {y > 0 ? before.row(y - 1) : none.data(), before.row(y),
                                   y + 1 < ink.height ? before.row(y + 1) : none.data()};
    const auto at = [&](int row, int x) {
      return x >= 0 && x < before.width ? rows[row][x >> 3] >> (7 - (x & 7)) & 1 : 0;
    };
    for (int x = 0; x < ink.width; ++x) {
      const auto byte = static_cast<std::size_t>(x >> 3);
      if (!(x & 7) && byte + 1 < before.stride && rows[0][byte] == rows[1][byte] &&
          rows[1][byte] == rows[2][byte] && (rows[1][byte] == 0 || rows[1][byte] == 0xFF)) {
        x |= 7;  // all alike but for the ends, which one neighbour byte cannot turn over
        continue;
      }
      int black = 0;
      for (int row = 0; row < 3; ++row) black += at(row, x - 1) + at(row, x) + at(row, x + 1);
      const int self = at(1, x);
      const int others = self ? 8 - (black - 1) : black;
      if (others >= 7) ink.row(y)[byte] ^= static_cast<std::uint8_t>(0x80 >> (x & 7));
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
  const auto keepDarker = [&](Bitonal& part, const Plane& limit) {
    for (std::uint32_t y = 0; y < luma.height(); ++y) {
      std::uint8_t* bits = part.row(static_cast<int>(y));
      const std::size_t base = std::size_t{std::uint64_t{y} * height / luma.height()} * width;
      for (std::uint32_t x = 0; x < luma.width(); ++x) {
        if (bits[x >> 3] == 0) {
          x |= 7;
          continue;
        }
        if (luma.row(y)[x] > limit.values[base + std::uint64_t{x} * width / luma.width()])
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
  const auto side = static_cast<int>(found.cell), across = static_cast<int>(found.pictures.across);
  for (int y = 0; y < found.ink.height; ++y)
    for (int x = 0; x < found.ink.width; ++x)
      if (found.pictures.cells[static_cast<std::size_t>(y / side * across + x / side)])
        found.ink.row(y)[x >> 3] &= static_cast<std::uint8_t>(~(0x80 >> (x & 7)));
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
