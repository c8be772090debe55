#include "optimizer/image/score.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/score_windows.h"

namespace optimizer {
namespace {

// SSIM (Wang, Bovik, Sheikh, Simoncelli 2004) over square windows of equal weights.
constexpr std::uint32_t window = 7, step = windowStep;
constexpr float c1 = 6.5025f, c2 = 58.5225f;  // (0.01 * 255)^2, (0.03 * 255)^2

// A place counts fully once its variance reaches this.
constexpr double fullVariance = 120;
constexpr double leastWeight = 0.02;

// A picture larger than this is judged on evenly spaced bands of rows: enough places for a mean.
constexpr std::uint64_t enoughPixels = 700'000;
constexpr std::uint32_t band = 64;

// Similarity and variance at each place of a row. All integers stay below 2^31: a window holds 49 samples at
// most.
void similarities(const WindowSums& sums, std::int32_t count, std::vector<float>& similarity,
                  std::vector<float>& variance) {
  vectorised([&]() OPTIMIZER_LOOP {
    const std::size_t n = similarity.size();
    const std::int32_t *sa = sums.a.data(), *sb = sums.b.data(), *saa = sums.aa.data(), *sbb = sums.bb.data(),
                       *sab = sums.ab.data();
    float *to = similarity.data(), *varied = variance.data();
    const std::int32_t m = count;
    const float square = static_cast<float>(m) * static_cast<float>(m), k1 = c1 * square, k2 = c2 * square;
    for (std::size_t i = 0; i < n; ++i) {
      const auto means = static_cast<float>(2 * sa[i] * sb[i]),
                 squares = static_cast<float>(sa[i] * sa[i]) + static_cast<float>(sb[i] * sb[i]),
                 va = static_cast<float>(m * saa[i] - sa[i] * sa[i]),
                 vb = static_cast<float>(m * sbb[i] - sb[i] * sb[i]),
                 covariance = static_cast<float>(m * sab[i] - sa[i] * sb[i]);
      to[i] = (means + k1) * (2 * covariance + k2) / ((squares + k1) * (va + vb + k2));
      varied[i] = va / square;
    }
  });
}

// What the places of a picture add up to.
struct Tally {
  double total = 0, weighted = 0, weights = 0;
  std::uint64_t places = 0;
  std::vector<std::uint32_t> histogram =
      std::vector<std::uint32_t>(1001);  // of the similarity in thousandths

