#include "optimizer/codec/jbig2_arithmetic.h"

#include <algorithm>

namespace optimizer::jbig2 {

namespace {

struct Range {
  std::uint32_t first;  // smallest magnitude
  int bits;             // bits that follow the prefix
};
// Prefix i is i ones and a zero, but for the last, five ones (T.88, Table A.1).
constexpr Range ranges[] = {{0, 2}, {4, 4}, {20, 6}, {84, 8}, {340, 12}, {4436, 32}};

// PREV of T.88, A.2: the bits so far, with its leading one kept within nine bits.
void advance(std::uint32_t& prev, unsigned bit) {
  prev = prev < 256 ? (prev << 1 | bit) : ((((prev << 1) | bit) & 511) | 256);
}

}  // namespace

void encodeInteger(Encoder& encoder, IntegerContexts& contexts, std::optional<std::int32_t> value) {
  std::uint32_t prev = 1;
  auto put = [&](unsigned bit) {
    encoder.encode(contexts.cx[prev], bit);
    advance(prev, bit);
  };
  // Out of band is spelled as minus zero.
  bool negative = !value || *value < 0;
  std::uint32_t magnitude =
      !value ? 0
             : (*value < 0 ? 0u - static_cast<std::uint32_t>(*value) : static_cast<std::uint32_t>(*value));
  put(negative);
  int range = 5;
  while (range > 0 && magnitude < ranges[range].first) --range;
  for (int i = 0; i < range; ++i) put(1);
  if (range < 5) put(0);
  std::uint32_t rest = magnitude - ranges[range].first;
  for (int i = ranges[range].bits - 1; i >= 0; --i) put(rest >> i & 1);
}

std::optional<std::int32_t> decodeInteger(Decoder& decoder, IntegerContexts& contexts) {
  std::uint32_t prev = 1;
  auto get = [&] {
    unsigned bit = decoder.decode(contexts.cx[prev]);
    advance(prev, bit);
    return bit;
  };
  bool negative = get();
  int range = 0;
  while (range < 5 && get()) ++range;
  std::uint32_t rest = 0;
  for (int i = 0; i < ranges[range].bits; ++i) rest = rest << 1 | get();
  std::uint32_t magnitude = rest + ranges[range].first;
  if (!negative) return static_cast<std::int32_t>(magnitude & 0x7FFFFFFF);
  if (magnitude == 0) return std::nullopt;
  return -static_cast<std::int32_t>(magnitude & 0x7FFFFFFF);
}

void encodeSymbolId(Encoder& encoder, Contexts& contexts, int bits, std::uint32_t id) {
  std::uint32_t prev = 1;
  for (int i = bits - 1; i >= 0; --i) {
    unsigned bit = id >> i & 1;
    encoder.encode(contexts[prev], bit);
    prev = prev << 1 | bit;
  }
}

std::uint32_t decodeSymbolId(Decoder& decoder, Contexts& contexts, int bits) {
  std::uint32_t prev = 1;
  for (int i = 0; i < bits; ++i) prev = prev << 1 | decoder.decode(contexts[prev]);
  return prev - (1u << bits);
}

}  // namespace optimizer::jbig2
