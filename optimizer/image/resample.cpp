#include "optimizer/image/resample.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"

namespace optimizer {
namespace {

// For each target position the source positions it draws from, with weights in 1/16384.
struct Taps {
  std::uint32_t length = 0;           // of every run of weights
  std::vector<std::uint32_t> first;   // first source position
  std::vector<std::int16_t> weights;  // length per target position
};

constexpr int weightBits = 14;
constexpr double one = 1 << weightBits;

double lanczos(double x) {
  constexpr double lobes = 3;
  x = std::abs(x);
  if (x < 1e-9) return 1;
  if (x >= lobes) return 0;
  const double angle = std::numbers::pi * x;
  return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

// The same without the zeros before and behind: of an average over two pixels four in six are.
Taps trimmed(const Taps& taps, std::uint32_t from) {
  Taps out;
  std::vector<std::uint32_t> begin(taps.first.size());
  for (std::size_t i = 0; i < taps.first.size(); ++i) {
    const std::int16_t* weights = taps.weights.data() + i * taps.length;
    std::uint32_t end = taps.length;
    while (end > 1 && weights[end - 1] == 0) --end;
    while (begin[i] + 1 < end && weights[begin[i]] == 0) ++begin[i];
    out.length = std::max(out.length, end - begin[i]);
  }
  out.first.resize(taps.first.size());
  out.weights.resize(taps.first.size() * out.length);
  for (std::size_t i = 0; i < taps.first.size(); ++i) {
    out.first[i] = std::min(taps.first[i] + begin[i], from - out.length);
    for (std::uint32_t k = 0; k < out.length; ++k) {
      const std::uint32_t at = out.first[i] + k;
      if (at >= taps.first[i] && at < taps.first[i] + taps.length)
        out.weights[i * out.length + k] = taps.weights[i * taps.length + at - taps.first[i]];
    }
  }
  return out;
}

// weight(distance in source pixels from the centre) for one target position; support is its reach.
template <typename Weight>
Taps makeTaps(std::uint32_t from, std::uint32_t to, double support, Weight weight) {
  Taps taps;
  const double scale = static_cast<double>(from) / to;
  taps.length = std::min(from, static_cast<std::uint32_t>(std::ceil(support)) * 2 + 2);
  taps.first.resize(to);
  taps.weights.resize(std::size_t{to} * taps.length);
  std::vector<double> run(taps.length);
  for (std::uint32_t i = 0; i < to; ++i) {
    const double centre = (i + 0.5) * scale - 0.5;
    const double lowest = std::floor(centre - support);
    const auto first =
        static_cast<std::uint32_t>(std::clamp(lowest, 0.0, static_cast<double>(from - taps.length)));
    std::fill(run.begin(), run.end(), 0.0);
    double sum = 0;
    const auto last = static_cast<long>(std::ceil(centre + support));
    for (long at = static_cast<long>(lowest); at <= last; ++at) {
      const double value = weight(static_cast<double>(at) - centre, scale);
      const long inside = std::clamp<long>(at, first, static_cast<long>(first + taps.length) - 1);
      run[static_cast<std::size_t>(inside - static_cast<long>(first))] += value;
      sum += value;
    }
    std::int16_t* out = taps.weights.data() + std::size_t{i} * taps.length;
    int total = 0;
    std::size_t largest = 0;
    for (std::size_t k = 0; k < taps.length; ++k) {
      out[k] = static_cast<std::int16_t>(std::lround(run[k] / sum * (one - 1)));
      total += out[k];
      if (out[k] > out[largest]) largest = k;
    }
    out[largest] = static_cast<std::int16_t>(std::min(32767, out[largest] + (1 << weightBits) - total));
    taps.first[i] = first;
  }
  return trimmed(taps, from);
}

Taps lanczosTaps(std::uint32_t from, std::uint32_t to) {
  const double scale = std::max(1.0, static_cast<double>(from) / to);
  return makeTaps(from, to, 3 * scale,
                  [scale](double distance, double) { return lanczos(distance / scale); });
}

Taps areaTaps(std::uint32_t from, std::uint32_t to) {
  const double scale = std::max(1.0, static_cast<double>(from) / to);
  return makeTaps(from, to, scale / 2 + 0.5, [](double distance, double step) {
    return std::clamp(step / 2 + 0.5 - std::abs(distance), 0.0, 1.0);
  });
}

OPTIMIZER_LOOP inline std::uint8_t clampSample(std::int32_t value) {
  return static_cast<std::uint8_t>(std::clamp((value + (1 << (weightBits - 1))) >> weightBits, 0, 255));
}

// Rows that are worth a thread's while.
std::size_t rowsOf(const Pixels& pixels) {
  constexpr std::size_t enough = 128 << 10;  // bytes
  return std::max<std::size_t>(1, enough / std::max<std::size_t>(1, pixels.stride()));
}

void verticalRows(const Pixels& pixels, const Taps& taps, Pixels& out, std::size_t begin, std::size_t end) {
  std::vector<std::int32_t> sums(pixels.stride());
  for (auto y = static_cast<std::uint32_t>(begin); y < end; ++y) {
    std::fill(sums.begin(), sums.end(), 0);
    const std::int16_t* weights = taps.weights.data() + std::size_t{y} * taps.length;
    for (std::uint32_t k = 0; k < taps.length; ++k) {
      const std::int32_t weight = weights[k];
      if (weight == 0) continue;
      vectorised([&]() OPTIMIZER_LOOP {
        const std::uint8_t* in = pixels.row(taps.first[y] + k);
        std::int32_t* sum = sums.data();
        const std::size_t n = sums.size();
        const std::int32_t by = weight;
        for (std::size_t i = 0; i < n; ++i) sum[i] += by * in[i];
      });
    }
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint8_t* to = out.row(y);
      const std::int32_t* sum = sums.data();
      const std::size_t n = sums.size();
      for (std::size_t i = 0; i < n; ++i) to[i] = clampSample(sum[i]);
    });
  }
}

Pixels vertical(const Pixels& pixels, std::uint32_t height, const Taps& taps) {
  Pixels out(pixels.width(), height, pixels.channels(), pixels.kind());
  inParts(0, height, rowsOf(out),
          [&](std::size_t begin, std::size_t end) { verticalRows(pixels, taps, out, begin, end); });
  return out;
}

// Rows that are reduced beside each other, one lane of a vector each.
constexpr std::size_t lanes = 16;
using Lanes = std::uint8_t __attribute__((vector_size(lanes)));

// Turns rows of lanes into columns, and back: four times the first half is shuffled into the second.
inline void transpose(std::array<Lanes, lanes>& square) {
  for (int round = 0; round < 4; ++round) {
    std::array<Lanes, lanes> next;
    for (std::size_t i = 0; i < lanes / 2; ++i) {
      const Lanes a = square[i], b = square[i + lanes / 2];
      next[2 * i] = __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
      next[2 * i + 1] = __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
    }
    square = next;
  }
}

// `count` rows from `top` on, sample by sample.
void gather(const Pixels& pixels, std::size_t top, std::size_t count, std::vector<Lanes>& samples) {
  const std::size_t stride = pixels.stride();
  for (std::size_t at = 0; at < stride; at += lanes) {
    std::array<Lanes, lanes> square{};
    for (std::size_t i = 0; i < count; ++i)
      std::memcpy(&square[i], pixels.row(static_cast<std::uint32_t>(top + i)) + at, std::min(lanes, stride - at));
    transpose(square);
    std::copy(square.begin(), square.end(), samples.begin() + static_cast<std::ptrdiff_t>(at));
  }
}

void scatter(const std::vector<Lanes>& samples, std::size_t top, std::size_t count, Pixels& pixels) {
  const std::size_t stride = pixels.stride();
  for (std::size_t at = 0; at < stride; at += lanes) {
    std::array<Lanes, lanes> square;
    std::copy_n(samples.begin() + static_cast<std::ptrdiff_t>(at), lanes, square.begin());
    transpose(square);
    for (std::size_t i = 0; i < count; ++i)
      std::memcpy(pixels.row(static_cast<std::uint32_t>(top + i)) + at, &square[i], std::min(lanes, stride - at));
  }
}

void horizontalRows(const Pixels& pixels, const Taps& taps, Pixels& out, std::size_t begin, std::size_t end) {
  const std::size_t channels = pixels.channels(), width = out.width();
  std::vector<Lanes> from(pixels.stride() + lanes), to(out.stride() + lanes);
  for (std::size_t top = begin; top < end; top += lanes) {
    const std::size_t count = std::min(lanes, end - top);
    gather(pixels, top, count, from);
    vectorised([&]() OPTIMIZER_LOOP {
      for (std::size_t x = 0; x < width; ++x) {
        const std::int16_t* weights = taps.weights.data() + x * taps.length;
        for (std::size_t c = 0; c < channels; ++c) {
          std::array<std::int32_t, lanes> sums{};
          const Lanes* at = from.data() + taps.first[x] * channels + c;
          for (std::uint32_t k = 0; k < taps.length; ++k, at += channels) {
            const std::int32_t weight = weights[k];
            for (std::size_t lane = 0; lane < lanes; ++lane) sums[lane] += weight * (*at)[lane];
          }
          std::array<std::uint8_t, lanes> means;
          for (std::size_t lane = 0; lane < lanes; ++lane) means[lane] = clampSample(sums[lane]);
          std::memcpy(&to[x * channels + c], means.data(), lanes);
        }
      }
    });
    scatter(to, top, count, out);
  }
}

Pixels horizontal(const Pixels& pixels, std::uint32_t width, const Taps& taps) {
  Pixels out(width, pixels.height(), pixels.channels(), pixels.kind());
  inParts(0, pixels.height(), rowsOf(pixels),
          [&](std::size_t begin, std::size_t end) { horizontalRows(pixels, taps, out, begin, end); });
  return out;
}

Pixels apply(const Pixels& pixels, std::uint32_t width, std::uint32_t height,
             Taps (*make)(std::uint32_t, std::uint32_t)) {
  if (height == pixels.height() && width == pixels.width()) return pixels;
  if (height == pixels.height()) return horizontal(pixels, width, make(pixels.width(), width));
  const Pixels shorter = vertical(pixels, height, make(pixels.height(), height));
  return width == pixels.width() ? shorter : horizontal(shorter, width, make(pixels.width(), width));
}

// A row of blocks of whole pixels: they begin at `columns`, and are `narrow` pixels wide or one more.
struct Blocks {
  const std::vector<std::uint32_t>& columns;
  std::uint32_t tall, narrow;
};

// Their means, from the sums of their columns. N: the channels, or 0 for any number.
template <unsigned N>
void blockRow(const std::uint32_t* sums, const Blocks& blocks, unsigned anyChannels, std::uint8_t* out) {
  const unsigned channels = N != 0 ? N : anyChannels;
  // Dividing takes longer than the sums: reciprocals do the same for blocks of up to a million pixels.
  constexpr int precision = 48;
  std::array<std::uint64_t, 2> reciprocals;
  for (std::uint32_t i = 0; i < 2; ++i) {
    const std::uint64_t area = std::uint64_t{blocks.narrow + i} * blocks.tall;
    reciprocals[i] = ((std::uint64_t{1} << precision) + area - 1) / area;
  }
  for (std::size_t x = 0; x + 1 < blocks.columns.size(); ++x) {
    const std::uint32_t wide = blocks.columns[x + 1] - blocks.columns[x];
    const std::uint32_t* at = sums + std::size_t{blocks.columns[x]} * channels;
    const std::uint64_t reciprocal = reciprocals[wide - blocks.narrow];
    if constexpr (N != 0) {
      std::array<std::uint32_t, N> all{};
      for (std::uint32_t i = 0; i < wide; ++i, at += N)
        for (unsigned c = 0; c < N; ++c) all[c] += at[c];
      for (unsigned c = 0; c < N; ++c) *out++ = static_cast<std::uint8_t>(all[c] * reciprocal >> precision);
    } else {
      for (unsigned c = 0; c < channels; ++c) {
        std::uint32_t sum = 0;
        for (std::uint32_t i = 0; i < wide; ++i) sum += at[std::size_t{i} * channels + c];
        *out++ = static_cast<std::uint8_t>(sum * reciprocal >> precision);
      }
    }
  }
}

// Above this many times the target, averaging whole blocks first loses nothing that Lanczos would keep.
constexpr std::uint32_t strongReduction = 4;

}  // namespace