  void add(const Tally& other) {
    total += other.total;
    weighted += other.weighted;
    weights += other.weights;
    places += other.places;
    for (std::size_t i = 0; i < histogram.size(); ++i) histogram[i] += other.histogram[i];
  }
};

// The places whose windows begin in one band of rows. row: called for each row of places with the number of
// its first sample row, similarities and variances.
template <typename Row>
void tallyBand(const Pixels& a, const Pixels& b, std::uint32_t top, Tally& tally, const Row& row) {
  const std::uint32_t w = std::min(window, a.width()), h = std::min(window, a.height());
  const std::size_t across = (a.width() - w) / step + 1;
  std::vector<float> similarity(across), variance(across);
  WindowSums columns(a.width()), windows(across);
  for (std::uint32_t y = top; y < std::min(a.height(), top + band + h - 1); ++y) {
    addRow(columns, a.row(y), b.row(y), 1);
    if (y >= top + h) addRow(columns, a.row(y - h), b.row(y - h), -1);
    if (y + 1 < top + h || (y + 1 - h - top) % step != 0) continue;
    slide(columns.a, w, windows.a);
    slide(columns.b, w, windows.b);
    slide(columns.aa, w, windows.aa);
    slide(columns.bb, w, windows.bb);
    slide(columns.ab, w, windows.ab);
    similarities(windows, static_cast<std::int32_t>(w * h), similarity, variance);
    row(y + 1 - h, similarity, variance);
    for (std::size_t i = 0; i < across; ++i) {
      const double s = similarity[i];
      const double weight = leastWeight + (1 - leastWeight) * std::min(1.0, variance[i] / fullVariance);
      tally.total += s;
      tally.weighted += weight * s;
      tally.weights += weight;
      ++tally.histogram[static_cast<std::size_t>(std::clamp(s, 0.0, 1.0) * 1000)];
    }
    tally.places += across;
  }
}

Look structureOf(const Pixels& a, const Pixels& b) {
  const std::uint32_t h = std::min(window, a.height());
  const auto every = static_cast<std::uint32_t>(1 + a.pixelCount() / enoughPixels);
  std::vector<Tally> bands((a.height() - h) / (band * every) + 1);
  inParts(0, bands.size(), 2, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      tallyBand(a, b, static_cast<std::uint32_t>(i) * band * every, bands[i],
                [](std::uint32_t, const std::vector<float>&, const std::vector<float>&) {});
  });
  Tally all;
  for (const Tally& part : bands) all.add(part);
  Look look;
  look.structure = all.total / static_cast<double>(all.places);
  look.busy = all.weighted / all.weights;
  const std::uint64_t wanted = std::max<std::uint64_t>(1, all.places / 400);
  std::uint64_t seen = 0;
  double worst = 0;
  for (std::size_t i = 0; i < all.histogram.size() && seen < wanted; ++i) {
    const std::uint64_t take = std::min<std::uint64_t>(all.histogram[i], wanted - seen);
    worst += static_cast<double>(take) * static_cast<double>(i) / 1000;
    seen += take;
  }
  look.worst = worst / static_cast<double>(wanted);
  return look;
}

// Parts of a picture whose mean tones are compared: so many across and down, but none smaller than half an inch or so.
constexpr std::uint32_t toneParts = 16, leastTonePart = 48;

Pixels tonesOf(const Pixels& luma) {
  const auto parts = [](std::uint32_t side) { return std::clamp(side / leastTonePart, 1u, toneParts); };
  return blockAverage(luma, parts(luma.width()), parts(luma.height()));
}

double largestDifference(const Pixels& a, const Pixels& b) {
  int largest = 0;
  for (std::size_t i = 0; i < a.samples().size(); ++i)
    largest = std::max(largest, std::abs(int{a.samples()[i]} - int{b.samples()[i]}));
  return largest;
}

// A picture smaller than the view is shown enlarged, nearest pixel by nearest pixel.
Pixels enlarged(Pixels pixels, std::uint32_t width, std::uint32_t height) {
  if (pixels.width() == width && pixels.height() == height) return pixels;
  Pixels larger(width, height, pixels.channels(), pixels.kind());
  const unsigned n = pixels.channels();
  for (std::uint32_t y = 0; y < height; ++y) {
    const std::uint8_t* in =
        pixels.row(static_cast<std::uint32_t>(std::uint64_t{y} * pixels.height() / height));
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint8_t* from = in + std::uint64_t{x} * pixels.width() / width * n;
      std::copy(from, from + n, larger.row(y) + std::size_t{x} * n);
    }
  }
  return larger;
}

double squaredError(const Pixels& a, const Pixels& b) {
  std::uint64_t sum = 0;
  for (std::uint32_t y = 0; y < a.height(); ++y) {
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint32_t row = 0;  // a row has up to 65500 samples: 2^32 / 255^2 is 66051
      const std::uint8_t *p = a.row(y), *q = b.row(y);
      const std::uint32_t width = a.width();
      for (std::uint32_t x = 0; x < width; ++x) {
        const int difference = int{p[x]} - int{q[x]};
        row += static_cast<std::uint32_t>(difference * difference);
      }
      sum += row;
    });
  }
  return static_cast<double>(sum) / static_cast<double>(a.samples().size());
}

}  // namespace

LookReference::LookReference(const Pixels& reference, std::uint32_t width, std::uint32_t height,
                             Reduction reduction)
    : width_(std::clamp(width, 1u, reference.width())),
      height_(std::clamp(height, 1u, reference.height())),
      reduction_(reduction),
      reference_(view(Viewed(reference))) {
  if (reference_.luma.empty()) reference_.luma = lumaOf(reference);
  if (reduction_ == Reduction::area) tones_ = tonesOf(reference_.luma);
}

