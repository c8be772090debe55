// What the codec masks, the force settings and PDF 1.4 do to images of each class.
#include "optimizer/image/codec_rules.h"

#include <gtest/gtest.h>

#include <cmath>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/recode.h"
#include "optimizer/image/resample.h"
#include "optimizer/testing/image_job.h"

namespace optimizer {
namespace {

using testing::jobOf;

constexpr std::uint32_t kJpeg = codecBit(Codec::jpeg), kFlate = codecBit(Codec::flate),
                        kBitonal = codecBit(Codec::bitonal), kJpx = codecBit(Codec::jpeg2000),
                        kAutomatic = codecBit(Codec::automatic);

Pixels photo(std::uint32_t width = 320, std::uint32_t height = 240) {
  Pixels pixels(width, height, 3, ColorKind::rgb);
  std::uint32_t noise = 1;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      noise = noise * 1664525u + 1013904223u;  // grain is the same in all colours
      for (unsigned c = 0; c < 3; ++c) {
        const double wave = 110 + 60 * std::sin(x * 0.05 + c) + 50 * std::cos(y * 0.04 - c);
        pixels.row(y)[x * 3 + c] = static_cast<std::uint8_t>(wave + (noise >> 24) % 12);
      }
    }
  }
  return pixels;
}

void storeAs(ImageJob& job, ImageCoding coding, Bytes data) {
  job.source.coding = coding;
  job.source.storedBytes = data.size();
  job.source.data = std::move(data);
}

Bytes jpegOf(const Pixels& pixels, int quality) {
  JpegOptions options;
  options.quality = quality;
  Result<EncodedImage> image = encodeJpeg(pixels, options);
  EXPECT_TRUE(image.ok());
  return image.ok() ? std::move(image->data) : Bytes();
}

Settings lossy(std::uint32_t continuous) {
  Settings settings;
  settings.imageQuality = 70;
  settings.continuousCodecs = continuous;
  return settings;
}

std::string filterOf(const ImageJob& job, const Settings& settings) {
  const std::optional<RecodedImage> result = recodeImage(job, settings);
  return result ? result->image.filter : "";
}

TEST(CodecRules, TakeJpegOnlyWhereItIsAllowed) {
  const ImageJob job = jobOf(photo(), 100);
  EXPECT_EQ(filterOf(job, lossy(kJpeg)), "DCTDecode");
  EXPECT_EQ(filterOf(job, lossy(kFlate)), "FlateDecode");
  EXPECT_EQ(filterOf(job, lossy(kAutomatic)), "FlateDecode");
  EXPECT_EQ(filterOf(job, lossy(0)), "");
}

TEST(CodecRules, TakeJpeg2000OnlyWhereItIsAllowed) {
  const ImageJob job = jobOf(photo(), 100);
  EXPECT_EQ(filterOf(job, lossy(kJpx)), "JPXDecode");
  Settings old = lossy(kJpx | kJpeg);
  old.onlyPdf14 = true;
  EXPECT_EQ(filterOf(job, old), "DCTDecode");
  old.continuousCodecs = kJpx | kFlate;
  EXPECT_EQ(filterOf(job, old), "FlateDecode");
}

// Every pixel of such an image is as large as a letter: what would pass on paper shows.
TEST(PerceptualQuality, HoldsEnlargedImagesHigher) {
  const Settings settings = webSettings();
  const Pixels pixels = areaAverage(photo(640, 480), 320, 240);  // with less grain than would be kept as it is
  const auto normal = recodeImage(jobOf(pixels, 100), settings);
  const auto enlarged = recodeImage(jobOf(pixels, 12), settings);
  ASSERT_TRUE(normal && enlarged);
  EXPECT_GT(enlarged->image.data.size(), normal->image.data.size());
}

