// Finding the photographs on a scanned page.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/mrc_segment.h"

namespace optimizer {
namespace {

// Between letters paper is of one tone; in a photograph what is not ink varies, too. Cells where it does are
// picture where most of their neighbours are, too. Pixels next to ink do not count: edges are soft. Cells
// that hold hardly anything else follow their neighbours.
class Pictures {
 public:
  Pictures(const Pixels& luma, const Bitonal& ink, int side)
      : side_(side),
        wide_((ink.width + side_ - 1) / side_),
        high_((ink.height + side_ - 1) / side_),
        cells_(static_cast<std::size_t>(wide_) * static_cast<std::size_t>(high_)) {
    constexpr int softEdge = 2;
    const Bitonal edges = grown(ink, softEdge);
    for (int cy = 0; cy < high_; ++cy)
      for (int cx = 0; cx < wide_; ++cx) at(cx, cy) = varies(luma, edges, cx, cy);
    smooth();
    const std::vector<std::uint8_t> toned = tonedParts(luma);
    for (std::size_t i = 0; i < cells_.size(); ++i) cells_[i] = cells_[i] == picture || toned[i] ? 1 : 0;
  }

  CellGrid grid() const {
    return {static_cast<std::uint32_t>(wide_), static_cast<std::uint32_t>(high_), cells_};
  }

 private:
  static constexpr double variedSpread = 14;  // standard deviation, in levels

  std::uint8_t& at(int cx, int cy) { return cells_[static_cast<std::size_t>(cy * wide_ + cx)]; }

  static constexpr std::uint8_t picture = 1, unknown = 2;

  std::uint8_t varies(const Pixels& luma, const Bitonal& edges, int cx, int cy) const {
    std::uint32_t count = 0, sum = 0;
    std::uint64_t squares = 0;
    for (int y = cy * side_; y < std::min((cy + 1) * side_, edges.height); ++y) {
      const std::uint8_t* row = luma.row(static_cast<std::uint32_t>(y));
      for (int x = cx * side_; x < std::min((cx + 1) * side_, edges.width); ++x) {
        const std::uint32_t v = row[x], counted = edges.at(x, y) ? 0 : 1;
        count += counted;
        sum += counted * v;
        squares += counted * v * v;
      }
    }
    if (count < side_ * side_ / 8.0) return unknown;
    const double square = static_cast<double>(sum) * sum / count;
    return std::sqrt(std::max(0.0, static_cast<double>(squares) - square) / count) > variedSpread;
  }

  void smooth() {
    const std::vector<std::uint8_t> first = cells_;
    for (int round = 0; round < 2; ++round) {
      const std::vector<std::uint8_t> before = cells_;
      for (int cy = 0; cy < high_; ++cy)
        for (int cx = 0; cx < wide_; ++cx) {
          int near = 0, all = 0;
          for (int dy = -2; dy <= 2; ++dy)
            for (int dx = -2; dx <= 2; ++dx) {
              if (cx + dx < 0 || cy + dy < 0 || cx + dx >= wide_ || cy + dy >= high_) continue;
              const std::uint8_t cell = before[static_cast<std::size_t>((cy + dy) * wide_ + cx + dx)];
              if (cell == unknown) continue;
              ++all;
              near += cell;
            }
          at(cx, cy) = near * 2 > all;
        }
    }
    // The majority cuts edges and corners off, which have paper around them.
    for (int round = 0; round < 2; ++round) {
      const std::vector<std::uint8_t> before = cells_;
      for (int cy = 0; cy < high_; ++cy)
        for (int cx = 0; cx < wide_; ++cx) {
          if (first[static_cast<std::size_t>(cy * wide_ + cx)] != picture) continue;
          for (int ny = std::max(0, cy - 1); ny <= std::min(high_ - 1, cy + 1); ++ny)
            for (int nx = std::max(0, cx - 1); nx <= std::min(wide_ - 1, cx + 1); ++nx)
              if (before[static_cast<std::size_t>(ny * wide_ + nx)] == picture) at(cx, cy) = picture;
        }
    }
  }

