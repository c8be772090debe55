#include "optimizer/image/dither.h"

#include <gtest/gtest.h>

#include <set>

namespace optimizer {
namespace {

Pixels flat(std::uint8_t level) {
  Pixels grey(64, 64, 1, ColorKind::grey);
  for (std::uint8_t& sample : grey.samples()) sample = level;
  return grey;
}

double whiteShare(const Pixels& bitonal) {
  std::size_t white = 0;
  for (std::uint32_t y = 0; y < bitonal.height(); ++y) {
    for (std::uint32_t x = 0; x < bitonal.width(); ++x) white += bitonal.bit(x, y) ? 1 : 0;
  }
  return static_cast<double>(white) / static_cast<double>(bitonal.pixelCount());
}

TEST(Dither, KeepsTheBrightnessOfFlatTones) {
  for (int level : {0, 20, 64, 128, 200, 255}) {
    for (Dithering mode : {Dithering::diffusion, Dithering::ordered}) {
      const Pixels bitonal = ditherTo1Bit(flat(static_cast<std::uint8_t>(level)), mode);
      EXPECT_EQ(bitonal.bits(), 1u);
      EXPECT_NEAR(whiteShare(bitonal), level / 255.0, 0.02) << level << " mode " << static_cast<int>(mode);
    }
  }
}

TEST(Dither, WithoutItTheMiddleDecides) {
  EXPECT_EQ(whiteShare(ditherTo1Bit(flat(127), Dithering::none)), 0);
  EXPECT_EQ(whiteShare(ditherTo1Bit(flat(128), Dithering::none)), 1);
}

TEST(Dither, UsesEachOrderedThresholdOnce) {
  std::set<double> shares;
  for (int level = 0; level < 256; ++level) {
    shares.insert(whiteShare(ditherTo1Bit(flat(static_cast<std::uint8_t>(level)), Dithering::ordered)));
  }
  EXPECT_EQ(shares.size(), 65u);
}

TEST(Dither, KeepsBlackAndWhiteAsTheyAre) {
  Pixels grey(33, 17, 1, ColorKind::grey);
  for (std::uint32_t y = 0; y < 17; ++y) {
    for (std::uint32_t x = 0; x < 33; ++x) grey.row(y)[x] = (x / 5 + y / 3) % 2 != 0 ? 255 : 0;
  }
  const Pixels wanted = thresholdTo1Bit(grey);
  for (Dithering mode : {Dithering::none, Dithering::diffusion, Dithering::ordered}) {
    EXPECT_EQ(ditherTo1Bit(grey, mode), wanted);
  }
}

}  // namespace
}  // namespace optimizer
