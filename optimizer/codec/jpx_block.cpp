// Every pass visits its coefficients through words of bits in the order of coding, so that what is not coded
// costs nothing: which coefficients are significant, which have significant neighbours, and what a bit-plane
// holds are sets that shifts and masks make sixteen columns at a time. What a coefficient knows of its
// neighbours for its contexts is kept beside it and changes only when one of them becomes significant.
#include "optimizer/codec/jpx_block.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "optimizer/base/vectorised.h"

namespace optimizer::jpx {
namespace {

// Contexts in the order of Table D.7.
constexpr unsigned signContext = 9, magnitudeContext = 14, runContext = 17, uniformContext = 18;

// Which neighbours are significant, and beneath which are negative.
enum : std::uint16_t {
  above = 1,
  below = 2,
  before = 4,
  after = 8,
  aboveBefore = 16,
  aboveAfter = 32,
  belowBefore = 64,
  belowAfter = 128,
  signs = 8,  // shift to the signs of the first four
};

std::uint8_t significanceContext(Orientation orientation, unsigned near) {
  const auto has = [near](unsigned which) { return (near & which) != 0 ? 1u : 0u; };
  unsigned across = has(before) + has(after), down = has(above) + has(below);
  const unsigned corners = has(aboveBefore) + has(aboveAfter) + has(belowBefore) + has(belowAfter);
  if (orientation == Orientation::diagonal) {
    const unsigned sides = across + down;
    if (corners >= 3) return 8;
    if (corners == 2) return sides > 0 ? 7 : 6;
    if (corners == 1) return static_cast<std::uint8_t>(3 + std::min(sides, 2u));
    return static_cast<std::uint8_t>(std::min(sides, 2u));
  }
  if (orientation == Orientation::across) std::swap(across, down);
  if (across == 2) return 8;
  if (across == 1) return down > 0 ? 7 : corners > 0 ? 6 : 5;
  if (down > 0) return static_cast<std::uint8_t>(2 + down);
  return static_cast<std::uint8_t>(std::min(corners, 2u));
}

// Tables D.2 and D.3: the context, and in bit 7 whether the sign is coded inverted. Index: four sides, their
// signs.
std::uint8_t signEntry(unsigned sides, unsigned negative) {
  const auto side = [=](unsigned which) {
    return (sides & which) == 0 ? 0 : (negative & which) != 0 ? -1 : 1;
  };
  int across = std::clamp(side(before) + side(after), -1, 1),
      down = std::clamp(side(above) + side(below), -1, 1);
  const bool inverted = across < 0 || (across == 0 && down < 0);
  if (inverted) {
    across = -across;
    down = -down;
  }
  const unsigned context = across == 0 ? signContext + static_cast<unsigned>(down)
                                       : static_cast<unsigned>(static_cast<int>(signContext) + 3 + down);
  return static_cast<std::uint8_t>(context | (inverted ? 0x80u : 0u));
}

struct Tables {
  std::array<std::array<std::uint8_t, 256>, 3> significance;
  std::array<std::uint8_t, 256> sign;
};
const Tables& tables() {
  static const Tables made = [] {
    Tables all{};
    for (unsigned i = 0; i < 256; ++i) {
      for (const Orientation o : {Orientation::lowOrDown, Orientation::across, Orientation::diagonal})
        all.significance[static_cast<std::size_t>(o)][i] = significanceContext(o, i);
      all.sign[i] = signEntry(i & 15, i >> 4);
    }
    return all;
  }();
  return made;
}

// Bits that come later in the order of coding and are neighbours of bit 0, 1, 2 or 3 of a column.
constexpr std::array<std::uint64_t, 4> laterNeighbours = {0b110010, 0b1110100, 0b11101000, 0b11000000};
constexpr std::uint64_t everyRow0 = 0x1111111111111111, everyRow3 = 0x8888888888888888;

// Sets of coefficients with a margin of empty words all around.
class BitSet {
 public:
  std::uint64_t& at(unsigned stripe, unsigned word) { return words_[stripe + 1][word + 1]; }
  std::uint64_t at(unsigned stripe, unsigned word) const { return words_[stripe + 1][word + 1]; }
  // The set and all that are neighbours of it.
  std::uint64_t grown(unsigned stripe, unsigned word) const {
    const std::uint64_t here = wide(stripe + 1, word + 1);
    return here | ((here << 1) & ~everyRow0) | ((here >> 1) & ~everyRow3) |
           ((wide(stripe, word + 1) >> 3) & everyRow0) | ((wide(stripe + 2, word + 1) << 3) & everyRow3);
  }

