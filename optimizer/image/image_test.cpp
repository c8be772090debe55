#include <gtest/gtest.h>

#include <cmath>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/jbig2_decoder.h"
#include "optimizer/image/candidates.h"
#include "optimizer/image/classify.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/quantize.h"
#include "optimizer/image/recode.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/score.h"
#include "optimizer/testing/image_job.h"

namespace optimizer {
namespace {

using testing::jobOf;

// A deterministic stand-in for noise.
std::uint32_t noise(std::uint32_t x, std::uint32_t y) {
  std::uint32_t n = x * 374761393u + y * 668265263u;
  n = (n ^ (n >> 13)) * 1274126177u;
  return n ^ (n >> 16);
}

Pixels photo(std::uint32_t width, std::uint32_t height, unsigned channels = 3) {
  Pixels pixels(width, height, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      for (unsigned c = 0; c < channels; ++c) {
        const double wave = 110 + 60 * std::sin(x * 0.05 + c) + 50 * std::cos(y * 0.04 - c);
        pixels.row(y)[x * channels + c] = static_cast<std::uint8_t>(wave + noise(x, y) % 12);
      }
    }
  }
  return pixels;
}

Pixels bars(std::uint32_t width, std::uint32_t height) {
  Pixels pixels(width, height, 3, ColorKind::rgb);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t bar = x * 5 / width;
      pixels.row(y)[x * 3] = static_cast<std::uint8_t>(bar * 50);
      pixels.row(y)[x * 3 + 1] = static_cast<std::uint8_t>(255 - bar * 40);
      pixels.row(y)[x * 3 + 2] = static_cast<std::uint8_t>(y * 4 / height * 60);
    }
  }
  return pixels;
}

TEST(Resample, KeepsFlatColoursExactly) {
  Pixels pixels(90, 70, 3, ColorKind::rgb);
  for (std::size_t i = 0; i < pixels.samples().size(); ++i)
    pixels.samples()[i] = static_cast<std::uint8_t>(i % 3 * 100);
  for (std::uint32_t side : {1u, 13u, 45u, 69u}) {
    for (const Pixels& smaller :
         {resample(pixels, side, side), areaAverage(pixels, side, side), blockAverage(pixels, side, side)}) {
      ASSERT_EQ(smaller.width(), side);
      for (std::size_t i = 0; i < smaller.samples().size(); ++i)
        ASSERT_EQ(smaller.samples()[i], i % 3 * 100) << side;
    }
  }
}

TEST(Resample, KeepsTheMean) {
  const Pixels pixels = photo(200, 160, 1);
  const auto mean = [](const Pixels& of) {
    double sum = 0;
    for (std::uint8_t sample : of.samples()) sum += sample;
    return sum / static_cast<double>(of.samples().size());
  };
  EXPECT_NEAR(mean(resample(pixels, 87, 61)), mean(pixels), 1);
  EXPECT_NEAR(mean(resample(pixels, 20, 16)), mean(pixels), 1.5);
}

TEST(Resample, NeverEnlarges) { EXPECT_EQ(resample(photo(20, 10), 400, 300).width(), 20u); }

TEST(Resample, LeavesWhatIsTransparentOutOfWhatIsSeen) {
  // White where it shows, black where it does not: the edge must not become dark.
  Pixels pixels(64, 64, 1, ColorKind::grey), alpha(64, 64, 1, ColorKind::grey);
  for (std::uint32_t y = 0; y < 64; ++y) {
    for (std::uint32_t x = 0; x < 33; ++x) pixels.row(y)[x] = alpha.row(y)[x] = 255;
  }
  const Pixels smaller = resampleUnderMask(pixels, alpha, 32, 32);
  for (std::uint32_t x = 0; x < 17; ++x) EXPECT_GE(smaller.row(16)[x], 250) << x;
}

TEST(Look, IsPerfectForTheSamePicture) {
  const Pixels pixels = photo(120, 90);
  const Look look = LookReference(pixels, 80, 60).compare(pixels);
  EXPECT_DOUBLE_EQ(look.structure, 1);
  EXPECT_DOUBLE_EQ(look.busy, 1);
  EXPECT_DOUBLE_EQ(look.chroma, 0);
}

