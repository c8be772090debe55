#include "optimizer/codec/jpx_coding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "optimizer/codec/jpx.h"
#include "optimizer/codec/jpx_wavelet.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

// Smooth colours, edges and grain, different in every channel.
Pixels picture(std::uint32_t width, std::uint32_t height, unsigned channels, unsigned seed = 1) {
  std::mt19937 random(seed);
  Pixels pixels(width, height, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double wave = 60 * std::sin(x * 0.03 + y * 0.01) + 30 * std::sin(x * y * 0.0004);
      const bool inside = (x / 90 + y / 70) % 3 == 0;
      for (unsigned c = 0; c < channels; ++c) {
        const double value = 110 + wave * (c + 1) / 2 + (inside ? 50 : 0) + static_cast<double>(random() % 9);
        pixels.row(y)[x * channels + c] = static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
      }
    }
  }
  return pixels;
}

int largestDifference(const Pixels& a, const Pixels& b) {
  int largest = 0;
  for (std::size_t i = 0; i < a.samples().size(); ++i)
    largest = std::max(largest, std::abs(int{a.samples()[i]} - int{b.samples()[i]}));
  return largest;
}

double squaredError(const Pixels& a, const Pixels& b) {
  double sum = 0;
  for (std::size_t i = 0; i < a.samples().size(); ++i) {
    const double difference = double(a.samples()[i]) - double(b.samples()[i]);
    sum += difference * difference;
  }
  return sum / static_cast<double>(a.samples().size());
}
double signalToNoise(const Pixels& a, const Pixels& b) {
  return 10 * std::log10(255 * 255 / squaredError(a, b));
}

struct Size {
  std::uint32_t width, height;
};
constexpr Size sizes[] = {{1, 1},    {2, 1},    {1, 2},    {1, 300},  {300, 1}, {17, 3},
                          {3, 17},   {16, 16},  {64, 64},  {65, 129}, {33, 33}, {128, 65},
                          {257, 63}, {4097, 5}, {5, 4097}, {640, 400}};

TEST(JpxWavelet, GivesBackWhatItTook) {
  for (const Size& size : sizes) {
    std::vector<jpx::Samples> components = jpx::componentsOf(picture(size.width, size.height, 1));
    const jpx::Samples before = components[0];
    for (unsigned levels = 0; levels <= 5; ++levels) {
      jpx::transform(components[0], levels);
      jpx::transformBack(components[0], levels);
      for (std::size_t i = 0; i < before.values.size(); ++i)
        ASSERT_NEAR(components[0].values[i], before.values[i], 0.01) << size.width << " x " << size.height;
    }
  }
}

TEST(JpxWavelet, KeepsAFlatPictureInItsLowestBand) {
  jpx::Samples flat{80, 48, std::vector<float>(80 * 48, 50.0f)};
  jpx::transform(flat, 3);
  for (std::uint32_t y = 0; y < 48; ++y)
    for (std::uint32_t x = 0; x < 80; ++x) ASSERT_NEAR(flat.row(y)[x], x < 10 && y < 6 ? 50 : 0, 0.001);
}

TEST(JpxWavelet, NormsAreThoseOfThePictureThatACoefficientMakes) {
  EXPECT_EQ(jpx::bandNorm(0, false, false), 1);
  for (unsigned level = 1; level <= 3; ++level) {
    for (int band = 0; band < 4; ++band) {
      const bool across = (band & 1) != 0, down = (band & 2) != 0;
      jpx::Samples one{256, 256, std::vector<float>(256 * 256)};
      const std::uint32_t side = 256u >> level;
      one.row((down ? side : 0) + side / 2)[(across ? side : 0) + side / 2] = 1;
      jpx::transformBack(one, level);
      double sum = 0;
      for (float value : one.values) sum += double{value} * value;
      EXPECT_NEAR(std::sqrt(sum), jpx::bandNorm(level, across, down), 0.01);
    }
  }
}