 private:
  std::uint64_t wide(unsigned row, unsigned column) const {
    const std::uint64_t word = words_[row][column];
    return word | word << 4 | word >> 4 | words_[row][column - 1] >> 60 | words_[row][column + 1] << 60;
  }
  std::array<std::array<std::uint64_t, wordsAcross + 2>, stripes + 2> words_{};
};

// The magnitudes in steps of the quantiser, as integers, of a row.
void quantiseRow(const float* from, std::uint32_t width, float scale, std::int32_t* to) {
  vectorised([&]() OPTIMIZER_LOOP {
    const float* in = from;
    std::int32_t* out = to;
    const std::uint32_t count = width;
    const float by = scale;
    for (std::uint32_t x = 0; x < count; ++x) out[x] = static_cast<std::int32_t>(std::abs(in[x]) * by);
  });
}

constexpr std::size_t wordAt(unsigned stripe, unsigned word) {
  return std::size_t{stripe} * wordsAcross + word;
}

// The coefficients of a word that a significance pass codes (D.3.1), each handed to `code` with its bit of
// the plane. inside: those that may be coded.
template <typename Code>
std::uint64_t visitNear(const BitSet& significant, unsigned stripe, unsigned word, std::uint64_t inside,
                        std::uint64_t bits, const Code& code) {
  const std::uint64_t open = inside & ~significant.at(stripe, word);
  std::uint64_t next = significant.grown(stripe, word) & open, visited = 0;
  while (next != 0) {
    const auto bit = static_cast<unsigned>(std::countr_zero(next));
    next &= next - 1;
    visited |= std::uint64_t{1} << bit;
    const std::uint64_t value = bits >> bit & 1;
    code(bit, value);
    if (value != 0) next |= (laterNeighbours[bit & 3] << (bit & ~3u)) & open;
  }
  return visited;
}

// The coefficients of a block of that size.
BitSet insideOf(std::uint32_t width, std::uint32_t height) {
  BitSet inside;
  for (unsigned y = 0; y < height; y += 4) {
    const std::uint64_t rows = height - y >= 4 ? 15 : (1u << (height - y)) - 1;
    for (unsigned x = 0; x < width; x += 16) {
      const unsigned columns = std::min(16u, width - x);
      inside.at(y / 4, x / 16) = rows * (everyRow0 >> (64 - 4 * columns));
    }
  }
  return inside;
}

}  // namespace

class BlockCoder {
 public:
  BlockCoder(CodedBlock& block, const BlockArea& area, Orientation orientation, float step);
  void code(unsigned lowest);

 private:
  static constexpr std::size_t stride = blockSide + 2;

  void beginPlane(unsigned plane);
  void significancePass();
  void refinementPass();
  void cleanupPass();
  void endPass();
  void encode(unsigned context, std::uint64_t bit) {
    coder_.encode(contexts_[context], static_cast<unsigned>(bit));
  }
  void becomeSignificant(unsigned stripe, unsigned word, unsigned bit);

  static std::size_t stateAt(unsigned stripe, unsigned word, unsigned bit) {
    return (stripe * 4 + (bit & 3) + 1) * stride + word * 16 + (bit >> 2) + 1;
  }
  static std::size_t errorAt(unsigned stripe, unsigned word, unsigned bit) {
    return (wordAt(stripe, word) << 6) + bit;
  }

