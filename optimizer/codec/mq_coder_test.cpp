#include "optimizer/codec/mq_coder.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace optimizer::mq {
namespace {

struct Symbol {
  unsigned context, bit;
};

// Symbols of eight contexts, from nearly sure to even; runs of ones and zeros make bytes of 0xFF and carries
// likely.
std::vector<Symbol> symbolsOf(unsigned seed, std::size_t count) {
  std::mt19937 random(seed);
  std::vector<Symbol> symbols(count);
  for (Symbol& symbol : symbols) {
    symbol.context = random() % 8;
    symbol.bit = random() % 256 < (2u << symbol.context) ? 1 : 0;
    if (seed % 3 == 0) symbol.bit = symbol.context % 2;
  }
  return symbols;
}

void expectSymbols(ByteView code, const std::vector<Symbol>& symbols, std::size_t count) {
  std::array<Context, 8> contexts{};
  Decoder decoder(code);
  for (std::size_t i = 0; i < count; ++i)
    ASSERT_EQ(decoder.decode(contexts[symbols[i].context]), symbols[i].bit) << i << " of " << count;
}

TEST(MqCoder, CanBeCutAfterAnySymbolAndGoOn) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    const std::vector<Symbol> symbols = symbolsOf(seed, 700);
    std::array<Context, 8> contexts{};
    Encoder encoder;
    std::vector<Cut> cuts = {encoder.cut()};
    for (const Symbol& symbol : symbols) {
      encoder.encode(contexts[symbol.context], symbol.bit);
      cuts.push_back(encoder.cut());
    }
    for (std::size_t i = 0; i < cuts.size(); ++i) {
      const Bytes code = encoder.endedAt(cuts[i]);
      EXPECT_EQ(code.size(), cuts[i].size());
      for (std::size_t k = 0; k + 1 < code.size(); ++k) EXPECT_FALSE(code[k] == 0xFF && code[k + 1] > 0x8F);
      EXPECT_FALSE(!code.empty() && code.back() == 0xFF);
      expectSymbols(code, symbols, i);
    }
    // Two bytes of marker, and up to two more for the end that anything may follow.
    const std::size_t shortest = cuts.back().size(), whole = encoder.finish().size();
    EXPECT_LE(shortest + 2, whole);
    EXPECT_GE(shortest + 5, whole);
  }
}

TEST(MqCoder, CodesRunsLikeSingleSymbols) {
  for (std::size_t count : {1u, 7u, 100u, 5000u}) {
    for (unsigned bit : {0u, 1u}) {
      Encoder single, run;
      Context one = 6, other = 6;
      for (std::size_t i = 0; i < count; ++i) single.encode(one, bit);
      run.encodeRun(other, bit, count);
      EXPECT_EQ(one, other);
      EXPECT_EQ(single.finish(), run.finish());
    }
  }
}

}  // namespace
}  // namespace optimizer::mq
