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
  // A path visits the places with a value other than zero. Of those that end in a value at a place only the
  // cheapest matters to what follows. zeros[i] is the error of zeroing places 1 to i.
  struct Step {
    float cost;  // least of everything up to the place, less the error of zeroing all of it
    std::int16_t value;
    std::int8_t place, from;  // from: index into steps of the value before, -1 for none
  };
  std::array<Step, 64> steps;
  int count = 0;
  float exact[64], zeroing[64], zeros[64];
  for (std::size_t i = 0; i < 64; ++i) {
    exact[i] = std::abs(coefficients[i]) * settings.inverse[i];
    zeroing[i] = exact[i] * exact[i] * settings.weight[i] * zeroingCare;
  }
  zeros[0] = 0;
  const float lambda = settings.lambda * scale;
  int place = 1;
  // The cheapest way to come to the band's first place, and the steps within the band.
  float entry = 0;
  int entered = -1;
  for (int b = 0; b < RateModel::bandCount; ++b) {
    const RateModel::Band& band = rates.band(b);
    const int begin = place, end = RateModel::bandEnd[static_cast<std::size_t>(b)], first = count;
    for (; place <= end; ++place) {
      const std::size_t at = zigzag[static_cast<std::size_t>(place)];
      const float before = zeros[place - 1];
      zeros[place] = before + zeroing[at];
      const int top = std::min(static_cast<int>(exact[at] + 0.5f), 1023);
      if (top == 0) continue;
      Step best{1e30f, 0, static_cast<std::int8_t>(place), -1};
      for (int value = top; value >= std::max(1, top - 1); --value) {
        const float error = exact[at] - static_cast<float>(value);
        const auto size = static_cast<std::size_t>(std::min(bitsOf(value), 10));
        const auto bitsAfter = [&](int zeroRun) {
          float bits = 0;
          for (; zeroRun >= 16; zeroRun -= 16) bits += band.zeroRun;
          return bits + band.symbol[static_cast<std::size_t>(zeroRun)][size];
        };
        float least = entry + lambda * bitsAfter(place - begin);
        int from = entered;
        for (int j = first; j < count; ++j) {
          const Step& step = steps[static_cast<std::size_t>(j)];
          const float cost = step.cost + lambda * bitsAfter(place - step.place - 1);
          if (cost >= least) continue;
          least = cost;
          from = j;
        }
        const float cost = least + before + error * error * settings.weight[at];
        if (cost >= best.cost) continue;
        best.cost = cost;
        best.value = static_cast<std::int16_t>(value);
        best.from = static_cast<std::int8_t>(from);
      }
      best.cost -= zeros[place];
      steps[static_cast<std::size_t>(count++)] = best;
    }
    // Leaving the band: empty, or ended after one of its values; nothing is said after its last place.
    float leave = entry + lambda * band.empty;
    for (int j = first; j < count; ++j) {
      const Step& step = steps[static_cast<std::size_t>(j)];
      const float cost = step.cost + (step.place < end ? lambda * band.end : 0);
      if (cost >= leave) continue;
      leave = cost;
      entered = j;
    }
    entry = leave;
  }
  out.fill(0);
  const float dc = coefficients[0] * settings.inverse[0];
  out[0] = static_cast<std::int16_t>(std::lround(dc));
  for (int j = entered; j >= 0; j = steps[static_cast<std::size_t>(j)].from) {
    const Step& step = steps[static_cast<std::size_t>(j)];
    const std::size_t at = zigzag[static_cast<std::size_t>(step.place)];
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