TEST(CodecRules, TakeLosslessJpeg2000ForPhotographs) {
  const Pixels pixels = photo();
  Settings settings = lossy(kJpx | kAutomatic);
  settings.imageQuality = 100;
  EXPECT_NE(filterOf(jobOf(pixels, 100), settings), "JPXDecode");
  settings.reduceColorComplexity = true;
  const std::optional<RecodedImage> result = recodeImage(jobOf(pixels, 100), settings);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->image.filter, "JPXDecode");
  ImageJob again = jobOf(pixels, 100);
  storeAs(again, ImageCoding::jpx, result->image.data);
  const Result<Pixels> decoded = decodeImage(again.source);
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(decoded->samples(), pixels.samples());
}

TEST(CodecRules, CodeBitonalImagesAsTheirMaskSays) {
  Pixels bitonal(400, 300, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < 300; ++y) {
    for (std::uint32_t x = 0; x < 400; ++x) bitonal.setBit(x, y, (x * x + y * y) / 900 % 2 != 0);
  }
  const ImageJob job = jobOf(bitonal, 100);
  Settings settings;
  settings.bitonalCodecs = kFlate;
  EXPECT_EQ(filterOf(job, settings), "FlateDecode");
  settings.bitonalCodecs = kBitonal;
  const std::string filter = filterOf(job, settings);
  EXPECT_TRUE(filter == "JBIG2Decode" || filter == "CCITTFaxDecode") << filter;
}

TEST(ForceCompressionTypes, LeavesNoOtherCodec) {
  // A JPEG so small that nothing beats it.
  const Pixels pixels = photo();
  ImageJob job = jobOf(pixels, 100);
  storeAs(job, ImageCoding::jpeg, jpegOf(pixels, 20));
  Settings settings = lossy(kFlate);
  EXPECT_EQ(filterOf(job, settings), "");
  settings.forceCompressionTypes = true;
  EXPECT_EQ(filterOf(job, settings), "FlateDecode");
  settings.imageQuality = 100;
  EXPECT_EQ(filterOf(job, settings), "FlateDecode");
  // Its own codec may stay, by name or because automatic keeps the present one.
  for (std::uint32_t mask : {kFlate | kJpeg, kFlate | kAutomatic}) {
    settings.continuousCodecs = mask;
    EXPECT_NE(filterOf(job, settings), "FlateDecode") << mask;
  }
  // No codec that could be written: nothing is forced.
  settings.continuousCodecs = codecBit(Codec::lzw);
  EXPECT_EQ(filterOf(job, settings), "");
}

TEST(ForceCompressionTypes, MakesToneBitonalWhereNothingElseIsLeft) {
  const ImageJob job = jobOf(photo(), 100);
  Settings settings = lossy(kBitonal);
  EXPECT_EQ(filterOf(job, settings), "");
  settings.forceCompressionTypes = true;
  std::vector<std::size_t> sizes;
  for (int mode : {0, 1, 2}) {
    settings.ditheringMode = mode;
    const std::optional<RecodedImage> result = recodeImage(job, settings);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->image.bitsPerComponent, 1u);
    EXPECT_EQ(result->image.kind, ColorKind::grey);
    sizes.push_back(result->image.data.size());
  }
  // Threshold, diffused and ordered dots are three different pictures, of rising and falling size.
  EXPECT_LT(sizes[0], sizes[2]);
  EXPECT_LT(sizes[2], sizes[1]);
  // What may not lose anything does not become bitonal.
  settings.imageQuality = 100;
  EXPECT_EQ(filterOf(job, settings), "");
}

TEST(ForceRecompression, CodesAnewWhatIsSmallEnough) {
  const Pixels pixels = photo();
  ImageJob job = jobOf(pixels, 100);
  const Bytes small = jpegOf(pixels, 30);
  storeAs(job, ImageCoding::jpeg, small);
  Settings settings = lossy(kJpeg | kAutomatic);
  settings.imageQuality = 40;
  const std::optional<RecodedImage> kept = recodeImage(job, settings);
  EXPECT_TRUE(!kept || kept->sameSamples);
  settings.imageQuality = 70;
  settings.forceRecompression = true;
  const std::optional<RecodedImage> result = recodeImage(job, settings);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result->image.filter, "DCTDecode");
  EXPECT_FALSE(result->sameSamples);
  const Result<JpegInfo> info = readJpegInfo(result->image.data);
  ASSERT_TRUE(info.ok());
  EXPECT_GT(info->quality, 45);  // that of the settings, not that of the source
}