LookReference::Planes LookReference::view(const Viewed& viewed) const {
  Planes planes;
  const Pixels &luma = viewed.luma(), &pixels = viewed.pixels();
  if (luma.width() > width_ || luma.height() > height_) {
    planes.luma = reduction_ == Reduction::area ? areaAverage(luma, width_, height_)
                                                : blockAverage(luma, width_, height_);
    planes.luma = enlarged(std::move(planes.luma), width_, height_);
  } else if (luma.width() < width_ || luma.height() < height_) {
    planes.luma = enlarged(luma, width_, height_);
  }
  if (pixels.channels() < 3 || reduction_ == Reduction::blocks) return planes;
  const std::uint32_t width = (width_ + 1) / 2, height = (height_ + 1) / 2;
  const Pixels small = enlarged(blockAverage(pixels, width, height), width, height);
  planes.blue = Pixels(small.width(), small.height(), 1, ColorKind::grey);
  planes.red = planes.blue;
  vectorised([&]() OPTIMIZER_LOOP {
    const std::uint8_t* s = small.samples().data();
    std::uint8_t *blue = planes.blue.samples().data(), *red = planes.red.samples().data();
    const std::size_t count = small.pixelCount(), n = small.channels();
    for (std::size_t i = 0; i < count; ++i, s += n) {
      const int y = (77 * s[0] + 150 * s[1] + 29 * s[2] + 128) >> 8;
      blue[i] = static_cast<std::uint8_t>(std::clamp(128 + (s[2] - y) * 144 / 256, 0, 255));
      red[i] = static_cast<std::uint8_t>(std::clamp(128 + (s[0] - y) * 182 / 256, 0, 255));
    }
  });
  return planes;
}

Look LookReference::compare(const Viewed& candidate) const {
  const Planes shown = view(candidate);
  const Pixels& luma = shown.luma.empty() ? candidate.luma() : shown.luma;
  Look look = structureOf(reference_.luma, luma);
  if (!tones_.empty()) look.tone = largestDifference(tones_, tonesOf(luma));
  if (reference_.blue.empty()) return look;
  if (shown.blue.empty()) {
    // A grey candidate has no colour differences: all at the middle.
    Pixels middle(reference_.blue.width(), reference_.blue.height(), 1, ColorKind::grey);
    std::fill(middle.samples().begin(), middle.samples().end(), std::uint8_t{128});
    look.chroma =
        std::sqrt((squaredError(reference_.blue, middle) + squaredError(reference_.red, middle)) / 2);
  } else {
    look.chroma =
        std::sqrt((squaredError(reference_.blue, shown.blue) + squaredError(reference_.red, shown.red)) / 2);
  }
  return look;
}

CellGrid LookReference::unlikeCells(const Viewed& candidate, std::uint32_t across, std::uint32_t down,
                                    double least) const {
  CellGrid grid{across, down, std::vector<std::uint8_t>(std::size_t{across} * down)};
  std::vector<double> sums(grid.cells.size()), weights(grid.cells.size());
  const Planes shown = view(candidate);
  const Pixels& luma = shown.luma.empty() ? candidate.luma() : shown.luma;
  const auto add = [&](std::uint32_t y, const std::vector<float>& similarity,
                       const std::vector<float>& variance) {
    const std::size_t first = std::uint64_t{y + window / 2} * down / height_ * across;
    for (std::size_t i = 0; i < similarity.size(); ++i) {
      const std::size_t cell = first + (i * step + window / 2) * across / width_;
      const double weight = std::min(1.0, variance[i] / fullVariance);
      sums[cell] += weight * similarity[i];
      weights[cell] += weight;
    }
  };
  Tally unused;
  for (std::uint32_t top = 0; top + std::min(window, height_) <= height_; top += band)
    tallyBand(reference_.luma, luma, top, unused, add);
  // What covers less of a cell than a few places is an edge of its neighbour's.
  constexpr double leastWeightSum = 3;
  for (std::size_t i = 0; i < sums.size(); ++i)
    grid.cells[i] = weights[i] > leastWeightSum && sums[i] < least * weights[i];
  return grid;
}

}  // namespace optimizer
