#include "optimizer/base/deflate_parts.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"

namespace optimizer {
namespace {

enum class Kind { text, noise, runs, mixed };

Bytes dataOf(Kind kind, std::size_t bytes, unsigned seed = 1) {
  static const char* const words[] = {"0.5 w ", "12 34 m ", "q ", "Q ", "1 0 0 1 7 8 cm ", "h f\n", "99.75 "};
  std::mt19937 random(seed);
  Bytes data;
  data.reserve(bytes + 64);
  while (data.size() < bytes) {
    const Kind now = kind == Kind::mixed ? static_cast<Kind>(random() % 3) : kind;
    const std::size_t length = kind == Kind::mixed ? 1 + random() % 40'000 : 4096;
    const std::size_t end = data.size() + length;
    while (data.size() < end) {
      if (now == Kind::text) {
        for (const char* at = words[random() % std::size(words)]; *at != 0; ++at)
          data.push_back(static_cast<std::uint8_t>(*at));
      } else {
        data.push_back(now == Kind::noise ? static_cast<std::uint8_t>(random()) : std::uint8_t{7});
      }
    }
  }
  data.resize(bytes);
  return data;
}

Bytes rawDeflate(ByteView plain, int level) { return deflateRawBelow(plain, ~std::size_t{0}, level); }

// What two independent readers make of a zlib stream; they must use all of it, and check its sum.
void expectInflates(const Bytes& coded, const Bytes& plain, const std::string& what) {
  EXPECT_TRUE(inflateExactly(coded, plain.size()) == plain || plain.empty()) << what;
  Bytes out(plain.size() + 1);
  uLongf made = static_cast<uLongf>(out.size());
  uLong used = static_cast<uLong>(coded.size());
  EXPECT_EQ(uncompress2(out.data(), &made, coded.data(), &used), Z_OK) << what;
  EXPECT_EQ(used, coded.size()) << what;
  out.resize(made);
  EXPECT_TRUE(out == plain) << what;
}

TEST(DeflateParts, JoinedPartsInflateToAllOfTheData) {
  const std::size_t sizes[] = {0, 1, 2, 3, 5, 7, 20, 100, 999, 40'000, 70'001, 300'000};
  std::mt19937 random(5);
  for (int level : {0, 1, 6, 10, 12}) {
    for (Kind kind : {Kind::text, Kind::noise, Kind::runs, Kind::mixed}) {
      for (int round = 0; round < 8; ++round) {
        Bytes all;
        std::vector<DeflatedPart> parts;
        std::string what =
            "level " + std::to_string(level) + " kind " + std::to_string(static_cast<int>(kind)) + ":";
        const std::size_t count = 1 + random() % 5;
        while (parts.size() < count) {
          const Bytes plain =
              dataOf(kind, sizes[random() % std::size(sizes)], static_cast<unsigned>(random()));
          what += " " + std::to_string(plain.size());
          all.insert(all.end(), plain.begin(), plain.end());
          auto part = deflatedPart(rawDeflate(plain, level), plain);
          ASSERT_TRUE(part) << what;
          parts.push_back(std::move(*part));
        }
        expectInflates(joinDeflated(parts), all, what);
      }
    }
  }
}

TEST(DeflateParts, PartsMayEndAtAnyBit) {
  std::vector<DeflatedPart> parts;
  std::vector<int> ends(8);
  Bytes all;
  for (std::size_t size = 0; size < 200; ++size) {
    const Bytes plain = dataOf(Kind::text, size, static_cast<unsigned>(size));
    parts.push_back(*deflatedPart(rawDeflate(plain, 9), plain));
    all.insert(all.end(), plain.begin(), plain.end());
    ++ends[parts.back().end % 8];
  }
  for (int count : ends) EXPECT_GT(count, 0);
  expectInflates(joinDeflated(parts), all, "small parts");
}

TEST(DeflateParts, WhatIsNoWholeStreamIsNoPart) {
  const Bytes plain = dataOf(Kind::text, 50'000);
  const Bytes coded = rawDeflate(plain, 6);
  EXPECT_TRUE(deflatedPart(coded, plain));
  EXPECT_FALSE(deflatedPart(coded, ByteView(plain).first(49'999))) << "another length";
  EXPECT_FALSE(deflatedPart(Bytes(coded.begin(), coded.end() - 9), plain)) << "cut off";
  EXPECT_FALSE(deflatedPart({}, plain));
  EXPECT_FALSE(deflatedPart(dataOf(Kind::noise, 500), plain));
}

TEST(DeflateParts, AreFewAndLarge) {
  constexpr std::size_t megabyte = std::size_t{1} << 20;
  EXPECT_EQ(deflatePartsFor(0), 1u);
  EXPECT_EQ(deflatePartsFor(2 * megabyte - 1), 1u);
  for (std::size_t bytes = 2 * megabyte; bytes < 200 * megabyte; bytes += 777'777) {
    EXPECT_GE(deflatePartsFor(bytes), 2u);
    EXPECT_LE(deflatePartsFor(bytes), 8u);
    EXPECT_GE(bytes / deflatePartsFor(bytes), megabyte);
  }
}

TEST(DeflateParts, LargeDataIsTheSameWithAnyNumberOfThreads) {
  for (Kind kind : {Kind::text, Kind::noise, Kind::runs, Kind::mixed}) {
    const Bytes plain = dataOf(kind, 6'000'007);
    const Bytes alone = deflateInPartsBelow(plain, plain.size() * 2, 6);
    expectInflates(alone, plain, "large");
    for (unsigned threads : {1u, 4u}) {
      WorkerPool pool(threads);
      Bytes coded;
      pool.parallelFor(1, [&](std::size_t) { coded = deflateInPartsBelow(plain, plain.size() * 2, 6); });
      EXPECT_TRUE(coded == alone) << threads;
    }
    // A part costs what it cannot refer to in the one before.
    EXPECT_LT(static_cast<double>(alone.size()), static_cast<double>(deflate(plain, 6).size()) * 1.005 + 100);
    EXPECT_EQ(deflateInPartsBelow(plain, alone.size() + 1, 6).size(), alone.size());
    EXPECT_TRUE(deflateInPartsBelow(plain, alone.size(), 6).empty());
    EXPECT_TRUE(deflateInPartsBelow(plain, 100, 6).empty());
  }
}

}  // namespace
}  // namespace optimizer
