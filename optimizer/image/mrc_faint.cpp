// Faint strokes: pencil, pale rules and stamps, which a threshold for the whole page takes for paper.
#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/mrc_segment.h"

namespace optimizer {
namespace {

// Beside ink there are the soft edges of strokes.
constexpr int softEdge = 2;
// Tones of a cell: what is brighter than the first share is paper, what is darker than the second is stroke,
// and the edge lies between them.
constexpr double paperShare = 0.6, strokeShare = 0.03;
constexpr int leastContrast = 8;
// More is no stroke, but a tone.
constexpr double mostInk = 0.4;

struct Rectangle {
  int left, top, right, bottom;
};

int meanAround(const Pixels& luma, int x, int y) {
  int sum = 0;
  for (int dy = -1; dy <= 1; ++dy) {
    const std::uint8_t* row =
        luma.row(static_cast<std::uint32_t>(std::clamp(y + dy, 0, static_cast<int>(luma.height()) - 1)));
    for (int dx = -1; dx <= 1; ++dx) sum += row[std::clamp(x + dx, 0, static_cast<int>(luma.width()) - 1)];
  }
  return sum / 9;
}

// The tones of a cell, smoothed; -1 where ink is near.
std::vector<std::int16_t> tonesOf(const Pixels& luma, const Bitonal& edges, const Rectangle& cell) {
  std::vector<std::int16_t> tones;
  for (int y = cell.top; y < cell.bottom; ++y)
    for (int x = cell.left; x < cell.right; ++x)
      tones.push_back(edges.at(x, y) ? std::int16_t{-1} : static_cast<std::int16_t>(meanAround(luma, x, y)));
  return tones;
}

// The level below which a cell has strokes; 0 where it has none.
int edgeIn(const std::vector<std::int16_t>& tones) {
  std::array<std::uint32_t, 256> histogram{};
  std::uint32_t count = 0;
  for (std::int16_t tone : tones)
    if (tone >= 0) {
      ++histogram[static_cast<std::size_t>(tone)];
      ++count;
    }
  if (count * 4 < tones.size()) return 0;
  const auto toneAt = [&](double share) {
    std::uint32_t seen = 0;
    int tone = 0;
    for (; tone < 255; ++tone) {
      seen += histogram[static_cast<std::size_t>(tone)];
      if (seen > share * count) break;
    }
    return tone;
  };
  const int paper = toneAt(paperShare), stroke = toneAt(strokeShare);
  if (paper - stroke < leastContrast) return 0;
  const int edge = (paper + stroke) / 2;
  std::uint32_t below = 0;
  for (int tone = 0; tone < edge; ++tone) below += histogram[static_cast<std::size_t>(tone)];
  return below > mostInk * count ? 0 : edge;
}

}  // namespace

void addFaintInk(const Pixels& luma, const CellGrid& lost, Bitonal& ink) {
  const auto width = static_cast<int>(luma.width()), height = static_cast<int>(luma.height());
  const auto across = static_cast<int>(lost.across), down = static_cast<int>(lost.down);
  const Bitonal edges = grown(ink, softEdge);
  for (int cy = 0; cy < down; ++cy)
    for (int cx = 0; cx < across; ++cx) {
      bool wanted = false;
      for (int y = std::max(0, cy - 1); y <= std::min(down - 1, cy + 1); ++y)
        for (int x = std::max(0, cx - 1); x <= std::min(across - 1, cx + 1); ++x)
          wanted = wanted || lost.cells[static_cast<std::size_t>(y * across + x)];
      if (!wanted) continue;
      const Rectangle cell = {cx * width / across, cy * height / down, (cx + 1) * width / across,
                              (cy + 1) * height / down};
      const std::vector<std::int16_t> tones = tonesOf(luma, edges, cell);
      const int edge = edgeIn(tones);
      std::size_t i = 0;
      for (int y = cell.top; y < cell.bottom; ++y)
        for (int x = cell.left; x < cell.right; ++x, ++i)
          if (tones[i] >= 0 && tones[i] < edge) ink.set(x, y);
    }
}

}  // namespace optimizer