Pixels areaAverage(const Pixels& pixels, std::uint32_t width, std::uint32_t height) {
  return apply(pixels, std::min(width, pixels.width()), std::min(height, pixels.height()), areaTaps);
}

Pixels blockAverage(const Pixels& pixels, std::uint32_t width, std::uint32_t height) {
  width = std::min(width, pixels.width());
  height = std::min(height, pixels.height());
  const unsigned channels = pixels.channels();
  const auto edges = [](std::uint32_t from, std::uint32_t to) {
    std::vector<std::uint32_t> list(std::size_t{to} + 1);
    for (std::uint32_t i = 0; i <= to; ++i)
      list[i] = static_cast<std::uint32_t>(std::uint64_t{i} * from / to);
    return list;
  };
  const std::vector<std::uint32_t> columns = edges(pixels.width(), width),
                                   rows = edges(pixels.height(), height);
  Pixels out(width, height, channels, pixels.kind());
  inParts(0, height, rowsOf(out), [&](std::size_t begin, std::size_t end) {
    std::vector<std::uint32_t> sums(pixels.stride());
    for (auto y = static_cast<std::uint32_t>(begin); y < end; ++y) {
      const std::uint8_t* first = pixels.row(rows[y]);
      std::copy(first, first + sums.size(), sums.begin());
      for (std::uint32_t row = rows[y] + 1; row < rows[y + 1]; ++row) {
        vectorised([&]() OPTIMIZER_LOOP {
          const std::uint8_t* in = pixels.row(row);
          std::uint32_t* sum = sums.data();
          const std::size_t n = sums.size();
          for (std::size_t i = 0; i < n; ++i) sum[i] += in[i];
        });
      }
      const Blocks blocks{columns, rows[y + 1] - rows[y], pixels.width() / width};
      if (channels == 1) {
        blockRow<1>(sums.data(), blocks, channels, out.row(y));
      } else if (channels == 3) {
        blockRow<3>(sums.data(), blocks, channels, out.row(y));
      } else {
        blockRow<0>(sums.data(), blocks, channels, out.row(y));
      }
    }
  });
  return out;
}

