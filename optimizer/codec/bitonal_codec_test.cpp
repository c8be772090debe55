#include "optimizer/codec/bitonal_codec.h"

#include <gtest/gtest.h>

#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/jbig2_decoder.h"

namespace optimizer {
namespace {

Pixels stripes(std::uint32_t w, std::uint32_t h) {
  Pixels p(w, h, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) p.setBit(x, y, (x / 3 + y / 5) % 4 != 0);
  return p;
}

TEST(BitonalCodec, PixelsComeBackWithTheirUnusedBitsZero) {
  for (std::uint32_t w : {1u, 8u, 13u, 64u}) EXPECT_EQ(pixelsOf(bitonalOf(stripes(w, 9))), stripes(w, 9));
}

TEST(BitonalCodec, TheChosenCodingDecodesToTheSamePixels) {
  for (std::uint32_t w : {3u, 40u, 1000u}) {
    Pixels pixels = stripes(w, 200);
    EncodedImage image = encodeBitonal(pixels);
    Result<Bitonal> read =
        image.filter == "JBIG2Decode"
            ? decodeJbig2(image.data, {}, 1 << 24)
            : decodeCcitt(image.data, {.k = -1, .columns = static_cast<int>(w), .rows = 200}, 1 << 24);
    ASSERT_TRUE(read.ok());
    EXPECT_EQ(pixelsOf(*read), pixels);
    EXPECT_EQ(image.bitsPerComponent, 1u);
    EXPECT_TRUE(image.lossless);
  }
}

TEST(BitonalCodec, TinyPicturesTakeTheCodingWithoutSegmentHeaders) {
  EXPECT_EQ(encodeBitonal(stripes(8, 4)).filter, "CCITTFaxDecode");
  EXPECT_EQ(encodeBitonal(stripes(1000, 1000)).filter, "JBIG2Decode");
}

}  // namespace
}  // namespace optimizer