// Shapes, sizes and numbers of bytes, from next to nothing to all there is.
TEST(JpxCoding, ShowsWhatADecoderShows) {
  for (unsigned channels : {1u, 3u}) {
    for (const Size& size : sizes) {
      const Pixels pixels = picture(size.width, size.height, channels);
      const std::size_t most = 400 + pixels.samples().size() / 4;
      Result<JpxCoding> coding = JpxCoding::begin(pixels, most);
      ASSERT_TRUE(coding.ok());
      for (std::size_t bytes : {std::size_t{0}, std::size_t{230}, most / 9, most / 3, most}) {
        const jpx::Cuts cuts = coding->cutTo(bytes);
        const EncodedImage image = coding->encoded(cuts);
        EXPECT_LE(image.data.size(), std::max<std::size_t>(bytes, 250));
        const Result<Pixels> decoded = decodeJpx(image.data);
        ASSERT_TRUE(decoded.ok()) << size.width << " x " << size.height << " in " << bytes;
        EXPECT_LE(largestDifference(*decoded, coding->shown(cuts)), 1)
            << size.width << " x " << size.height << " x " << channels << " in " << bytes;
      }
    }
  }
}

TEST(JpxCoding, ShowsAtHalfTheSizeWhatADecoderShows) {
  for (const unsigned channels : {1u, 3u})
    for (const auto& [width, height] : {std::pair{640u, 480u}, {641u, 399u}, {9u, 700u}, {1200u, 16u}}) {
      const Pixels pixels = picture(width, height, channels);
      Result<JpxCoding> coding = JpxCoding::begin(pixels, 20000);
      ASSERT_TRUE(coding);
      for (const std::size_t bytes : {20000u, 3000u, 600u}) {
        const jpx::Cuts cuts = coding->cutTo(bytes);
        const Result<Pixels> decoded = decodeJpx(coding->encoded(cuts).data, 1);
        ASSERT_TRUE(decoded) << width << ' ' << height;
        const Pixels halved = coding->shownHalved(cuts);
        ASSERT_EQ(decoded->width(), halved.width());
        ASSERT_EQ(decoded->height(), halved.height());
        EXPECT_LE(largestDifference(*decoded, halved), 1) << width << ' ' << height << ' ' << bytes;
      }
    }
}

TEST(JpxCoding, KeepsToEverySizeAskedForAndComesClose) {
  for (unsigned channels : {1u, 3u}) {
    const Pixels pixels = picture(700, 500, channels);
    Result<JpxCoding> coding = JpxCoding::begin(pixels, 60000);
    ASSERT_TRUE(coding.ok());
    for (std::size_t bytes = 1000; bytes <= 60000; bytes += bytes / 3) {
      const std::size_t size = coding->encoded(coding->cutTo(bytes)).data.size();
      EXPECT_LE(size, bytes);
      EXPECT_GE(size, bytes * 95 / 100) << channels;  // a pass of one block may be a few percent
    }
  }
}

TEST(JpxCoding, ShowsLessTheMoreIsCutAway) {
  const Pixels pixels = picture(400, 300, 3);
  Result<JpxCoding> coding = JpxCoding::begin(pixels, 20000);
  ASSERT_TRUE(coding.ok());
  double before = 0;
  for (std::size_t bytes : {20000u, 10000u, 5000u, 2000u, 500u}) {
    const double error = squaredError(pixels, coding->shown(coding->cutTo(bytes)));
    EXPECT_GT(error, before);
    before = error;
  }
}

TEST(JpxCoding, SpendsOnLumaAndColoursWhatTheirSlopesSay) {
  const Pixels pixels = picture(400, 300, 3);
  Result<JpxCoding> coding = JpxCoding::begin(pixels, 20000);
  ASSERT_TRUE(coding.ok());
  const jpx::Slopes both = coding->slopesFor(20000);
  const jpx::Cuts all = coding->cutAt(both), fewerColors = coding->cutAt({both.luma, 10 * both.chroma}),
                  lessLuma = coding->cutAt({1000 * both.luma, both.chroma});
  const auto lumaError = [&](const jpx::Cuts& cuts) {
    return squaredError(lumaOf(pixels), lumaOf(coding->shown(cuts)));
  };
  EXPECT_EQ(coding->sizeOf(all), coding->encoded(all).data.size());
  EXPECT_LT(coding->sizeOf(fewerColors), coding->sizeOf(all));
  EXPECT_LT(coding->sizeOf(lessLuma), coding->sizeOf(all));
  EXPECT_NEAR(lumaError(fewerColors), lumaError(all), 0.1 * lumaError(all));
  EXPECT_GT(lumaError(lessLuma), 2 * lumaError(all));
}

