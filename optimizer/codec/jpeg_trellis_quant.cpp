#include "optimizer/codec/jpeg_trellis_quant.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace optimizer::jpegtrellis {

const std::array<std::uint8_t, 64> zigzag = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                             12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                             35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                             58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

namespace {

// Structure suffers more from a value that is gone than from one that is wrong by as much.
constexpr float zeroingCare = 1.2f;

int bitsOf(int value) { return std::bit_width(static_cast<unsigned>(std::abs(value))); }

// Entropy of each symbol in bits, with a floor for those not seen.
template <typename Counts>
std::array<float, 256> priceOf(const Counts& counts) {
  std::array<float, 256> bits{};
  double total = 0;
  for (auto c : counts) total += c + 0.05;
  for (std::size_t i = 0; i < counts.size(); ++i)
    bits[i] = std::min(16.0f, static_cast<float>(std::log2(total / (counts[i] + 0.05))));
  return bits;
}

}  // namespace

QuantTable quantTable(int quality, bool chroma) {
  quality = std::clamp(quality, 1, 100);
  double scale = (quality < 50 ? 5000.0 / quality : 200.0 - 2.0 * quality) / 100;
  // Tuned so that a quality keeps about the structure that libjpeg's encoder keeps at the same number.
  scale *= std::max(0.6, 0.92 - 0.256 * scale);
  QuantTable table;
  for (std::size_t i = 0; i < 64; ++i) {
    double u = static_cast<double>(i % 8), v = static_cast<double>(i / 8);
    double radius = std::pow(u * u + v * v, 1.4);
    double base = chroma ? std::min(17 + 1.5 * radius, 120.0) : 15 + 0.3 * radius;
    table[i] = static_cast<std::uint16_t>(std::clamp(std::lround(base * scale), 1l, 255l));
  }
  return table;
}

void RateModel::count(const Quantized& block) {
  int k = 1;
  for (int b = 0; b < bandCount; ++b) {
    auto slot = static_cast<std::size_t>(b);
    int run = 0;
    for (; k <= bandEnd[slot]; ++k) {
      int value = block[zigzag[static_cast<std::size_t>(k)]];
      if (value == 0) {
        ++run;
        continue;
      }
      if (pendingEnds_[slot]) {
        // A run of r ended blocks is one symbol and floor(log2 r) bits (ISO/IEC 10918-1, G.1.2.2).
        int n = std::bit_width(pendingEnds_[slot]) - 1;
        ++counts_[slot][static_cast<std::size_t>(n) << 4];
        endBlocks_[slot] += pendingEnds_[slot];
        endBits_[slot] += static_cast<std::uint64_t>(n);
        pendingEnds_[slot] = 0;
      }
      for (; run >= 16; run -= 16) ++counts_[slot][0xF0];
      ++counts_[slot][static_cast<std::size_t>(run << 4 | std::min(bitsOf(value), 10))];
      run = 0;
    }
    if (run > 0 && ++pendingEnds_[slot] == 0x7FFF) {
      ++counts_[slot][14 << 4];
      endBlocks_[slot] += 0x7FFF;
      endBits_[slot] += 14;
      pendingEnds_[slot] = 0;
    }
  }
}

void RateModel::learn() {
  for (std::size_t b = 0; b < bandCount; ++b) {
    std::array<float, 256> price = priceOf(counts_[b]);
    Band& band = bands_[b];
    for (std::size_t run = 0; run < 16; ++run)
      for (std::size_t size = 1; size <= 10; ++size)
        band.symbol[run][size] = price[run << 4 | size] + static_cast<float>(size);
    band.zeroRun = price[0xF0];
    double bits = static_cast<double>(endBits_[b]);
    for (std::size_t n = 0; n < 15; ++n) bits += price[n << 4] * counts_[b][n << 4];
    float average = endBlocks_[b] ? static_cast<float>(bits / static_cast<double>(endBlocks_[b])) : 0.1f;
    band.end = std::max(average, 0.0f);
    band.empty = band.end;
  }
  std::array<float, 256> price = priceOf(dcCounts_);
  for (std::size_t i = 0; i < dcBits_.size(); ++i) dcBits_[i] = price[i] + static_cast<float>(i);
}

void RateModel::countDc(int difference) {
  ++dcCounts_[static_cast<std::size_t>(std::min(bitsOf(difference), 11))];
}
float RateModel::dc(int difference) const {
  return dcBits_[static_cast<std::size_t>(std::min(bitsOf(difference), 11))];
}

void quantizePlainly(const Block& coefficients, const QuantTable& table, Quantized& out) {
  for (std::size_t i = 0; i < 64; ++i) {
    float steps = std::abs(coefficients[i]) / table[i];
    int value = static_cast<int>(steps + (i == 0 ? 0.5f : 0.4f));
    value = std::min(value, i == 0 ? 2047 : 1023);
    out[i] = static_cast<std::int16_t>(coefficients[i] < 0 ? -value : value);
  }
}

float activityScale(const Block& coefficients) {
  float energy = 0;
  for (std::size_t i = 1; i < 64; ++i) energy += coefficients[i] * coefficients[i];
  return std::clamp(std::sqrt((energy + 2000) / 8000), 0.4f, 3.0f);
}

