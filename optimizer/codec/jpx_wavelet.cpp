#include "optimizer/codec/jpx_wavelet.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "optimizer/base/vectorised.h"

namespace optimizer::jpx {
namespace {

// 15444-1, Table F.4.
constexpr float alpha = -1.586134342059924f, beta = -0.052980118572961f, gamma = 0.882911075530934f,
                delta = 0.443506852043971f, scale = 1.230174104914001f;

// Columns that are worked on together: what a strip of a tall picture takes stays in the cache.
constexpr std::uint32_t strip = 16;

std::uint32_t lowSide(std::uint32_t side) { return (side + 1) / 2; }

// to[i] += factor * (a[i] + b[i])
struct Lift {
  float* to;
  const float *a, *b;
  std::size_t count;
  float factor;
};
void lift(const Lift& step) {
  vectorised([&]() OPTIMIZER_LOOP {
    float* to = step.to;
    const float *a = step.a, *b = step.b, factor = step.factor;
    const std::size_t count = step.count;
    for (std::size_t i = 0; i < count; ++i) to[i] += factor * (a[i] + b[i]);
  });
}

// A signal split into its even places (low) and odd ones (high), each of `wide` values beside one another: 1
// along a row, a strip's width down its columns.
class Line {
 public:
  Line(std::uint32_t length, std::size_t wide)
      : wide_(wide), lows_(lowSide(length)), highs_(length / 2), low_(lows_ * wide), high_(highs_ * wide) {}

  float* low(std::size_t i) { return low_.data() + i * wide_; }
  float* high(std::size_t i) { return high_.data() + i * wide_; }

  // Both without the scaling of either half, which is left to copying. F.4.8.2, on a signal that begins at an
  // even place.
  void forward() {
    if (highs_ == 0) return;
    toHigh(alpha);
    toLow(beta);
    toHigh(gamma);
    toLow(delta);
  }
  // F.3.8.2
  void backward() {
    if (highs_ == 0) return;
    toLow(-delta);
    toHigh(-gamma);
    toLow(-beta);
    toHigh(-alpha);
  }

 private:
  // Beyond either end the signal is its mirror image (F.3.7).
  void toHigh(float factor) {
    const std::size_t inner = std::min(highs_, lows_ - 1);
    lift({high(0), low(0), low(1), inner * wide_, factor});
    if (inner < highs_) lift({high(inner), low(inner), low(inner), wide_, factor});
  }
  void toLow(float factor) {
    lift({low(0), high(0), high(0), wide_, factor});
    if (highs_ > 1) lift({low(1), high(0), high(1), (highs_ - 1) * wide_, factor});
    if (lows_ > highs_) lift({low(highs_), high(highs_ - 1), high(highs_ - 1), wide_, factor});
  }

