// Rate-distortion optimised quantisation of JPEG blocks.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "optimizer/codec/jpeg_trellis_planes.h"

namespace optimizer::jpegtrellis {

// Quantisation steps in natural order, 1 to 255.
using QuantTable = std::array<std::uint16_t, 64>;

// Tables for a quality of 1 to 100.
QuantTable quantTable(int quality, bool chroma);

// Quantised coefficients of one block in natural order.
using Quantized = std::array<std::int16_t, 64>;

extern const std::array<std::uint8_t, 64> zigzag;  // natural index of each zigzag place

// What the symbols of entropy coding cost, in bits, learnt from blocks like those to come. The coefficients
// are thought of as coded in bands of the zigzag sequence, as the scans of a progressive file are.
class RateModel {
 public:
  static constexpr int bandCount = 2;
  static constexpr std::array<int, bandCount> bandEnd = {5, 63};  // last zigzag place of each

  struct Band {
    std::array<std::array<float, 11>, 16>
        symbol{};       // run of zeros, then size in bits; the value's own bits included
    float zeroRun = 0;  // sixteen zeros
    float end = 0;      // nothing more in this band
    float empty = 0;    // nothing at all in this band
  };

  // Counts a block; learn() turns the counts into prices.
  void count(const Quantized& block);
  void learn();
  const Band& band(int i) const { return bands_[static_cast<std::size_t>(i)]; }
  // Price of a DC difference.
  float dc(int difference) const;
  void countDc(int difference);

 private:
  std::array<Band, bandCount> bands_;
  std::array<std::array<std::uint32_t, 256>, bandCount> counts_{};
  std::array<std::uint32_t, bandCount> pendingEnds_{};  // length of the current run of ended blocks
  std::array<std::uint64_t, bandCount> endBlocks_{}, endBits_{};
  std::array<std::uint32_t, 12> dcCounts_{};
  std::array<float, 12> dcBits_{};
};

struct QuantSettings {
  QuantTable table{};
  std::array<float, 64> inverse{};  // of the steps
  std::array<float, 64> weight{};   // of a squared error of one step, by natural index
  float lambda = 0;                 // price of a bit in squared steps
};

// Plain rounding with a dead zone: the starting point that the rate model learns from.
void quantizePlainly(const Block& coefficients, const QuantTable& table, Quantized& out);

// AC values that minimise weighted error + lambda * scale * bits; the DC value is rounded.
void quantizeBlock(const Block& coefficients, const QuantSettings& settings, const RateModel& rates,
                   float scale, Quantized& out);

// How much more than the average an error in this block may weigh less: above 1 where the block is busy.
float activityScale(const Block& coefficients);

// Chooses the DC values of blocks in coding order: `exact` in steps; out as the values to code.
void quantizeDc(const std::vector<float>& exact, const RateModel& rates, float lambda,
                std::vector<std::int16_t>& out);

}  // namespace optimizer::jpegtrellis