// It does not aim at the least squared error, but at structure.
TEST(JpxCoding, LosesNoMoreThanTheReferenceEncoderInAsManyBytes) {
  constexpr double margin = 1, alike = 0.002;  // dB; of the structure
  for (unsigned channels : {1u, 3u}) {
    const Pixels pixels = picture(700, 500, channels, 7);
    const LookReference reference(pixels, pixels.width(), pixels.height());
    for (std::size_t bytes : {4000u, 12000u, 40000u}) {
      const Result<EncodedImage> theirs = encodeJpx(pixels, bytes);
      ASSERT_TRUE(theirs.ok());
      Result<JpxCoding> coding = JpxCoding::begin(pixels, bytes);
      ASSERT_TRUE(coding.ok());
      const Pixels shown = *decodeJpx(theirs->data),
                   ours = *decodeJpx(coding->encoded(coding->cutTo(theirs->data.size())).data);
      EXPECT_GE(reference.compare(ours).structure, reference.compare(shown).structure - alike)
          << channels << " in " << bytes;
      EXPECT_GE(signalToNoise(lumaOf(pixels), lumaOf(ours)),
                signalToNoise(lumaOf(pixels), lumaOf(shown)) - margin)
          << channels << " in " << bytes;
    }
  }
}

TEST(JpxCoding, GivesTheSameBytesAgain) {
  const Pixels pixels = picture(300, 200, 3);
  Bytes before;
  for (int i = 0; i < 2; ++i) {
    Result<JpxCoding> coding = JpxCoding::begin(pixels, 9000);
    ASSERT_TRUE(coding.ok());
    if (i == 1) coding->cutTo(3000);
    const Bytes data = coding->encoded(coding->cutTo(8000)).data;
    EXPECT_TRUE(i == 0 || data == before);
    before = data;
  }
}

TEST(JpxCoding, RefusesWhatItCannotCode) {
  EXPECT_FALSE(JpxCoding::begin(Pixels(8, 8, 4, ColorKind::cmyk), 1000).ok());
  EXPECT_FALSE(JpxCoding::begin(Pixels(8, 8, 1, ColorKind::grey, 1), 1000).ok());
  EXPECT_FALSE(JpxCoding::begin(Pixels(32769, 1, 1, ColorKind::grey), 1000).ok());
  EXPECT_TRUE(JpxCoding::begin(Pixels(32768, 1, 1, ColorKind::grey), 1000).ok());
}

TEST(JpxCoding, CodesExtremesOfAllKinds) {
  for (const bool noise : {false, true}) {
    Pixels pixels(200, 150, 3, ColorKind::rgb);
    std::mt19937 random(3);
    for (std::uint8_t& sample : pixels.samples()) sample = random() % 2 != 0 && noise ? 255 : 0;
    for (std::size_t most : {std::size_t{0}, std::size_t{100}, std::size_t{3000}, std::size_t{10} << 20}) {
      Result<JpxCoding> coding = JpxCoding::begin(pixels, most);
      ASSERT_TRUE(coding.ok());
      const jpx::Cuts cuts = coding->cutTo(most);
      const Result<Pixels> decoded = decodeJpx(coding->encoded(cuts).data);
      ASSERT_TRUE(decoded.ok());
      EXPECT_LE(largestDifference(*decoded, coding->shown(cuts)), 1);
      EXPECT_TRUE(most <= 3000 || largestDifference(*decoded, pixels) <= 2) << noise;
    }
  }
}

}  // namespace
}  // namespace optimizer