TEST(ForceRecompression, LosesNothingAtQuality100) {
  const Pixels pixels = photo();
  ImageJob job = jobOf(pixels, 100);
  storeAs(job, ImageCoding::jpeg, jpegOf(pixels, 30));
  Settings settings;
  settings.forceRecompression = true;
  const std::optional<RecodedImage> result = recodeImage(job, settings);
  EXPECT_TRUE(!result || result->sameSamples);
}

TEST(ReduceColorComplexity, TakesEightOfSixteenBits) {
  Pixels high(64, 64, 1, ColorKind::grey);
  ImageJob job = jobOf(high, 100);
  job.source.bits = 16;
  Bytes data(64 * 64 * 2);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 2654435761u >> 11);
  storeAs(job, ImageCoding::raw, data);
  Settings settings;
  const std::optional<RecodedImage> same = recodeImage(job, settings);
  EXPECT_TRUE(!same || same->image.bitsPerComponent == 16);
  settings.reduceColorComplexity = true;
  const std::optional<RecodedImage> reduced = recodeImage(job, settings);
  ASSERT_TRUE(reduced.has_value());
  EXPECT_EQ(reduced->image.bitsPerComponent, 8u);
}

TEST(ReduceColorComplexity, MakesTwoLevelsBitonal) {
  for (unsigned channels : {1u, 3u}) {
    Pixels pixels(200, 150, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
    for (std::size_t i = 0; i < pixels.samples().size(); ++i) {
      const std::size_t at = i / channels, x = at % 200, y = at / 200;
      pixels.samples()[i] = (x * x + y * y) / 500 % 2 != 0 ? 255 : 0;
    }
    Settings settings;
    settings.reduceColorComplexity = true;
    const std::optional<RecodedImage> result = recodeImage(jobOf(pixels, 100), settings);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->image.bitsPerComponent, 1u);
    EXPECT_EQ(result->image.kind, ColorKind::grey);
    // So does a soft mask.
    if (channels != 1) continue;
    ImageJob mask = jobOf(pixels, 100);
    mask.role = ImageRole::softMask;
    const std::optional<RecodedImage> softMask = recodeImage(mask, settings);
    ASSERT_TRUE(softMask.has_value());
    EXPECT_EQ(softMask->image.bitsPerComponent, 1u);
  }
}

TEST(ReduceColorComplexity, TakesThePaletteOfTheFewestBits) {
  for (const auto& [colors, bits] : {std::pair{2u, 1u}, {4u, 2u}, {16u, 4u}, {200u, 8u}}) {
    Pixels pixels(128, 128, 3, ColorKind::rgb);
    for (std::uint32_t i = 0; i < 128 * 128; ++i) {
      const std::uint32_t color = (i * 2654435761u >> 8) % colors;
      pixels.samples()[3 * i] = static_cast<std::uint8_t>(color);
      pixels.samples()[3 * i + 1] = static_cast<std::uint8_t>(color * 7);
      pixels.samples()[3 * i + 2] = static_cast<std::uint8_t>(200 - color);
    }
    Settings settings;
    settings.reduceColorComplexity = true;
    const std::optional<RecodedImage> result = recodeImage(jobOf(pixels, 100), settings);
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->image.kind, ColorKind::indexed);
    EXPECT_EQ(result->image.bitsPerComponent, bits);
    EXPECT_EQ(result->image.palette.size(), colors * 3);
  }
}

}  // namespace
}  // namespace optimizer