  CodedBlock& block_;
  mq::Encoder& coder_;
  unsigned width_, height_, words_, stripes_;
  const std::array<std::uint8_t, 256>& significance_;
  const std::array<std::uint8_t, 256>& sign_;
  std::array<mq::Context, 19> contexts_{};
  std::array<std::uint16_t, stride*(blockSide + 2)> near_{};
  // Of coefficients that are not zero: what is missing from the magnitude a decoder knows, in steps.
  std::array<float, std::size_t{blockSide} * blockSide> error_;
  BitSet significant_, visited_, refined_, inside_;
  const PlaneBits* bits_ = nullptr;
  float middle_ = 0;  // half of what the present plane's bit stands for
  double gain_ = 0;
};

BlockCoder::BlockCoder(CodedBlock& block, const BlockArea& area, Orientation orientation, float step)
    : block_(block),
      coder_(block.coder_),
      width_(area.width),
      height_(area.height),
      words_((area.width + 15) / 16),
      stripes_((area.height + 3) / 4),
      significance_(tables().significance[static_cast<std::size_t>(orientation)]),
      sign_(tables().sign),
      inside_(insideOf(area.width, area.height)) {
  contexts_[0] = 4 << 1;
  contexts_[runContext] = 3 << 1;
  contexts_[uniformContext] = 46 << 1;
  const float scale = 1 / step;
  std::array<std::int32_t, blockSide> row;
  for (unsigned y = 0; y < height_; ++y) {
    const float* from = area.at + y * area.stride;
    quantiseRow(from, width_, scale, row.data());
    for (unsigned x = 0; x < width_; ++x) {
      if (row[x] == 0) continue;
      auto left = static_cast<std::uint32_t>(row[x]);
      const unsigned bit = (x & 15) * 4 + (y & 3);
      const std::size_t word = wordAt(y / 4, x / 16);
      const std::uint64_t mask = std::uint64_t{1} << bit;
      const auto planes = static_cast<std::size_t>(std::bit_width(left));
      if (planes > block.planes_.size()) block.planes_.resize(planes);
      for (; left != 0; left &= left - 1)
        block.planes_[static_cast<std::size_t>(std::countr_zero(left))][word] |= mask;
      if (from[x] < 0) block.negative_[word] |= mask;
      error_[(word << 6) + bit] = std::abs(from[x]) * scale;
    }
  }
}

void BlockCoder::becomeSignificant(unsigned stripe, unsigned word, unsigned bit) {
  std::uint16_t* near = near_.data() + stateAt(stripe, word, bit);
  const std::uint8_t entry = sign_[(*near & 15) | (*near >> 4 & 0xF0)];
  const std::uint16_t negative = block_.negative_[wordAt(stripe, word)] >> bit & 1;
  encode(entry & 0x7F, negative ^ (entry >> 7));
  const auto tell = [negative](std::uint16_t& neighbour, unsigned which) {
    neighbour = static_cast<std::uint16_t>(neighbour | which | (which * negative) << signs);
  };
  tell(near[-1], after);
  tell(near[1], before);
  tell(*(near - stride), below);
  tell(near[stride], above);
  *(near - stride - 1) |= belowAfter;
  *(near - stride + 1) |= belowBefore;
  near[stride - 1] |= aboveAfter;
  near[stride + 1] |= aboveBefore;
  significant_.at(stripe, word) |= std::uint64_t{1} << bit;
  float& error = error_[errorAt(stripe, word, bit)];
  const float left = error - 3 * middle_;
  gain_ += error * error - left * left;
  error = left;
}

void BlockCoder::significancePass() {
  for (unsigned s = 0; s < stripes_; ++s) {
    for (unsigned w = 0; w < words_; ++w) {
      visited_.at(s, w) = visitNear(significant_, s, w, inside_.at(s, w), (*bits_)[wordAt(s, w)],
                                    [&](unsigned bit, std::uint64_t value) {
                                      encode(significance_[near_[stateAt(s, w, bit)] & 0xFF], value);
                                      if (value != 0) becomeSignificant(s, w, bit);
                                    });
    }
  }
}

// D.3.3
void BlockCoder::refinementPass() {
  for (unsigned s = 0; s < stripes_; ++s) {
    for (unsigned w = 0; w < words_; ++w) {
      std::uint64_t next = significant_.at(s, w) & ~visited_.at(s, w);
      const std::uint64_t bits = (*bits_)[wordAt(s, w)], refined = refined_.at(s, w);
      refined_.at(s, w) |= next;
      for (; next != 0; next &= next - 1) {
        const auto bit = static_cast<unsigned>(std::countr_zero(next));
        const std::uint64_t value = bits >> bit & 1;
        const unsigned context = (refined >> bit & 1) != 0                 ? 2
                                 : (near_[stateAt(s, w, bit)] & 0xFF) != 0 ? 1
                                                                           : 0;
        encode(magnitudeContext + context, value);
        float& error = error_[errorAt(s, w, bit)];
        const float left = value != 0 ? error - middle_ : error + middle_;
        gain_ += error * error - left * left;
        error = left;
      }
    }
  }
}

// D.3.4
void BlockCoder::cleanupPass() {
  for (unsigned s = 0; s < stripes_; ++s) {
    const bool whole = (s + 1) * 4 <= height_;
    for (unsigned w = 0; w < words_; ++w) {
      const std::uint64_t bits = (*bits_)[wordAt(s, w)];
      std::uint64_t near = significant_.grown(s, w);
      std::uint64_t next = inside_.at(s, w) & ~significant_.at(s, w) & ~visited_.at(s, w);
      visited_.at(s, w) = 0;
      while (next != 0) {
        auto bit = static_cast<unsigned>(std::countr_zero(next));
        bool found = false;
        if (whole && (bit & 3) == 0 && (near >> bit & 15) == 0) {
          // Columns without anything near or in them.
          const std::uint64_t stop = (near | bits | ~inside_.at(s, w)) >> bit;
          const unsigned empty =
              stop == 0 ? (64 - bit) / 4 : static_cast<unsigned>(std::countr_zero(stop)) / 4;
          if (empty > 0) {
            coder_.encodeRun(contexts_[runContext], 0, empty);
            const unsigned end = bit + 4 * empty;
            if (end >= 64) break;
            next = next >> end << end;
            continue;
          }
          const auto first = static_cast<unsigned>(std::countr_zero(bits >> bit));
          encode(runContext, 1);
          encode(uniformContext, first >> 1);
          encode(uniformContext, first & 1);
          bit += first;
          next = next >> bit << bit;
          found = true;
        }
        next &= next - 1;
        const std::uint64_t value = bits >> bit & 1;
        if (!found) encode(significance_[near_[stateAt(s, w, bit)] & 0xFF], value);
        if (value == 0) continue;
        becomeSignificant(s, w, bit);
        near |= laterNeighbours[bit & 3] << (bit & ~3u);
      }
    }
  }
}

void BlockCoder::endPass() { block_.passes_.push_back({coder_.cut(), gain_}); }

void BlockCoder::code(unsigned lowest) {
  const unsigned planes = block_.planes();
  if (planes == 0) return;
  block_.passes_.reserve(std::size_t{3} * planes);
  for (unsigned plane = planes; plane-- > lowest;) {
    bits_ = &block_.planes_[plane];
    middle_ = std::ldexp(0.5f, static_cast<int>(plane));
    if (plane + 1 < planes) {
      significancePass();
      endPass();
      refinementPass();
      endPass();
    }
    cleanupPass();
    endPass();
  }
}

CodedBlock::CodedBlock(const BlockArea& area, Orientation orientation, float step, unsigned lowest) {
  BlockCoder(*this, area, orientation, step).code(lowest);
}

void CodedBlock::show(std::size_t passes, const BlockArea& area, float step) const {
  if (passes == 0) return;
  // The highest plane has one pass, the others three.
  const unsigned lowest = planes() - 1 - static_cast<unsigned>((passes + 1) / 3), kind = (passes + 1) % 3;
  const float steps[] = {std::ldexp(step, static_cast<int>(lowest)),
                         std::ldexp(step, static_cast<int>(lowest) + 1)};
  BitSet significant;
  const BitSet inside = insideOf(area.width, area.height);
  const auto stripesUsed = (area.height + 3) / 4, wordsUsed = (area.width + 15) / 16;
  for (unsigned plane = lowest + 1; plane < planes(); ++plane) {
    for (unsigned s = 0; s < stripesUsed; ++s)
      for (unsigned w = 0; w < wordsUsed; ++w) significant.at(s, w) |= planes_[plane][wordAt(s, w)];
  }
  for (unsigned s = 0; s < stripesUsed; ++s) {
    for (unsigned w = 0; w < wordsUsed; ++w) {
      const std::size_t word = wordAt(s, w);
      const std::uint64_t before = significant.at(s, w), bits = planes_[lowest][word];
      std::uint64_t known = inside.at(s, w);  // to the lowest plane
      if (kind < 2) {
        known = visitNear(significant, s, w, known, bits, [](unsigned, std::uint64_t) {});
        significant.at(s, w) |= known & bits;
        if (kind == 1) known |= before;
      }
      for (std::uint64_t next = before | (known & bits); next != 0; next &= next - 1) {
        const auto bit = static_cast<unsigned>(std::countr_zero(next));
        const unsigned unknown = (known >> bit & 1) != 0 ? 0 : 1;
        std::uint64_t magnitude = 0;
        for (unsigned plane = planes(); plane-- > lowest + unknown;)
          magnitude = magnitude << 1 | (planes_[plane][word] >> bit & 1);
        const float value = (static_cast<float>(magnitude) + 0.5f) * steps[unknown];
        area.at[(s * 4 + (bit & 3)) * area.stride + w * 16 + (bit >> 2)] =
            (negative_[word] >> bit & 1) != 0 ? -value : value;
      }
    }
  }
}

}  // namespace optimizer::jpx
