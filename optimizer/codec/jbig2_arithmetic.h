// The adaptive binary arithmetic coder of JBIG2 (ITU-T T.88, Annex E), both ways, and the integer procedures
// built on it (Annex A).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer::jbig2 {

// State of one context: index into the probability table shifted left by one, the more probable symbol in bit
// 0.
using Context = std::uint8_t;
using Contexts = std::vector<Context>;

struct Probability {
  std::uint16_t qe;
  Context nextMps[2];  // by the present more probable symbol
  Context nextLps[2];
};
// Indexed by Context >> 1 (T.88, Table E.1).
extern const std::array<Probability, 47> probabilities;

class Encoder {
 public:
  Encoder() { out_.push_back(0); }

  void encode(Context& cx, unsigned bit) {
    const Probability& p = probabilities[cx >> 1];
    a_ -= p.qe;
    if (bit == (cx & 1u)) {
      if (a_ & 0x8000) {
        c_ += p.qe;
        return;
      }
      if (a_ < p.qe) {
        a_ = p.qe;
      } else {
        c_ += p.qe;
      }
      cx = p.nextMps[cx & 1];
    } else {
      if (a_ < p.qe) {
        c_ += p.qe;
      } else {
        a_ = p.qe;
      }
      cx = p.nextLps[cx & 1];
    }
    renormalize();
  }
  // The same symbol `count` times in the same context; long runs of the expected one cost next to nothing.
  void encodeRun(Context& cx, unsigned bit, std::size_t count);

  // Ends the code stream with its marker and hands it over.
  Bytes finish();

 private:
  void renormalize();
  void byteOut();

  std::uint32_t a_ = 0x8000, c_ = 0;
  int ct_ = 12;
  Bytes out_;  // out_[0] is a place for the carry into nothing and never leaves
};

// Reading past the end of the data gives the fill that the standard prescribes, so it never fails by itself;
// `overrun` tells how far past the end the decoder has read.
class Decoder {
 public:
  explicit Decoder(ByteView data);

  unsigned decode(Context& cx) {
    const Probability& p = probabilities[cx >> 1];
    a_ -= p.qe;
    unsigned bit = cx & 1;
    if ((c_ >> 16) < p.qe) {
      if (a_ < p.qe) {
        cx = p.nextMps[bit];
      } else {
        cx = p.nextLps[bit];
        bit ^= 1;
      }
      a_ = p.qe;
    } else {
      c_ -= static_cast<std::uint32_t>(p.qe) << 16;
      if (a_ & 0x8000) return bit;
      if (a_ < p.qe) {
        cx = p.nextLps[bit];
        bit ^= 1;
      } else {
        cx = p.nextMps[bit];
      }
    }
    do {
      if (ct_ == 0) byteIn();
      a_ <<= 1;
      c_ <<= 1;
      --ct_;
    } while (!(a_ & 0x8000));
    return bit;
  }

  std::size_t overrun() const { return overrun_; }

 private:
  void byteIn();

  ByteView data_;
  std::size_t next_ = 0, overrun_ = 0;
  std::uint32_t a_ = 0x8000, c_ = 0;
  int ct_ = 0;
};

// Contexts of one integer procedure (T.88, A.2).
struct IntegerContexts {
  std::array<Context, 512> cx{};
};
// No value stands for "out of band".
void encodeInteger(Encoder& encoder, IntegerContexts& contexts, std::optional<std::int32_t> value);
std::optional<std::int32_t> decodeInteger(Decoder& decoder, IntegerContexts& contexts);

// Symbol identifiers of a fixed number of bits (T.88, A.3); contexts has 1 << bits entries.
void encodeSymbolId(Encoder& encoder, Contexts& contexts, int bits, std::uint32_t id);
std::uint32_t decodeSymbolId(Decoder& decoder, Contexts& contexts, int bits);

}  // namespace optimizer::jbig2