Pixels resample(const Pixels& pixels, std::uint32_t width, std::uint32_t height) {
  width = std::min(width, pixels.width());
  height = std::min(height, pixels.height());
  if (pixels.width() / width >= strongReduction || pixels.height() / height >= strongReduction) {
    const Pixels near =
        areaAverage(pixels, std::min(pixels.width(), width * 2), std::min(pixels.height(), height * 2));
    return apply(near, width, height, lanczosTaps);
  }
  return apply(pixels, width, height, lanczosTaps);
}

Pixels resampleUnderMask(const Pixels& pixels, const Pixels& alpha, std::uint32_t width,
                         std::uint32_t height) {
  const unsigned channels = pixels.channels();
  // The colours weighted by alpha, beside alpha itself, reduced by averages only: negative lobes have no
  // meaning here.
  Pixels weighted = pixels;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const unsigned a = alpha.samples()[i];
    std::uint8_t* sample = weighted.samples().data() + i * channels;
    for (unsigned c = 0; c < channels; ++c)
      sample[c] = static_cast<std::uint8_t>((sample[c] * a + 127) / 255);
  }
  const Pixels colors = areaAverage(weighted, width, height), cover = areaAverage(alpha, width, height);
  Pixels out = resample(pixels, width, height);
  for (std::size_t i = 0; i < out.pixelCount(); ++i) {
    const unsigned a = cover.samples()[i];
    // Fully covered pixels keep the sharper filter; hardly covered ones have too few levels left to divide
    // by.
    if (a >= 250 || a < 16) continue;
    for (unsigned c = 0; c < channels; ++c) {
      const unsigned sample = (colors.samples()[i * channels + c] * 255u + a / 2) / a;
      out.samples()[i * channels + c] = static_cast<std::uint8_t>(std::min(255u, sample));
    }
  }
  return out;
}

}  // namespace optimizer