  std::size_t wide_, lows_, highs_;
  std::vector<float> low_, high_;
};

void copyScaled(const float* from, std::size_t count, float factor, float* to) {
  vectorised([&]() OPTIMIZER_LOOP {
    const float *in = from, by = factor;
    float* out = to;
    const std::size_t size = count;
    for (std::size_t i = 0; i < size; ++i) out[i] = in[i] * by;
  });
}

void alongRows(Samples& samples, std::uint32_t width, std::uint32_t height, bool forward) {
  if (width < 2) return;
  Line line(width, 1);
  const std::uint32_t lows = lowSide(width), highs = width / 2;
  for (std::uint32_t y = 0; y < height; ++y) {
    float* row = samples.row(y);
    if (forward) {
      vectorised([&]() OPTIMIZER_LOOP {
        float *low = line.low(0), *high = line.high(0);
        for (std::uint32_t x = 0; x < highs; ++x) {
          low[x] = row[2 * x];
          high[x] = row[2 * x + 1];
        }
        if (lows > highs) low[highs] = row[2 * highs];
      });
      line.forward();
      copyScaled(line.low(0), lows, 1 / scale, row);
      copyScaled(line.high(0), highs, scale, row + lows);
    } else {
      copyScaled(row, lows, scale, line.low(0));
      copyScaled(row + lows, highs, 1 / scale, line.high(0));
      line.backward();
      vectorised([&]() OPTIMIZER_LOOP {
        const float *low = line.low(0), *high = line.high(0);
        for (std::uint32_t x = 0; x < highs; ++x) {
          row[2 * x] = low[x];
          row[2 * x + 1] = high[x];
        }
        if (lows > highs) row[2 * highs] = low[highs];
      });
    }
  }
}

// Rows of one half of a strip, to the next or from it.
struct Rows {
  float* at;
  std::size_t stride;  // to the next
  std::uint32_t count;
};
// wide: columns, up to a strip.
void copyRows(const Rows& from, const Rows& to, std::size_t wide, float factor) {
  vectorised([&]() OPTIMIZER_LOOP {
    const float *in = from.at, by = factor;
    float* out = to.at;
    for (std::uint32_t y = 0; y < from.count; ++y, in += from.stride, out += to.stride) {
      if (wide == strip) {
        for (std::uint32_t x = 0; x < strip; ++x) out[x] = in[x] * by;
      } else {
        for (std::uint32_t x = 0; x < wide; ++x) out[x] = in[x] * by;
      }
    }
  });
}

void downColumns(Samples& samples, std::uint32_t width, std::uint32_t height, bool forward) {
  if (height < 2) return;
  Line line(height, strip);
  const std::uint32_t lows = lowSide(height), highs = height / 2;
  const std::size_t stride = samples.width;
  const Rows lineLows{line.low(0), strip, lows}, lineHighs{line.high(0), strip, highs};
  for (std::uint32_t left = 0; left < width; left += strip) {
    const std::size_t wide = std::min(strip, width - left);
    float* top = samples.row(0) + left;
    const Rows even{top, 2 * stride, lows}, odd{top + stride, 2 * stride, highs}, first{top, stride, lows},
        second{top + lows * stride, stride, highs};
    copyRows(forward ? even : first, lineLows, wide, forward ? 1 : scale);
    copyRows(forward ? odd : second, lineHighs, wide, forward ? 1 : 1 / scale);
    forward ? line.forward() : line.backward();
    copyRows(lineLows, forward ? first : even, wide, forward ? 1 / scale : 1);
    copyRows(lineHighs, forward ? second : odd, wide, forward ? scale : 1);
  }
}

// The norm of what one value of a low or high band of a level stands for in a line.
std::array<double, 2> lineNorms(unsigned level) {
  if (level == 0) return {1, 0};
  std::array<double, 2> norms{};
  for (bool high : {false, true}) {
    Samples line{1, 1024, std::vector<float>(1024)};
    line.values[(high ? 1024u >> level : 0u) + (512u >> level)] = 1;
    transformBack(line, level);
    double sum = 0;
    for (float value : line.values) sum += double{value} * value;
    norms[high] = std::sqrt(sum);
  }
  return norms;
}

OPTIMIZER_LOOP inline std::uint8_t sampleOf(float value) {
  return static_cast<std::uint8_t>(static_cast<std::int32_t>(std::clamp(value + 128.5f, 0.0f, 255.0f)));
}

}  // namespace

void transform(Samples& samples, unsigned levels) {
  std::uint32_t width = samples.width, height = samples.height;
  for (unsigned level = 0; level < levels; ++level) {
    downColumns(samples, width, height, true);
    alongRows(samples, width, height, true);
    width = lowSide(width);
    height = lowSide(height);
  }
}

void transformBack(Samples& coefficients, unsigned levels) {
  for (unsigned level = levels; level-- > 0;) {
    std::uint32_t width = coefficients.width, height = coefficients.height;
    for (unsigned i = 0; i < level; ++i) {
      width = lowSide(width);
      height = lowSide(height);
    }
    alongRows(coefficients, width, height, false);
    downColumns(coefficients, width, height, false);
  }
}

// Equations G-9 to G-11, after the shift of G.1.
std::vector<Samples> componentsOf(const Pixels& pixels) {
  const unsigned count = pixels.channels();
  const auto size = static_cast<std::size_t>(pixels.pixelCount());
  std::vector<Samples> parts(count, Samples{pixels.width(), pixels.height(), std::vector<float>(size)});
  vectorised([&]() OPTIMIZER_LOOP {
    const std::uint8_t* in = pixels.samples().data();
    float* first = parts[0].values.data();
    if (count == 1) {
      for (std::size_t i = 0; i < size; ++i) first[i] = static_cast<float>(in[i]) - 128;
      return;
    }
    float *blue = parts[1].values.data(), *red = parts[2].values.data();
    for (std::size_t i = 0; i < size; ++i) {
      const auto r = static_cast<float>(in[3 * i]), g = static_cast<float>(in[3 * i + 1]),
                 b = static_cast<float>(in[3 * i + 2]);
      first[i] = 0.299f * r + 0.587f * g + 0.114f * b - 128;
      blue[i] = -0.168736f * r - 0.331264f * g + 0.5f * b;
      red[i] = 0.5f * r - 0.418688f * g - 0.081312f * b;
    }
  });
  return parts;
}

// Equations G-12 to G-14.
Pixels pixelsOf(const std::vector<Samples>& components) {
  const auto count = static_cast<unsigned>(components.size());
  Pixels pixels(components[0].width, components[0].height, count,
                count == 1 ? ColorKind::grey : ColorKind::rgb);
  const auto size = static_cast<std::size_t>(pixels.pixelCount());
  vectorised([&]() OPTIMIZER_LOOP {
    std::uint8_t* out = pixels.samples().data();
    const float* luma = components[0].values.data();
    if (count == 1) {
      for (std::size_t i = 0; i < size; ++i) out[i] = sampleOf(luma[i]);
      return;
    }
    const float *blue = components[1].values.data(), *red = components[2].values.data();
    // Samples are made one channel at a time, which vectors do well, and then put beside each other.
    constexpr std::size_t atOnce = 64;
    std::array<std::array<std::uint8_t, atOnce>, 3> part;
    for (std::size_t begin = 0; begin < size; begin += atOnce, luma += atOnce, blue += atOnce, red += atOnce) {
      const std::size_t length = std::min(atOnce, size - begin);
      for (std::size_t i = 0; i < length; ++i) part[0][i] = sampleOf(luma[i] + 1.402f * red[i]);
      for (std::size_t i = 0; i < length; ++i)
        part[1][i] = sampleOf(luma[i] - 0.344136f * blue[i] - 0.714136f * red[i]);
      for (std::size_t i = 0; i < length; ++i) part[2][i] = sampleOf(luma[i] + 1.772f * blue[i]);
      for (std::size_t i = 0; i < length; ++i, out += 3) {
        out[0] = part[0][i];
        out[1] = part[1][i];
        out[2] = part[2][i];
      }
    }
  });
  return pixels;
}

double bandNorm(unsigned level, bool highAcross, bool highDown) {
  static const auto norms = [] {
    std::array<std::array<double, 2>, 7> all{};
    for (unsigned i = 0; i < all.size(); ++i) all[i] = lineNorms(i);
    return all;
  }();
  return norms[level][highAcross] * norms[level][highDown];
}

}  // namespace optimizer::jpx