void quantizeBlock(const Block& coefficients, const QuantSettings& settings, const RateModel& rates,
                   float scale, Quantized& out) {
  // A path visits the places with a value other than zero. best[i] is the least cost of everything up to
  // place i when a value stands there; zeros[i] the error of zeroing places 1 to i.
  struct Step {
    float cost;
    std::int16_t value;
    std::int8_t place, from;  // from: index into steps of the value before, -1 for none
  };
  std::array<Step, 64 * 2> steps;
  int count = 0;
  float zeros[64];
  zeros[0] = 0;
  const float lambda = settings.lambda * scale;

  // Price of going from a value at place j (0: none yet) to one at place i with nothing between, the symbol
  // excluded: the run of zeros within i's band is returned through `run`.
  auto travel = [&](int j, int i, int& run) {
    float bits = 0;
    int start = 1;
    for (std::size_t b = 0; b < RateModel::bandCount; ++b) {
      int end = RateModel::bandEnd[b];
      if (end < i) {
        if (j < start)
          bits += rates.band(static_cast<int>(b)).empty;
        else if (j < end)
          bits += rates.band(static_cast<int>(b)).end;
      } else {
        run = i - std::max(j + 1, start);
        for (; run >= 16; run -= 16) bits += rates.band(static_cast<int>(b)).zeroRun;
        break;
      }
      start = end + 1;
    }
    return bits;
  };

  for (int i = 1; i < 64; ++i) {
    std::size_t at = zigzag[static_cast<std::size_t>(i)];
    float exact = std::abs(coefficients[at]) / settings.table[at], weight = settings.weight[at];
    zeros[i] = zeros[i - 1] + exact * exact * weight * zeroingCare;
    int top = std::min(static_cast<int>(exact + 0.5f), 1023);
    if (top == 0) continue;
    int known = count;
    int band = i <= RateModel::bandEnd[0] ? 0 : 1;
    for (int value = top; value >= std::max(1, top - 1); --value) {
      float error = exact - static_cast<float>(value);
      int size = bitsOf(value);
      Step step{1e30f, static_cast<std::int16_t>(value), static_cast<std::int8_t>(i), -1};
      for (int j = -1; j < known; ++j) {
        int place = j < 0 ? 0 : steps[static_cast<std::size_t>(j)].place;
        float before = j < 0 ? 0 : steps[static_cast<std::size_t>(j)].cost;
        int run = 0;
        float bits = travel(place, i, run);
        bits += rates.band(band)
                    .symbol[static_cast<std::size_t>(run)][static_cast<std::size_t>(std::min(size, 10))];
        float cost = before + zeros[i - 1] - zeros[place] + lambda * bits;
        if (cost < step.cost) {
          step.cost = cost;
          step.from = static_cast<std::int8_t>(j);
        }
      }
      step.cost += error * error * weight;
      steps[static_cast<std::size_t>(count++)] = step;
    }
  }
  float best = 1e30f;
  int last = -1;
  for (int j = -1; j < count; ++j) {
    int place = j < 0 ? 0 : steps[static_cast<std::size_t>(j)].place;
    float bits = 0;
    int start = 1;
    for (std::size_t b = 0; b < RateModel::bandCount; ++b) {
      if (place < start)
        bits += rates.band(static_cast<int>(b)).empty;
      else if (place < RateModel::bandEnd[b])
        bits += rates.band(static_cast<int>(b)).end;
      start = RateModel::bandEnd[b] + 1;
    }
    float cost =
        (j < 0 ? 0 : steps[static_cast<std::size_t>(j)].cost) + zeros[63] - zeros[place] + lambda * bits;
    if (cost < best) {
      best = cost;
      last = j;
    }
  }
  out.fill(0);
  float dc = coefficients[0] / settings.table[0];
  out[0] = static_cast<std::int16_t>(std::lround(dc));
  for (int j = last; j >= 0; j = steps[static_cast<std::size_t>(j)].from) {
    const Step& step = steps[static_cast<std::size_t>(j)];
    std::size_t at = zigzag[static_cast<std::size_t>(step.place)];
    out[at] = static_cast<std::int16_t>(coefficients[at] < 0 ? -step.value : step.value);
  }
}

void quantizeDc(const std::vector<float>& exact, const RateModel& rates, float lambda,
                std::vector<std::int16_t>& out) {
  constexpr int width = 3;
  struct Cell {
    int value;
    float cost;
    int from;
  };
  std::vector<std::array<Cell, width>> cells(exact.size());
  for (std::size_t i = 0; i < exact.size(); ++i) {
    int middle = static_cast<int>(std::lround(exact[i]));
    for (int c = 0; c < width; ++c) {
      Cell cell{std::clamp(middle + c - 1, -1023, 1023), 1e30f, 0};
      float error = exact[i] - static_cast<float>(cell.value);
      if (i == 0) {
        cell.cost = lambda * rates.dc(cell.value);
      } else {
        for (int k = 0; k < width; ++k) {
          const Cell& before = cells[i - 1][static_cast<std::size_t>(k)];
          float cost = before.cost + lambda * rates.dc(cell.value - before.value);
          if (cost < cell.cost) {
            cell.cost = cost;
            cell.from = k;
          }
        }
      }
      cell.cost += error * error;
      cells[i][static_cast<std::size_t>(c)] = cell;
    }
  }
  out.resize(exact.size());
  if (exact.empty()) return;
  int at = 0;
  for (int c = 1; c < width; ++c)
    if (cells.back()[static_cast<std::size_t>(c)].cost < cells.back()[static_cast<std::size_t>(at)].cost)
      at = c;
  for (std::size_t i = exact.size(); i-- > 0;) {
    const Cell& cell = cells[i][static_cast<std::size_t>(at)];
    out[i] = static_cast<std::int16_t>(cell.value);
    at = cell.from;
  }
}

}  // namespace optimizer::jpegtrellis
