#include "optimizer/image/score.h"

#include <algorithm>
#include <cmath>

#include "optimizer/image/resample.h"

namespace optimizer {
namespace {

// SSIM (Wang, Bovik, Sheikh, Simoncelli 2004) over square windows of equal weights.
constexpr std::uint32_t window = 7;
constexpr std::uint32_t step = 2;
constexpr double c1 = 6.5025, c2 = 58.5225;  // (0.01 * 255)^2, (0.03 * 255)^2

// A place counts fully once its variance reaches this.
constexpr double fullVariance = 120;
constexpr double leastWeight = 0.02;

// A picture larger than this is judged on evenly spaced bands of rows: enough places for a mean.
constexpr std::uint64_t enoughPixels = 700'000;
constexpr std::uint32_t band = 64;

struct ColumnSums {
  std::vector<std::uint32_t> a, b, aa, bb, ab;
  explicit ColumnSums(std::size_t n) : a(n), b(n), aa(n), bb(n), ab(n) {}
};

void addRow(ColumnSums& sums, const std::uint8_t* a, const std::uint8_t* b, std::uint32_t sign) {
  const std::size_t n = sums.a.size();
  for (std::size_t i = 0; i < n; ++i) sums.a[i] += sign * a[i];
  for (std::size_t i = 0; i < n; ++i) sums.b[i] += sign * b[i];
  for (std::size_t i = 0; i < n; ++i) sums.aa[i] += sign * (std::uint32_t{a[i]} * a[i]);
  for (std::size_t i = 0; i < n; ++i) sums.bb[i] += sign * (std::uint32_t{b[i]} * b[i]);
  for (std::size_t i = 0; i < n; ++i) sums.ab[i] += sign * (std::uint32_t{a[i]} * b[i]);
}

double similarity(double a, double b, double aa, double bb, double ab, double count, double& variance) {
  const double ma = a / count, mb = b / count;
  const double va = std::max(0.0, aa / count - ma * ma), vb = std::max(0.0, bb / count - mb * mb);
  const double cov = ab / count - ma * mb;
  variance = va;
  return (2 * ma * mb + c1) * (2 * cov + c2) / ((ma * ma + mb * mb + c1) * (va + vb + c2));
}

Look structureOf(const Pixels& a, const Pixels& b) {
  const std::uint32_t w = std::min(window, a.width()), h = std::min(window, a.height());
  const double count = static_cast<double>(w) * h;
  double total = 0, weighted = 0, weights = 0;
  std::uint64_t places = 0;
  std::vector<std::uint32_t> histogram(1001);
  const auto every = static_cast<std::uint32_t>(1 + a.pixelCount() / enoughPixels);
  for (std::uint32_t top = 0; top + h <= a.height(); top += band * every) {
    ColumnSums sums(a.width());
    for (std::uint32_t y = top; y < std::min(a.height(), top + band + h - 1); ++y) {
      addRow(sums, a.row(y), b.row(y), 1);
      if (y >= top + h) addRow(sums, a.row(y - h), b.row(y - h), ~std::uint32_t{0});
      if (y + 1 < top + h || (y + 1 - h - top) % step != 0) continue;
      std::uint32_t sa = 0, sb = 0, saa = 0, sbb = 0, sab = 0;
      for (std::uint32_t x = 0; x < a.width(); ++x) {
        sa += sums.a[x], sb += sums.b[x], saa += sums.aa[x], sbb += sums.bb[x], sab += sums.ab[x];
        if (x >= w) {
          sa -= sums.a[x - w], sb -= sums.b[x - w], saa -= sums.aa[x - w], sbb -= sums.bb[x - w];
          sab -= sums.ab[x - w];
        }
        if (x + 1 < w || (x + 1 - w) % step != 0) continue;
        double variance = 0;
        const double s = similarity(sa, sb, saa, sbb, sab, count, variance);
        const double weight = leastWeight + (1 - leastWeight) * std::min(1.0, variance / fullVariance);
        total += s;
        weighted += weight * s;
        weights += weight;
        ++places;
        ++histogram[static_cast<std::size_t>(std::clamp(s, 0.0, 1.0) * 1000)];
      }
    }
  }
  Look look;
  look.structure = total / static_cast<double>(places);
  look.busy = weighted / weights;
  const std::uint64_t wanted = std::max<std::uint64_t>(1, places / 400);
  std::uint64_t seen = 0;
  double worst = 0;
  for (std::size_t i = 0; i < histogram.size() && seen < wanted; ++i) {
    const std::uint64_t take = std::min<std::uint64_t>(histogram[i], wanted - seen);
    worst += static_cast<double>(take) * static_cast<double>(i) / 1000;
    seen += take;
  }
  look.worst = worst / static_cast<double>(wanted);
  return look;
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
  for (std::size_t i = 0; i < a.samples().size(); ++i) {
    const int difference = int{a.samples()[i]} - int{b.samples()[i]};
    sum += static_cast<std::uint64_t>(difference * difference);
  }
  return static_cast<double>(sum) / static_cast<double>(a.samples().size());
}

}  // namespace

LookReference::LookReference(const Pixels& reference, std::uint32_t width, std::uint32_t height,
                             Reduction reduction)
    : width_(std::clamp(width, 1u, reference.width())),
      height_(std::clamp(height, 1u, reference.height())),
      reduction_(reduction),
      reference_(view(reference)) {}

LookReference::Planes LookReference::view(const Pixels& pixels) const {
  Planes planes;
  planes.luma = lumaOf(pixels);
  if (planes.luma.width() > width_ || planes.luma.height() > height_) {
    planes.luma = reduction_ == Reduction::area ? areaAverage(planes.luma, width_, height_)
                                                : blockAverage(planes.luma, width_, height_);
  }
  planes.luma = enlarged(std::move(planes.luma), width_, height_);
  if (pixels.channels() < 3 || reduction_ == Reduction::blocks) return planes;
  const std::uint32_t width = (width_ + 1) / 2, height = (height_ + 1) / 2;
  const Pixels small = enlarged(blockAverage(pixels, width, height), width, height);
  planes.blue = Pixels(small.width(), small.height(), 1, ColorKind::grey);
  planes.red = planes.blue;
  const unsigned n = small.channels();
  for (std::size_t i = 0; i < small.pixelCount(); ++i) {
    const std::uint8_t* s = small.samples().data() + i * n;
    const int y = (77 * s[0] + 150 * s[1] + 29 * s[2] + 128) >> 8;
    planes.blue.samples()[i] = static_cast<std::uint8_t>(std::clamp(128 + (s[2] - y) * 144 / 256, 0, 255));
    planes.red.samples()[i] = static_cast<std::uint8_t>(std::clamp(128 + (s[0] - y) * 182 / 256, 0, 255));
  }
  return planes;
}

Look LookReference::compare(const Pixels& candidate) const {
  const Planes shown = view(candidate);
  Look look = structureOf(reference_.luma, shown.luma);
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

}  // namespace optimizer