TEST(Look, FallsWithTheHarm) {
  const Pixels pixels = photo(160, 120);
  double before = 1.01;
  for (std::uint32_t harm : {1u, 20u, 60u}) {
    Pixels worse = pixels;
    for (std::size_t i = 0; i < worse.samples().size(); ++i) {
      worse.samples()[i] =
          static_cast<std::uint8_t>(std::min<std::uint32_t>(255, worse.samples()[i] + noise(7, i) % harm));
    }
    const double structure = LookReference(pixels, 160, 120).compare(worse).structure;
    EXPECT_LT(structure, before);
    before = structure;
  }
  EXPECT_LT(before, 0.8);
}

TEST(Look, SeesLostColoursAndLocalDamage) {
  const Pixels pixels = photo(200, 200);
  const LookReference reference(pixels, 200, 200);
  EXPECT_GT(reference.compare(lumaOf(pixels)).chroma, 4);
  Pixels damaged = pixels;
  for (std::uint32_t y = 60; y < 90; ++y)
    std::fill(damaged.row(y) + 180, damaged.row(y) + 270, std::uint8_t{0});
  const Look look = reference.compare(damaged);
  EXPECT_GT(look.structure, 0.9);
  EXPECT_LT(look.worst, 0.5);
}

TEST(Classes, AreMeasuredOnPixels) {
  EXPECT_EQ(measureImage(photo(100, 100)).kind, ImageClass::continuous);
  EXPECT_EQ(measureImage(bars(100, 100)).kind, ImageClass::synthetic);
  Pixels levels(50, 50, 1, ColorKind::grey);
  for (std::size_t i = 0; i < levels.samples().size(); i += 3) levels.samples()[i] = 255;
  EXPECT_EQ(measureImage(levels).kind, ImageClass::bitonal);
  EXPECT_EQ(measureImage(bars(100, 100)).colors, 20u);
  EXPECT_FALSE(measureImage(bars(100, 100)).grey);
  EXPECT_FALSE(measureImage(photo(100, 100)).palette.has_value());
}

TEST(Chroma, SurvivesHalvingInPhotographsAndNotInColouredLetters) {
  EXPECT_TRUE(chromaSurvivesHalving(photo(200, 160)));
  EXPECT_TRUE(chromaSurvivesHalving(photo(200, 160, 1)));
  // Strokes of magenta on cyan, two pixels wide, of nearly the same brightness.
  Pixels letters = photo(200, 160);
  for (std::uint32_t y = 40; y < 60; ++y) {
    for (std::uint32_t x = 40; x < 90; ++x) {
      std::uint8_t* sample = letters.row(y) + x * 3;
      const bool stroke = x % 5 < 2;
      sample[0] = stroke ? 255 : 0;
      sample[1] = stroke ? 60 : 200;
      sample[2] = 200;
    }
  }
  EXPECT_FALSE(chromaSurvivesHalving(letters));
}

TEST(Palette, HoldsEveryPixel) {
  const Pixels pixels = bars(77, 31);
  const ImageFacts facts = measureImage(pixels);
  ImageColorSpace space;
  space.baseKind = ColorKind::rgb;
  space.baseComponents = 3;
  space.palette = sortedPalette(*facts.palette, 3);
  EXPECT_EQ(applyPalette(indexByPalette(pixels, space.palette), space), pixels);
}

TEST(Palette, QuantizesToTheColoursAskedFor) {
  const Pixels pixels = photo(90, 60);
  for (std::size_t colors : {2u, 16u, 256u}) {
    const QuantizedImage quantized = Quantizer(pixels).reduceTo(colors);
    EXPECT_LE(quantized.palette.size(), colors * 3);
    for (std::uint8_t index : quantized.indexes.samples()) ASSERT_LT(index, quantized.palette.size() / 3);
  }
  EXPECT_EQ(Quantizer(bars(80, 80)).reduceTo(256).palette.size(), measureImage(bars(80, 80)).palette->size());
}

TEST(Levels, FitTheFewestBits) {
  EXPECT_EQ(bitsForLevels({0, 255}), 1u);
  EXPECT_EQ(bitsForLevels({0, 85, 255}), 2u);
  EXPECT_EQ(bitsForLevels({17, 255}), 4u);
  EXPECT_EQ(bitsForLevels({1}), 8u);
}

TEST(Recode, MakesAPhotographSmallAndKeepsItsLook) {
  const Pixels pixels = photo(600, 400);
  const std::optional<RecodedImage> image = recodeImage(jobOf(pixels, 300), webSettings());
  ASSERT_TRUE(image.has_value());
  EXPECT_EQ(image->image.filter, "DCTDecode");
  EXPECT_LE(image->image.width, 400u);
  EXPECT_LT(image->image.cost(), pixels.samples().size() / 10);
}

