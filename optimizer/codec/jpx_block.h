// Code blocks of JPEG 2000: quantised coefficients bit-plane by bit-plane (ISO/IEC 15444-1, Annex D), to be
// cut after any coding pass.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/codec/mq_coder.h"

namespace optimizer::jpx {

// What the context of a coefficient's significance depends on (Table D.1).
enum class Orientation : std::uint8_t { lowOrDown, across, diagonal };

constexpr unsigned blockSide = 64;
// Sixteen columns of a stripe (four rows) make a word, in the order of coding: down, then across.
constexpr unsigned wordsAcross = blockSide / 16, stripes = blockSide / 4;
using PlaneBits = std::array<std::uint64_t, wordsAcross * stripes>;

// A coding pass, the last one of a block that is cut there.
struct PassEnd {
  mq::Cut cut;
  // By how much the passes so far reduce the sum of squared errors, in squares of the quantiser's step.
  double gain = 0;
};

// The part of a band that a block covers.
struct BlockArea {
  float* at = nullptr;  // first coefficient
  std::size_t stride = 0;
  std::uint32_t width = 0, height = 0;  // up to blockSide
};

class CodedBlock {
 public:
  // step: of the quantiser. lowest: the last bit-plane that is coded, 0 for all.
  CodedBlock(const BlockArea& area, Orientation orientation, float step, unsigned lowest);

  // Bit-planes that are not all zero; the passes begin at the highest of them.
  unsigned planes() const { return static_cast<unsigned>(planes_.size()); }
  const std::vector<PassEnd>& passes() const { return passes_; }
  // The code of the first passes, one at least.
  Bytes code(std::size_t passes) const { return coder_.endedAt(passes_[passes - 1].cut); }
  // What a decoder makes of the first passes, 0 for none (Annex E.1, reconstruction in the middle). Zeros are
  // not written: they must be there.
  void show(std::size_t passes, const BlockArea& area, float step) const;

 private:
  friend class BlockCoder;
  std::vector<PlaneBits> planes_;  // of the magnitudes, the lowest first
  PlaneBits negative_{};
  std::vector<PassEnd> passes_;
  mq::Encoder coder_;
};

}  // namespace optimizer::jpx
