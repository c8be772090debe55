#include "optimizer/image/lossy_jpx.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"

namespace optimizer {
namespace {

// Hills of light and colour under fine grain, with a few edges.
Pixels landscape(std::uint32_t width, std::uint32_t height, unsigned channels) {
  std::mt19937 random(11);
  Pixels pixels(width, height, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double light =
          120 + 50 * std::sin(x * 0.05) * std::cos(y * 0.04) + ((x / 60 + y / 45) % 4 == 0 ? 40 : 0);
      for (unsigned c = 0; c < channels; ++c) {
        const double color = c == 1 ? 0 : 40 * std::sin(x * 0.11 + y * 0.07 * (c + 1));
        const double value = light + (channels > 1 ? color : 0) + static_cast<double>(random() % 7);
        pixels.row(y)[x * channels + c] = static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0));
      }
    }
  }
  return pixels;
}

struct Case {
  LookFloor floor;
  unsigned channels;
};
// Tones change by chance from size to size: they are left out of what is sought.
constexpr double anyTone = 255;
constexpr Case cases[] = {{{0.95, 0.93, 0.6, 3, 0, 0, anyTone}, 1},
                          {{0.95, 0.93, 0.6, 3, 0, 0, anyTone}, 3},
                          {{0.9, 0.9, 0.5, 1.2, 0, 0, anyTone}, 3},
                          {{0.97, 0.95, 0.7, 6, 0, 0, anyTone}, 3}};

TEST(LossyJpx, FindsTheSmallestThatPasses) {
  for (const Case& c : cases) {
    const Pixels pixels = landscape(400, 300, c.channels);
    const LookReference reference(pixels, pixels.width(), pixels.height());
    const LossJudge judge = [&](const Pixels& shown) { return lossOf(reference.compare(shown), c.floor); };
    const std::optional<EncodedImage> found = smallestJpx(pixels, 40000, judge);
    ASSERT_TRUE(found);
    EXPECT_LE(found->data.size(), 40000u);
    EXPECT_TRUE(passes(reference.compare(*decodeJpx(found->data)), c.floor));
    EXPECT_FALSE(smallestJpx(pixels, found->data.size() * 8 / 10, judge)) << found->data.size();
  }
}

TEST(LossyJpx, SpendsOnColoursWhatTheJudgeAsksForThem) {
  const Pixels pixels = landscape(400, 300, 3);
  const LookReference reference(pixels, pixels.width(), pixels.height());
  std::size_t before = 0;
  for (const double chroma : {8.0, 2.0, 1.0}) {
    const LookFloor floor{0.9, 0.9, 0.5, chroma, 0, 0};
    const auto found = smallestJpx(
        pixels, 40000, [&](const Pixels& shown) { return lossOf(reference.compare(shown), floor); });
    ASSERT_TRUE(found) << chroma;
    EXPECT_GT(found->data.size(), before);
    before = found->data.size();
  }
}

TEST(JpegSearch, ForetellsAboutWhatTheJpegTakes) {
  for (const unsigned channels : {1u, 3u}) {
    const Pixels pixels = landscape(600, 400, channels);
    const LookReference reference(pixels, pixels.width(), pixels.height());
    for (const double structure : {0.8, 0.88, 0.94}) {
      const LookTarget target{reference, reference, reference, {structure, 0.8, 0.3, 6, structure, structure}};
      const JpegSearch search(pixels, target, 100, pixels.samples().size());
      ASSERT_TRUE(search.found()) << structure;
      const LookResult jpeg = search.encode();
      ASSERT_TRUE(jpeg.image) << structure;
      EXPECT_GT(static_cast<double>(jpeg.image->data.size()), 0.85 * static_cast<double>(search.leastBytes()));
      EXPECT_LT(static_cast<double>(jpeg.image->data.size()), 1.15 * static_cast<double>(search.mostBytes()));
    }
  }
}

// Paper that gets darker towards a corner, and hardly anything else: structure alone would let it become one tone.
TEST(LossyJpx, KeepsSlowChangesOfLight) {
  Pixels paper(600, 800, 1, ColorKind::grey);
  for (std::uint32_t y = 0; y < paper.height(); ++y)
    for (std::uint32_t x = 0; x < paper.width(); ++x)
      paper.row(y)[x] = static_cast<std::uint8_t>(250 - x / 50 - y / 50);
  const LookReference reference(paper, paper.width(), paper.height());
  Pixels flat = paper;
  std::fill(flat.samples().begin(), flat.samples().end(), std::uint8_t{236});
  const Look look = reference.compare(flat);
  EXPECT_GT(look.structure, 0.98);
  EXPECT_GT(look.tone, 10);
  const LookFloor floor{0.95, 0, 0, 3, 0, 0};
  EXPECT_FALSE(passes(look, floor));
  const auto found =
      smallestJpx(paper, 5000, [&](const Pixels& shown) { return lossOf(reference.compare(shown), floor); });
  ASSERT_TRUE(found);
  EXPECT_LE(reference.compare(*decodeJpx(found->data)).tone, floor.tone);
}

TEST(LossyJpx, GivesNothingWhereNoneIsSmallEnough) {
  const Pixels pixels = landscape(200, 150, 3);
  for (const std::size_t most : {std::size_t{0}, std::size_t{100}, std::size_t{900}}) {
    EXPECT_FALSE(smallestJpx(pixels, most, [](const Pixels&) { return Loss{1.01, 0}; }));
    EXPECT_FALSE(smallestJpx(pixels, most, [](const Pixels&) { return Loss{0, 1.01}; }));
  }
}

TEST(LossyJpx, LosesNothingOfAFlatPicture) {
  for (const unsigned channels : {1u, 3u}) {
    Pixels pixels(300, 200, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
    std::fill(pixels.samples().begin(), pixels.samples().end(), std::uint8_t{128});
    const LookReference reference(pixels, pixels.width(), pixels.height());
    const auto found = smallestJpx(pixels, 5000, [&](const Pixels& shown) {
      return lossOf(reference.compare(shown), {1, 1, 1, 0, 0, 0});
    });
    ASSERT_TRUE(found);
    EXPECT_EQ(*decodeJpx(found->data), pixels);
  }
}

TEST(LossyJpx, LooksNoWorseThanTheJpeg) {
  const Pixels pixels = landscape(400, 300, 3);
  const LookReference reference(pixels, pixels.width(), pixels.height());
  for (const int quality : {30, 70}) {
    const Result<EncodedImage> jpeg = encodeJpeg(pixels, {.quality = quality});
    ASSERT_TRUE(jpeg.ok());
    const auto found = encodeJpxLike(pixels, *jpeg, 2 * jpeg->data.size());
    ASSERT_TRUE(found) << quality;
    const Look least = reference.compare(*decodeJpeg(jpeg->data)),
               look = reference.compare(*decodeJpx(found->data));
    EXPECT_GE(look.structure, least.structure);
    EXPECT_GE(look.busy, least.busy);
    EXPECT_GE(look.worst, least.worst);
    EXPECT_LE(look.chroma, least.chroma);
  }
}

}  // namespace
}  // namespace optimizer
