// The adaptive binary arithmetic coder that JBIG2 (ITU-T T.88, Annex E) and JPEG 2000 (ISO/IEC 15444-1, Annex
// C) share.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "optimizer/base/bytes.h"

namespace optimizer::mq {

// State of one context: index into the probability table shifted left by one, the more probable symbol in bit
// 0.
using Context = std::uint8_t;

struct Probability {
  std::uint16_t qe;
  Context nextMps[2];  // by the present more probable symbol
  Context nextLps[2];
};
// Indexed by Context >> 1 (T.88, Table E.1; 15444-1, Table C.2).
extern const std::array<Probability, 47> probabilities;

// Where a code stream may end: its first `kept` bytes, of which the first is not part of it, and what follows
// them.
struct Cut {
  std::uint32_t kept = 0;
  std::uint8_t tailBytes = 0;
  std::array<std::uint8_t, 6> tail{};
  std::uint32_t size() const { return kept + tailBytes - (kept + tailBytes > 0 ? 1 : 0); }
};

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

  // The shortest end of what is coded so far for a decoder that reads ones past it, as that of JPEG 2000 does
  // (15444-1, C.3.2 and D.4.1). Coding may go on.
  Cut cut() const;
  // What ends at a cut of this stream.
  Bytes endedAt(const Cut& cut) const;

  // Ends the code stream with its marker and hands it over (T.88, E.2.9).
  Bytes finish();

 private:
  void renormalize() {
    auto shift = static_cast<unsigned>(std::countl_zero(a_) - 16);
    a_ <<= shift;
    while (shift >= ct_) {
      c_ <<= ct_;
      shift -= ct_;
      byteOut();
    }
    c_ <<= shift;
    ct_ -= shift;
  }
  void byteOut();

  std::uint32_t a_ = 0x8000, c_ = 0;
  unsigned ct_ = 12;  // bits until the next byte is complete
  Bytes out_;         // out_[0] is a place for the carry into nothing and never leaves
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

}  // namespace optimizer::mq