TEST(Recode, LosesNothingWhereNothingMayBeLost) {
  Settings lossless;
  lossless.reduceColorComplexity = true;
  for (const Pixels& pixels : {photo(120, 80), bars(120, 80), photo(50, 60, 1)}) {
    const std::optional<RecodedImage> image = recodeImage(jobOf(pixels, 600), lossless);
    ASSERT_TRUE(image.has_value());
    EXPECT_TRUE(image->image.lossless);
    EXPECT_EQ(image->image.width, pixels.width());
  }
}

TEST(Recode, KeepsTheSenseOfStoredSamplesWhereNoPixelMayMove) {
  Settings lossless;
  Pixels stored(203, 150, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < 150; ++y) {
    for (std::uint32_t x = 0; x < 203; ++x) stored.setBit(x, y, (x * x + y * y) / 500 % 2 != 0);
  }
  ImageJob job = jobOf(stored, 100);
  job.source.decode = {1, 0};
  std::optional<RecodedImage> image = recodeImage(job, lossless);
  ASSERT_TRUE(image.has_value());
  EXPECT_TRUE(image->sameSamples);
  ASSERT_EQ(image->image.filter, "JBIG2Decode");
  const Result<Bitonal> shown = decodeJbig2(image->image.data, {}, stored.samples().size() * 8);
  ASSERT_TRUE(shown.ok());
  EXPECT_EQ(pixelsOf(*shown), stored);
  // With loss allowed the shorter dictionary wins.
  lossless.imageQuality = 75;
  image = recodeImage(job, lossless);
  ASSERT_TRUE(image.has_value());
  EXPECT_FALSE(image->sameSamples);

  job = jobOf(photo(120, 80, 1), 100);
  job.source.decode = {1, 0};
  // Where colours may be stored more simply as well.
  for (const bool reduce : {false, true}) {
    Settings settings;
    settings.reduceColorComplexity = reduce;
    image = recodeImage(job, settings);
    ASSERT_TRUE(image.has_value());
    EXPECT_TRUE(image->sameSamples) << reduce;
  }
}

// Thin strokes that bend, as those of small letters do.
Pixels strokes(std::uint32_t width, std::uint32_t height) {
  Pixels pixels(width, height, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double wave = std::sin(x * 0.21 + 3 * std::sin(y * 0.17) + noise(x / 60, y / 30) % 6);
      pixels.setBit(x, y, y % 30 > 20 || std::abs(wave) > 0.2);
    }
  }
  return pixels;
}

Settings numbered(int quality, float resolution) {
  Settings settings = webSettings();
  settings.perceptualQuality = false;
  settings.imageQuality = quality;
  settings.bitonal = settings.monochrome = settings.color = {resolution, resolution};
  return settings;
}

TEST(Recode, HoldsNumbersFrom50ToTheLook) {
  const ImageJob page = jobOf(strokes(1240, 900), 300);
  const auto widthOf = [&page](const Settings& settings) {
    const std::optional<RecodedImage> image = recodeImage(page, settings);
    return image ? image->image.width : page.source.width;
  };
  EXPECT_EQ(widthOf(numbered(60, 150)), 1240u);
  EXPECT_EQ(widthOf(numbered(40, 150)), 620u);
  EXPECT_EQ(widthOf(numbered(60, 72)), 298u);  // coarser than screens show, and so meant

  const ImageJob picture = jobOf(photo(600, 450), 150);
  const auto bytesOf = [&picture](const Settings& settings) {
    const std::optional<RecodedImage> image = recodeImage(picture, settings);
    return image ? image->image.cost() : picture.source.storedBytes;
  };
  EXPECT_LE(bytesOf(numbered(60, 150)), bytesOf(webSettings()));
  EXPECT_LT(bytesOf(numbered(75, 150)), bytesOf(numbered(90, 150)));
  EXPECT_LT(bytesOf(numbered(90, 150)), bytesOf(numbered(97, 150)));
}

