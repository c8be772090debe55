#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "optimizer/codec/flate.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"

namespace optimizer {
namespace {

// Smooth colours with a little texture, different in every channel.
Pixels gradient(std::uint32_t width, std::uint32_t height, unsigned channels) {
  const ColorKind kind = channels == 1 ? ColorKind::grey : channels == 3 ? ColorKind::rgb : ColorKind::cmyk;
  Pixels pixels(width, height, channels, kind);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        pixels.row(y)[x * channels + c] =
            static_cast<std::uint8_t>((x * (c + 1) + y * (3 - c % 3) + (x ^ y) % 5) / 2);
      }
    }
  }
  return pixels;
}

int largestDifference(const Pixels& a, const Pixels& b) {
  int largest = 0;
  for (std::size_t i = 0; i < a.samples().size(); ++i) {
    largest = std::max(largest, std::abs(int{a.samples()[i]} - int{b.samples()[i]}));
  }
  return largest;
}

// The parameters of an encoded image, as a reader would take them from its dictionary.
FlateParms parmsOf(const EncodedImage& image, unsigned channels) {
  FlateParms parms;
  if (image.decodeParms.empty()) return parms;
  parms.predictor = 15;
  parms.columns = image.width;
  parms.colors = channels;
  parms.bits = image.bitsPerComponent;
  return parms;
}

Bytes inflated(const EncodedImage& image, unsigned channels, std::size_t stride) {
  Bytes all;
  const Status status =
      inflateRows(image.data, parmsOf(image, channels), stride, image.height,
                  [&](const std::uint8_t* row) { all.insert(all.end(), row, row + stride); });
  EXPECT_TRUE(status.ok());
  return all;
}

TEST(Flate, GivesBackTheSamplesOfEveryShape) {
  for (unsigned channels : {1u, 3u, 4u}) {
    for (std::uint32_t width : {1u, 7u, 64u, 301u}) {
      const Pixels pixels = gradient(width, 53, channels);
      const EncodedImage image = encodeFlate(packedOf(pixels));
      EXPECT_EQ(inflated(image, channels, pixels.stride()), pixels.samples()) << width << " x " << channels;
    }
  }
}

TEST(Flate, GivesBackPackedBits) {
  Pixels pixels(99, 40, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < 40; ++y) {
    for (std::uint32_t x = 0; x < 99; ++x) pixels.setBit(x, y, (x / 9 + y / 7) % 2);
  }
  EXPECT_EQ(inflated(encodeFlate(packedOf(pixels)), 1, pixels.stride()), pixels.samples());
}

TEST(Flate, FindsThatAGradientWantsAPredictor) {
  const Pixels pixels = gradient(256, 256, 3);
  const PackedSamples packed = packedOf(pixels);
  EXPECT_LT(encodeFlate(packed).data.size(), encodeFlate(packed, FlateDraft{}).data.size());
}

TEST(Flate, RefusesDataThatEndsEarly) {
  const Pixels pixels = gradient(64, 64, 3);
  EncodedImage image = encodeFlate(packedOf(pixels));
  image.data.resize(image.data.size() / 2);
  int rows = 0;
  EXPECT_FALSE(inflateRows(image.data, parmsOf(image, 3), pixels.stride(), 64, [&](const std::uint8_t*) {
                 ++rows;
               }).ok());
  EXPECT_LT(rows, 64);
}

TEST(Flate, RefusesImpossibleParameters) {
  const EncodedImage image = encodeFlate(packedOf(gradient(16, 16, 1)));
  for (const FlateParms& parms : {FlateParms{15, 0, 8, 16}, FlateParms{15, 1, 0, 16}, FlateParms{15, 1, 8, 0},
                                  FlateParms{15, 99, 8, 16}, FlateParms{2, 1, 4, 16}}) {
    EXPECT_FALSE(inflateRows(image.data, parms, 16, 16, [](const std::uint8_t*) {}).ok());
  }
}

TEST(Jpeg, ComesCloseToWhatWentIn) {
  for (unsigned channels : {1u, 3u, 4u}) {
    const Pixels pixels = gradient(61, 47, channels);
    const Result<EncodedImage> image = encodeJpeg(pixels, {.quality = 95});
    ASSERT_TRUE(image.ok());
    const Result<Pixels> shown = decodeJpeg(image->data);
    ASSERT_TRUE(shown.ok());
    EXPECT_EQ(shown->channels(), channels);
    EXPECT_LE(largestDifference(pixels, *shown), 24) << channels;
  }
}

TEST(Jpeg, KeepsEverySampleWhenOnlyItsCodeChanges) {
  for (unsigned channels : {1u, 3u, 4u}) {
    const Result<EncodedImage> image =
        encodeJpeg(gradient(130, 90, channels), {.quality = 70, .draft = true});
    ASSERT_TRUE(image.ok());
    const Result<Bytes> smaller = optimizeJpeg(image->data);
    ASSERT_TRUE(smaller.ok());
    EXPECT_LT(smaller->size(), image->data.size());
    EXPECT_EQ(*decodeJpeg(*smaller), *decodeJpeg(image->data)) << channels;
  }
}

