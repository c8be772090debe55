#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "optimizer/codec/jbig2_decoder.h"
#include "optimizer/codec/jbig2_encoder.h"
#include "optimizer/codec/jbig2_generic.h"

namespace optimizer {
namespace {

namespace fs = std::filesystem;

Bitonal filled(int w, int h) {
  Bitonal b(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) b.set(x, y);
  return b;
}

Bitonal noise(int w, int h, unsigned percent) {
  Bitonal b(w, h);
  std::mt19937 random(7);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (random() % 100 < percent) b.set(x, y);
  return b;
}

// Something like a page: words of a few letter shapes on lines, a frame and a grey patch of ordered dots.
Bitonal page(int w, int h) {
  Bitonal b(w, h);
  std::mt19937 random(3);
  for (int line = 20; line + 24 < h; line += 30)
    for (int x = 20; x + 16 < w; x += 14) {
      unsigned letter = random() % 9;
      if (letter == 0) continue;
      for (int dy = 0; dy < 18; ++dy)
        for (int dx = 0; dx < 10; ++dx)
          if ((dx * letter + dy * dy * (letter + 3)) % 7 < 3) b.set(x + dx, line + dy);
    }
  for (int x = 2; x < w - 2; ++x)
    if (h > 4) b.set(x, 2);
  for (int y = h / 2; y < h * 3 / 4; ++y)
    for (int x = w / 2; x < w * 3 / 4; ++x)
      if (x % 4 == 1 && y % 4 == 2) b.set(x, y);
  return b;
}

Bitonal enlarged(const Bitonal& from, int times) {
  Bitonal b(from.width * times, from.height * times);
  for (int y = 0; y < b.height; ++y)
    for (int x = 0; x < b.width; ++x)
      if (from.at(x / times, y / times)) b.set(x, y);
  return b;
}

void expectSame(BitonalView a, BitonalView b) {
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  for (int y = 0; y < a.height; ++y)
    for (int x = 0; x < a.width; ++x) ASSERT_EQ(a.at(x, y), b.at(x, y)) << x << ',' << y;
}

struct Case {
  const char* name;
  Bitonal picture;
};

std::vector<Case> cases() {
  return {
      {"one white pixel", Bitonal(1, 1)},
      {"one black pixel", filled(1, 1)},
      {"one column", noise(1, 300, 50)},
      {"one row", noise(300, 1, 50)},
      {"seven wide", noise(7, 9, 30)},
      {"thirty-three wide", noise(33, 40, 20)},
      {"white", Bitonal(1000, 700)},
      {"black", filled(1001, 700)},
      {"sparse noise", noise(640, 480, 1)},
      {"dense noise", noise(257, 129, 50)},
      {"page", page(1237, 1753)},
      {"small page", page(200, 150)},
      {"enlarged page", enlarged(page(300, 200), 4)},
  };
}

TEST(Jbig2, ReadsBackWhatItWroteBitForBit) {
  for (const Case& c : cases())
    for (Jbig2Effort effort : {Jbig2Effort::fast, Jbig2Effort::best}) {
      SCOPED_TRACE(c.name);
      auto read = decodeJbig2(encodeJbig2(c.picture, effort), {}, 1 << 28);
      ASSERT_TRUE(read.ok()) << read.error().message;
      expectSame(c.picture, *read);
    }
}

// A decoder of another make, run as a program of its own.
TEST(Jbig2, IsReadBitForBitByAnotherDecoder) {
  fs::path folder = fs::temp_directory_path() / ("jbig2_test_" + std::to_string(::getpid()));
  fs::create_directories(folder);
  for (const Case& c : cases()) {
    SCOPED_TRACE(c.name);
    Bytes coded = encodeJbig2(c.picture);
    std::ofstream(folder / "in.jb2", std::ios::binary)
        .write(reinterpret_cast<const char*>(coded.data()), static_cast<std::streamsize>(coded.size()));
    std::string command = "jbig2dec -e -t pbm -o '" + (folder / "out.pbm").string() + "' '" +
                          (folder / "in.jb2").string() + "' 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::ifstream in(folder / "out.pbm", std::ios::binary);
    std::string magic;
    int w = 0, h = 0;
    in >> magic >> w >> h;
    in.get();
    ASSERT_EQ(magic, "P4");
    ASSERT_EQ(w, c.picture.width);
    ASSERT_EQ(h, c.picture.height);
    Bitonal read(w, h);
    in.read(reinterpret_cast<char*>(read.bits.data()), static_cast<std::streamsize>(read.bits.size()));
    ASSERT_EQ(static_cast<std::size_t>(in.gcount()), read.bits.size());
    expectSame(c.picture, read);
  }
  fs::remove_all(folder);
}

TEST(Jbig2, EveryTemplateAndAdaptivePlaceReadsBack) {
  Bitonal picture = page(333, 180);
  jbig2::Padded padded(picture);
  for (int t = 0; t < 4; ++t)
    for (bool typical : {false, true})
      for (int variant = 0; variant < 4; ++variant) {
        jbig2::GenericParams params = jbig2::nominalParams(t, typical);
        if (variant == 1) params.at[0] = {-128, 0};
        if (variant == 2) params.at[0] = {127, -128};
        if (variant == 3) params.at = {{{-8, 0}, {0, -8}, {8, -8}, {-9, -8}}};
        jbig2::Encoder encoder;
        jbig2::Contexts contexts(jbig2::contextCount(t));
        jbig2::encodeGeneric(encoder, contexts, padded, params);
        Bytes data = encoder.finish();
        jbig2::Decoder decoder(data);
        std::fill(contexts.begin(), contexts.end(), 0);
        auto read = jbig2::decodeGeneric(decoder, contexts, picture.width, picture.height, params);
        ASSERT_TRUE(read.ok());
        SCOPED_TRACE(t);
        expectSame(picture, read->picture());
      }
}

TEST(Jbig2, BlankPagesTakeFewBytes) {
  EXPECT_LT(encodeJbig2(Bitonal(5000, 7000)).size(), 100u);
  EXPECT_LT(encodeJbig2(filled(5000, 7000)).size(), 100u);
}

TEST(Jbig2, BitsAfterTheWidthDoNotMatter) {
  Bitonal a = noise(13, 20, 40), b = a;
  for (int y = 0; y < b.height; ++y) b.row(y)[1] |= 7;
  EXPECT_EQ(encodeJbig2(a), encodeJbig2(b));
}

TEST(Jbig2, IntegersOfEverySizeReadBack) {
  std::vector<std::optional<std::int32_t>> values = {
      0, 1, -1, 3, 4, -4, 19, 20, 83, 84, 339, -340, 4435, 4436, -4437, 100000, 2147483647, std::nullopt, 5};
  jbig2::Encoder encoder;
  jbig2::IntegerContexts contexts;
  for (auto v : values) jbig2::encodeInteger(encoder, contexts, v);
  Bytes data = encoder.finish();
  jbig2::Decoder decoder(data);
  jbig2::IntegerContexts fresh;
  for (auto v : values) EXPECT_EQ(jbig2::decodeInteger(decoder, fresh), v);
}

TEST(Jbig2, DamagedStreamsAreRefusedOrReadButNeverHang) {
  Bytes good = encodeJbig2(page(120, 90));
  std::mt19937 random(11);
  int refused = 0;
  for (int i = 0; i < 2000; ++i) {
    Bytes bad = good;
    for (int k = 0; k < 3; ++k) bad[random() % bad.size()] = static_cast<std::uint8_t>(random());
    if (i % 5 == 0) bad.resize(random() % bad.size());
    refused += !decodeJbig2(bad, {}, 1 << 20).ok();
  }
  EXPECT_GT(refused, 100);
}

TEST(Jbig2, PicturesAboveTheLimitAreRefused) {
  Bytes coded = encodeJbig2(Bitonal(5000, 7000));
  auto read = decodeJbig2(coded, {}, 1 << 20);
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().kind, ErrorKind::limit);
}

}  // namespace
}  // namespace optimizer