  struct Tones {
    int dark, bright;  // of the cell without its darkest and brightest twentieth
    double middle;     // share of the pixels in the middle half between them
  };

  Tones tonesOf(const Pixels& luma, int cx, int cy) const {
    std::array<std::uint32_t, 256> histogram{};
    std::uint32_t count = 0;
    for (int y = cy * side_; y < std::min((cy + 1) * side_, static_cast<int>(luma.height())); ++y)
      for (int x = cx * side_; x < std::min((cx + 1) * side_, static_cast<int>(luma.width())); ++x, ++count)
        ++histogram[luma.row(static_cast<std::uint32_t>(y))[x]];
    Tones tones{0, 255, 0};
    std::uint32_t seen = 0;
    while (tones.dark < 255 && (seen += histogram[static_cast<std::size_t>(tones.dark)]) * 20 < count)
      ++tones.dark;
    seen = 0;
    while (tones.bright > 0 && (seen += histogram[static_cast<std::size_t>(tones.bright)]) * 20 < count)
      --tones.bright;
    const int quarter = std::max(0, tones.bright - tones.dark) / 4;
    std::uint32_t middle = 0;
    for (int v = tones.dark + quarter; v <= tones.bright - quarter; ++v)
      middle += histogram[static_cast<std::size_t>(v)];
    tones.middle = static_cast<double>(middle) / count;
    return tones;
  }

  // Connected parts of the page where the tone of the paper does not show, in which enough cells have tones
  // of all kinds rather than those of letters and of what is behind them.
  std::vector<std::uint8_t> tonedParts(const Pixels& luma) const {
    constexpr int offPaper = 25, leastRange = 30;
    constexpr double manyTones = 0.4, leastShare = 0.25;
    constexpr std::size_t leastCells = 8;
    std::vector<Tones> tones;
    std::vector<int> bright;
    for (int cy = 0; cy < high_; ++cy)
      for (int cx = 0; cx < wide_; ++cx) {
        tones.push_back(tonesOf(luma, cx, cy));
        bright.push_back(tones.back().bright);
      }
    const auto median = bright.begin() + static_cast<std::ptrdiff_t>(bright.size() / 2);
    std::nth_element(bright.begin(), median, bright.end());
    const int paper = *median;
    std::vector<std::uint8_t> open(tones.size()), parts(tones.size());
    for (std::size_t i = 0; i < tones.size(); ++i) open[i] = tones[i].bright + offPaper < paper;
    std::vector<std::size_t> part;
    for (std::size_t start = 0; start < open.size(); ++start) {
      if (!open[start]) continue;
      part.assign(1, start);
      open[start] = 0;
      std::size_t toned = 0;
      for (std::size_t k = 0; k < part.size(); ++k) {
        const Tones& cell = tones[part[k]];
        toned += cell.bright - cell.dark >= leastRange && cell.middle >= manyTones;
        const int x = static_cast<int>(part[k]) % wide_, y = static_cast<int>(part[k]) / wide_;
        for (int ny = std::max(0, y - 1); ny <= std::min(high_ - 1, y + 1); ++ny)
          for (int nx = std::max(0, x - 1); nx <= std::min(wide_ - 1, x + 1); ++nx) {
            const auto next = static_cast<std::size_t>(ny * wide_ + nx);
            if (!open[next]) continue;
            open[next] = 0;
            part.push_back(next);
          }
      }
      if (toned < leastCells || static_cast<double>(toned) < leastShare * static_cast<double>(part.size()))
        continue;
      for (std::size_t cell : part) parts[cell] = 1;
    }
    return parts;
  }

  int side_, wide_, high_;
  std::vector<std::uint8_t> cells_;
};

}  // namespace

CellGrid findPictures(const Pixels& luma, const Bitonal& ink, std::uint32_t cell) {
  return Pictures(luma, ink, static_cast<int>(cell)).grid();
}

}  // namespace optimizer