// What a slight reduction blurs may take more bytes; what a strong one leaves takes fewer.
TEST(Recode, ReducesSlightlyOnlyWhereThatTakesFewerBytes) {
  const auto recoded = [](const ImageJob& job, const Settings& settings) { return *recodeImage(job, settings); };
  const Pixels fine = resample(expandTo8Bits(strokes(1800, 1400)), 900, 700);
  const ImageJob slight = jobOf(fine, 180), strong = jobOf(fine, 300);
  EXPECT_LE(recoded(slight, numbered(60, 150)).image.cost(), recoded(slight, webSettings()).image.cost());
  EXPECT_EQ(recoded(slight, numbered(60, 150)).image.width, 900u);
  EXPECT_EQ(recoded(strong, numbered(60, 150)).image.width, 450u);
  EXPECT_EQ(recoded(jobOf(photo(900, 700), 180), numbered(60, 150)).image.width, 750u);
}

TEST(Recode, LeavesImagesOfUnknownUseAtTheirSize) {
  const std::optional<RecodedImage> image = [] {
    ImageJob job = jobOf(bars(400, 300), 0);
    job.losslessOnly = true;
    return recodeImage(job, webSettings());
  }();
  ASSERT_TRUE(image.has_value());
  EXPECT_EQ(image->image.width, 400u);
  EXPECT_TRUE(image->image.lossless);
}

TEST(Recode, TurnsGreyRgbIntoGrey) {
  Pixels pixels(200, 150, 3, ColorKind::rgb);
  for (std::uint32_t y = 0; y < 150; ++y) {
    for (std::uint32_t x = 0; x < 600; ++x) pixels.row(y)[x] = static_cast<std::uint8_t>(noise(x / 3, y));
  }
  Settings settings;
  settings.reduceColorComplexity = true;
  const std::optional<RecodedImage> image = recodeImage(jobOf(pixels, 100), settings);
  ASSERT_TRUE(image.has_value());
  EXPECT_EQ(image->image.kind, ColorKind::grey);
}

TEST(Recode, DropsAMaskThatHidesNothing) {
  Pixels pixels(40, 40, 1, ColorKind::grey);
  std::fill(pixels.samples().begin(), pixels.samples().end(), std::uint8_t{255});
  ImageJob job = jobOf(pixels, 100);
  job.role = ImageRole::softMask;
  const std::optional<RecodedImage> image = recodeImage(job, webSettings());
  ASSERT_TRUE(image.has_value());
  EXPECT_TRUE(image->opaqueMask);
}

TEST(Recode, SpendsNothingOnWhatItsMaskHides) {
  // A red disc; around it noise that no one sees.
  Pixels pixels(200, 200, 3, ColorKind::rgb), alpha(200, 200, 1, ColorKind::grey);
  for (std::uint32_t y = 0; y < 200; ++y) {
    for (std::uint32_t x = 0; x < 200; ++x) {
      const int dx = static_cast<int>(x) - 100, dy = static_cast<int>(y) - 100;
      const bool seen = dx * dx + dy * dy < 80 * 80;
      alpha.row(y)[x] = seen ? 255 : 0;
      for (unsigned c = 0; c < 3; ++c) {
        const std::uint32_t hidden = noise(x * 3 + c, y);
        pixels.row(y)[x * 3 + c] = static_cast<std::uint8_t>(seen ? (c == 0 ? 200 : 20) : hidden);
      }
    }
  }
  ImageJob job = jobOf(pixels, 100);
  job.softMask = jobOf(alpha, 100).source;
  const std::optional<RecodedImage> image = recodeImage(job, webSettings());
  ASSERT_TRUE(image.has_value());
  EXPECT_LT(image->image.cost(), 400u);
}

TEST(Recode, KeepsWhatIsDrawnInFewColoursSharpWhenItIsReduced) {
  const std::optional<RecodedImage> image = recodeImage(jobOf(bars(1200, 900), 300), webSettings());
  ASSERT_TRUE(image.has_value());
  EXPECT_EQ(image->image.filter, "FlateDecode");
  EXPECT_EQ(image->image.kind, ColorKind::indexed);
}

TEST(Recode, LeavesAMaskAloneThatIsNoStencil) {
  ImageJob job = jobOf(photo(100, 100), 300);
  job.role = ImageRole::stencil;
  EXPECT_FALSE(recodeImage(job, webSettings()).has_value());
}

TEST(Recode, LeavesDamagedDataAlone) {
  ImageJob job = jobOf(photo(100, 100), 300);
  job.source.data.resize(500);
  EXPECT_FALSE(recodeImage(job, webSettings()).has_value());
  job.source.coding = ImageCoding::jpeg;
  EXPECT_FALSE(recodeImage(job, webSettings()).has_value());
}

}  // namespace
}  // namespace optimizer
