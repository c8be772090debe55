#include "optimizer/codec/jpx_visibility.h"

#include <algorithm>
#include <cmath>

#include "optimizer/base/vectorised.h"

namespace optimizer::jpx {
namespace {

// By level, the finest first: pictures are mostly looked at a little smaller than they are, and fine
// differences of colour are hardly seen. Found by trial: with these, photographs and scans that just keep
// their look (image/score.h) take the fewest bytes.
double ofLevel(unsigned component, unsigned level) {
  if (component == 0) return level == 1 ? 0.75 : 1;
  return level == 1 ? 0.5 : level == 2 ? 0.7 : 1;
}

// The luma's variance is taken in squares of this side.
constexpr std::uint32_t cellSide = 8;
// Structural similarity weighs an error by the variance around it and this (Wang, Bovik, Sheikh, Simoncelli
// 2004). A block is made up of many places, and sees half of the difference.
constexpr double similarityConstant = 58.5, shareOfVariance = 0.5;
constexpr double leastFactor = 0.25, mostFactor = 4;

// How much an error matters for the structure around it, on an average over any part of a picture.
class Sensitivity {
 public:
  explicit Sensitivity(const Samples& luma);
  double mean(std::uint64_t left, std::uint64_t top, std::uint64_t right, std::uint64_t bottom) const;

 private:
  std::uint32_t width_, height_;  // in cells
  std::vector<float> cells_;
};

Sensitivity::Sensitivity(const Samples& luma)
    : width_((luma.width + cellSide - 1) / cellSide),
      height_((luma.height + cellSide - 1) / cellSide),
      cells_(std::size_t{width_} * height_) {
  std::vector<float> sums(luma.width), squares(luma.width);
  for (std::uint32_t y = 0; y < height_; ++y) {
    const std::uint32_t rows = std::min(cellSide, luma.height - y * cellSide);
    std::fill(sums.begin(), sums.end(), 0.0f);
    std::fill(squares.begin(), squares.end(), 0.0f);
    for (std::uint32_t i = 0; i < rows; ++i) {
      vectorised([&]() OPTIMIZER_LOOP {
        const float* in = luma.row(y * cellSide + i);
        float *sum = sums.data(), *square = squares.data();
        const std::uint32_t count = luma.width;
        for (std::uint32_t x = 0; x < count; ++x) {
          sum[x] += in[x];
          square[x] += in[x] * in[x];
        }
      });
    }
    for (std::uint32_t x = 0; x < width_; ++x) {
      const std::uint32_t from = x * cellSide, to = std::min(from + cellSide, luma.width);
      double sum = 0, square = 0;
      for (std::uint32_t i = from; i < to; ++i) {
        sum += sums[i];
        square += squares[i];
      }
      const double count = static_cast<double>(to - from) * rows, mean = sum / count;
      const double variance = std::max(0.0, square / count - mean * mean);
      cells_[std::size_t{y} * width_ + x] = static_cast<float>(1 / (2 * variance + similarityConstant));
    }
  }
}

double Sensitivity::mean(std::uint64_t left, std::uint64_t top, std::uint64_t right,
                         std::uint64_t bottom) const {
  const auto cellsTo = [](std::uint64_t side, std::uint32_t most) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>((side + cellSide - 1) / cellSide, most));
  };
  const std::uint32_t endX = cellsTo(right, width_), endY = cellsTo(bottom, height_);
  // A band's last coefficients may stand for what is beyond the edge.
  const std::uint32_t x0 = std::min(static_cast<std::uint32_t>(left / cellSide), endX - 1),
                      y0 = std::min(static_cast<std::uint32_t>(top / cellSide), endY - 1);
  double sum = 0;
  for (std::uint32_t y = y0; y < endY; ++y)
    for (std::uint32_t x = x0; x < endX; ++x) sum += cells_[std::size_t{y} * width_ + x];
  return sum / (static_cast<double>(endX - x0) * (endY - y0));
}

}  // namespace

unsigned lowestPlane(float visibility) {
  return static_cast<unsigned>(std::max(0.0f, std::floor(-std::log2(visibility))));
}

std::vector<float> visibilityOf(const Layout& layout, const std::vector<Samples>& components) {
  std::vector<float> all(layout.blocks);
  const Sensitivity sensitivity(components[0]);
  const double whole = sensitivity.mean(0, 0, layout.width, layout.height);
  for (const Band& band : layout.bands) {
    eachBlock(band, [&](const BlockPlace& place) {
      double seen = ofLevel(band.component, band.level);
      if (band.component == 0) {
        const std::uint64_t left = std::uint64_t{place.left - band.left} << band.level,
                            top = std::uint64_t{place.top - band.top} << band.level;
        const double here = sensitivity.mean(left, top, left + (std::uint64_t{place.width} << band.level),
                                             top + (std::uint64_t{place.height} << band.level));
        // What is weighed is the square of an error, and this is its root.
        seen *= std::clamp(std::pow(here / whole, shareOfVariance / 2), leastFactor, mostFactor);
      }
      all[place.block] = static_cast<float>(seen);
    });
  }
  const float most = *std::max_element(all.begin(), all.end());
  for (float& one : all) one /= most;
  return all;
}

}  // namespace optimizer::jpx
