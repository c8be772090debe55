// The integer procedures of JBIG2 (ITU-T T.88, Annex A), both ways.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "optimizer/codec/mq_coder.h"

namespace optimizer::jbig2 {

using mq::Context;
using mq::Decoder;
using mq::Encoder;
using Contexts = std::vector<Context>;

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
