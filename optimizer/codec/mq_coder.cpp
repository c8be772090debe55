#include "optimizer/codec/mq_coder.h"

#include <algorithm>
#include <utility>

namespace optimizer::mq {

const std::array<Probability, 47> probabilities = {{
    {0x5601, {2, 3}, {3, 2}},     {0x3401, {4, 5}, {12, 13}},   {0x1801, {6, 7}, {18, 19}},
    {0x0AC1, {8, 9}, {24, 25}},   {0x0521, {10, 11}, {58, 59}}, {0x0221, {76, 77}, {66, 67}},
    {0x5601, {14, 15}, {13, 12}}, {0x5401, {16, 17}, {28, 29}}, {0x4801, {18, 19}, {28, 29}},
    {0x3801, {20, 21}, {28, 29}}, {0x3001, {22, 23}, {34, 35}}, {0x2401, {24, 25}, {36, 37}},
    {0x1C01, {26, 27}, {40, 41}}, {0x1601, {58, 59}, {42, 43}}, {0x5601, {30, 31}, {29, 28}},
    {0x5401, {32, 33}, {28, 29}}, {0x5101, {34, 35}, {30, 31}}, {0x4801, {36, 37}, {32, 33}},
    {0x3801, {38, 39}, {34, 35}}, {0x3401, {40, 41}, {36, 37}}, {0x3001, {42, 43}, {38, 39}},
    {0x2801, {44, 45}, {38, 39}}, {0x2401, {46, 47}, {40, 41}}, {0x2201, {48, 49}, {42, 43}},
    {0x1C01, {50, 51}, {44, 45}}, {0x1801, {52, 53}, {46, 47}}, {0x1601, {54, 55}, {48, 49}},
    {0x1401, {56, 57}, {50, 51}}, {0x1201, {58, 59}, {52, 53}}, {0x1101, {60, 61}, {54, 55}},
    {0x0AC1, {62, 63}, {56, 57}}, {0x09C1, {64, 65}, {58, 59}}, {0x08A1, {66, 67}, {60, 61}},
    {0x0521, {68, 69}, {62, 63}}, {0x0441, {70, 71}, {64, 65}}, {0x02A1, {72, 73}, {66, 67}},
    {0x0221, {74, 75}, {68, 69}}, {0x0141, {76, 77}, {70, 71}}, {0x0111, {78, 79}, {72, 73}},
    {0x0085, {80, 81}, {74, 75}}, {0x0049, {82, 83}, {76, 77}}, {0x0025, {84, 85}, {78, 79}},
    {0x0015, {86, 87}, {80, 81}}, {0x0009, {88, 89}, {82, 83}}, {0x0005, {90, 91}, {84, 85}},
    {0x0001, {90, 91}, {86, 87}}, {0x5601, {92, 93}, {92, 93}},
}};

void Encoder::byteOut() {
  // After an 0xFF byte only seven bits follow, so that a carry never runs through it (T.88, Figure E.9).
  if (out_.back() != 0xFF && c_ >= 0x8000000) {
    ++out_.back();
    c_ &= 0x7FFFFFF;
  }
  if (out_.back() == 0xFF) {
    out_.push_back(static_cast<std::uint8_t>(c_ >> 20));
    c_ &= 0xFFFFF;
    ct_ = 7;
  } else {
    out_.push_back(static_cast<std::uint8_t>(c_ >> 19));
    c_ &= 0x7FFFF;
    ct_ = 8;
  }
}

void Encoder::encodeRun(Context& cx, unsigned bit, std::size_t count) {
  while (count > 0) {
    const Probability& p = probabilities[cx >> 1];
    if (bit == (cx & 1u)) {
      // As many as leave the interval above half need no renormalization: they can be taken in one step.
      std::size_t steps = std::min<std::size_t>(count, (a_ - 0x8000) / p.qe);
      a_ -= static_cast<std::uint32_t>(steps) * p.qe;
      c_ += static_cast<std::uint32_t>(steps) * p.qe;
      count -= steps;
      if (count == 0) return;
    }
    encode(cx, bit);
    --count;
  }
}

Cut Encoder::cut() const {
  // Any value of the interval will do. The one that ends in most ones needs the fewest bytes, for ones need
  // not be said.
  const std::int64_t low = c_, above = std::int64_t{c_} + a_;
  unsigned ones = 27 - ct_;
  std::int64_t value = ((above >> ones) << ones) - 1;
  while (value < low) {
    --ones;
    value = ((above >> ones) << ones) - 1;
  }
  auto c = static_cast<std::uint32_t>(value);
  unsigned ct = ct_;
  Cut cut;
  cut.kept = static_cast<std::uint32_t>(out_.size() - 1);
  cut.tail[0] = out_.back();
  cut.tailBytes = 1;
  for (;;) {
    std::uint8_t& last = cut.tail[cut.tailBytes - 1];
    const std::uint32_t carry = 1u << (27 - ct);
    if (last != 0xFF && (c & carry)) {
      ++last;
      c &= carry - 1;
    }
    if (c == carry - 1) break;
    const unsigned seen = last == 0xFF ? 20 : 19;
    c = (c << ct) | ((1u << ct) - 1);
    cut.tail[cut.tailBytes++] = static_cast<std::uint8_t>(c >> seen);
    c &= (1u << seen) - 1;
    ct = 27 - seen;
  }
  if (cut.tail[cut.tailBytes - 1] == 0xFF) --cut.tailBytes;
  return cut;
}

Bytes Encoder::endedAt(const Cut& cut) const {
  Bytes ended(out_.begin(), out_.begin() + cut.kept);
  ended.insert(ended.end(), cut.tail.begin(), cut.tail.begin() + cut.tailBytes);
  if (!ended.empty()) ended.erase(ended.begin());
  return ended;
}

Bytes Encoder::finish() {
  std::uint32_t top = c_ + a_;
  c_ |= 0xFFFF;
  if (c_ >= top) c_ -= 0x8000;
  c_ <<= ct_;
  byteOut();
  c_ <<= ct_;
  byteOut();
  if (out_.back() != 0xFF) out_.push_back(0xFF);
  out_.push_back(0xAC);
  out_.erase(out_.begin());
  return std::move(out_);
}

Decoder::Decoder(ByteView data) : data_(data) {
  c_ = static_cast<std::uint32_t>(data_.empty() ? 0xFF : data_[0]) << 16;
  byteIn();
  c_ <<= 7;
  ct_ -= 7;
}

void Decoder::byteIn() {
  // next_ is the byte taken last; past the end every byte reads as 0xFF, which acts like a marker.
  auto byteAt = [&](std::size_t i) -> unsigned { return i < data_.size() ? data_[i] : 0xFFu; };
  if (next_ >= data_.size()) ++overrun_;
  if (byteAt(next_) == 0xFF) {
    unsigned after = byteAt(next_ + 1);
    if (after > 0x8F) {
      c_ += 0xFF00;
      ct_ = 8;
      if (next_ + 2 >= data_.size()) ++overrun_;
    } else {
      ++next_;
      c_ += after << 9;
      ct_ = 7;
    }
  } else {
    ++next_;
    c_ += byteAt(next_) << 8;
    ct_ = 8;
  }
}

}  // namespace optimizer::mq