TEST(Jpeg, EstimatesTheQualityOfItsTables) {
  for (int quality : {20, 50, 75, 90}) {
    const Result<EncodedImage> image = encodeJpeg(gradient(64, 64, 3), {.quality = quality, .draft = true});
    ASSERT_TRUE(image.ok());
    EXPECT_NEAR(readJpegInfo(image->data)->quality, quality, 2);
  }
}

TEST(Jpeg, TakesCutDataForDamaged) {
  const Result<EncodedImage> image = encodeJpeg(gradient(200, 200, 3), {.quality = 80, .draft = true});
  ASSERT_TRUE(image.ok());
  for (std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{20}, image->data.size() / 2}) {
    const ByteView cut(image->data.data(), length);
    EXPECT_FALSE(decodeJpeg(cut).ok()) << length;
    EXPECT_FALSE(optimizeJpeg(cut).ok()) << length;
  }
}

TEST(Jpeg, IsNotDecodedWhereReadersSeeDifferentColours) {
  Result<EncodedImage> image = encodeJpeg(gradient(40, 40, 3), {.quality = 80, .draft = true});
  ASSERT_TRUE(image.ok());
  // The components' names in the frame and scan headers (ITU-T T.81, B.2.2 and B.2.3).
  Bytes& data = image->data;
  const auto marker = [&](unsigned char code) {
    std::size_t at = 2;
    while (data[at + 1] != code) at += 2 + (std::size_t{data[at + 2]} << 8 | data[at + 3]);
    return at;
  };
  const std::size_t frame = marker(0xC0), scan = marker(0xDA);
  for (std::size_t i = 0; i < 3; ++i) data[frame + 10 + 3 * i] = data[scan + 5 + 2 * i] = "RGB"[i];
  EXPECT_FALSE(decodeJpeg(data).ok());
  EXPECT_TRUE(decodeJpeg(data, 0).ok());
  EXPECT_TRUE(decodeJpeg(data, 1).ok());
}

TEST(Jpx, IsLosslessWithoutALimit) {
  for (unsigned channels : {1u, 3u}) {
    const Pixels pixels = gradient(75, 60, channels);
    const Result<EncodedImage> image = encodeJpx(pixels, 0);
    ASSERT_TRUE(image.ok());
    EXPECT_EQ(*decodeJpx(image->data), pixels);
  }
}

TEST(Jpx, KeepsToTheSizeAskedFor) {
  const Result<EncodedImage> image = encodeJpx(gradient(256, 256, 3), 6000);
  ASSERT_TRUE(image.ok());
  EXPECT_LE(image->data.size(), 6400u);
}

TEST(Jpx, TakesCutDataForDamaged) {
  const Result<EncodedImage> image = encodeJpx(gradient(128, 128, 3), 0);
  ASSERT_TRUE(image.ok());
  for (std::size_t length : {std::size_t{0}, std::size_t{3}, std::size_t{60}, image->data.size() / 2}) {
    EXPECT_FALSE(decodeJpx(ByteView(image->data.data(), length)).ok()) << length;
  }
}

TEST(Jpeg, IsCutAtItsBlocksWithoutLoss) {
  for (unsigned channels : {1u, 3u, 4u}) {
    JpegOptions options;
    options.subsampleChroma = channels == 3;
    const Result<EncodedImage> whole = encodeJpeg(gradient(203, 117, channels), options);
    ASSERT_TRUE(whole.ok());
    const Result<Pixels> before = decodeJpeg(whole->data);
    ASSERT_TRUE(before.ok());
    const JpegRegion region{32, 48, 101, 69};
    const Result<Bytes> part = cropJpeg(whole->data, region);
    ASSERT_TRUE(part.ok()) << part.error().message;
    const Result<Pixels> after = decodeJpeg(*part);
    ASSERT_TRUE(after.ok());
    ASSERT_EQ(after->width(), region.width);
    ASSERT_EQ(after->height(), region.height);
    // Smooth chroma blends over the new edges.
    const std::uint32_t edge = channels == 3 ? 2 : 0;
    EXPECT_EQ(crop(*after, edge, edge, region.width - 2 * edge, region.height - 2 * edge),
              crop(*before, region.left + edge, region.top + edge, region.width - 2 * edge, region.height - 2 * edge));

    const Result<Bytes> blank = blankJpeg(whole->data, region);
    ASSERT_TRUE(blank.ok());
    EXPECT_LT(blank->size(), whole->data.size());
    const Result<Pixels> blanked = decodeJpeg(*blank);
    ASSERT_TRUE(blanked.ok());
    ASSERT_EQ(blanked->width(), 203u);
    EXPECT_EQ(crop(*blanked, region.left + edge, region.top + edge, region.width - 2 * edge, region.height - 2 * edge),
              crop(*before, region.left + edge, region.top + edge, region.width - 2 * edge, region.height - 2 * edge));
    const Pixels corner = crop(*blanked, 0, 0, 16, 16);
    for (std::size_t i = channels; i < corner.samples().size(); ++i) {
      EXPECT_EQ(corner.samples()[i], corner.samples()[i % channels]);
    }
    EXPECT_FALSE(cropJpeg(whole->data, {5, 0, 20, 20}).ok());
    EXPECT_FALSE(cropJpeg(whole->data, {0, 0, 204, 20}).ok());
  }
}

}  // namespace
}  // namespace optimizer
