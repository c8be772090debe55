#include "optimizer/image/mrc_layers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/jbig2_decoder.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/mrc_segment.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

constexpr double dpi = 200;

// Paper that darkens to one side, with a little grain.
Pixels paper(std::uint32_t w, std::uint32_t h, unsigned channels, int light = 235) {
  Pixels page(w, h, channels, channels == 1 ? ColorKind::grey : ColorKind::rgb);
  std::mt19937 random(1);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x) {
      const int grain = static_cast<int>(random() % 5) - 2;
      for (unsigned c = 0; c < channels; ++c)
        page.row(y)[x * channels + c] = static_cast<std::uint8_t>(
            std::clamp(light + grain - static_cast<int>(x * 20 / w + c * 6), 0, 255));
    }
  return page;
}

// Lines of letter-like strokes with soft edges, of a colour for each third line.
void write(Pixels& page, int ink) {
  std::mt19937 random(2);
  const unsigned channels = page.channels();
  int lineNumber = 0;
  for (std::uint32_t line = 40; line + 40 < page.height(); line += 44, ++lineNumber)
    for (std::uint32_t x = 40; x + 40 < page.width(); x += 20) {
      const unsigned shape = random() % 16;
      for (std::uint32_t dy = 0; dy < 26; ++dy)
        for (std::uint32_t dx = 0; dx < 15; ++dx) {
          const bool stroke = (shape & 1 && dx < 4) || (shape & 2 && dy < 4) || (shape & 4 && dy > 21) ||
                              (shape & 8 && (dx + 30 - dy) % 30 < 4);
          const bool edge = (shape & 1 && dx == 4) || (shape & 2 && dy == 4);
          if (!stroke && !edge) continue;
          for (unsigned c = 0; c < channels; ++c) {
            std::uint8_t& s = page.row(line + dy)[(x + dx) * channels + c];
            const int colored = channels == 3 && lineNumber % 3 == 2 && c == 0 ? 170 : ink;
            s = static_cast<std::uint8_t>(stroke ? colored : (s + colored) / 2);
          }
        }
    }
}

Pixels photo(std::uint32_t w, std::uint32_t h) {
  Pixels p(w, h, 1, ColorKind::grey);
  std::mt19937 random(5);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x)
      p.row(y)[x] =
          static_cast<std::uint8_t>(std::clamp(128 + 70 * std::sin(x * 0.02) * std::cos(y * 0.013) +
                                                   40 * std::sin(x * 0.11 + y * 0.07) + random() % 9,
                                               0.0, 255.0));
  return p;
}

Pixels decoded(const EncodedImage& image) {
  const Result<Pixels> pixels = image.filter == "JPXDecode" ? decodeJpx(image.data) : decodeJpeg(image.data);
  EXPECT_TRUE(pixels.ok());
  return *pixels;
}

// What a viewer makes of the layers, at the size of the mask.
Pixels shown(const LayeredImage& layers) {
  const Result<Bitonal> mask = layers.mask.filter == "JBIG2Decode"
                                   ? decodeJbig2(layers.mask.data, {}, 1 << 26)
                                   : decodeCcitt(layers.mask.data,
                                                 {.k = -1,
                                                  .columns = static_cast<int>(layers.mask.width),
                                                  .rows = static_cast<int>(layers.mask.height)},
                                                 1 << 26);
  EXPECT_TRUE(mask.ok());
  const Pixels background = decoded(layers.background), foreground = decoded(layers.foreground);
  const std::uint32_t w = layers.mask.width, h = layers.mask.height;
  Pixels page(w, h, background.channels(), background.kind());
  for (unsigned c = 0; c < page.channels(); ++c) {
    const Plane below = enlarged(channelOf(background, c), w, h),
                above = enlarged(channelOf(foreground, c), w, h);
    Plane both = below;
    for (std::uint32_t y = 0; y < h; ++y)
      for (std::uint32_t x = 0; x < w; ++x)
        if (mask->at(static_cast<int>(x), static_cast<int>(y)))
          both.values[std::size_t{y} * w + x] = above.values[std::size_t{y} * w + x];
    putChannel(both, page, c);
  }
  return page;
}

Look lookOf(const Pixels& page, const LayeredImage& layers) {
  return LookReference(page, page.width() / 2, page.height() / 2).compare(shown(layers));
}

TEST(MrcLayers, TextOnPaperTakesFarFewerBytesAndLooksTheSame) {
  for (unsigned channels : {1u, 3u}) {
    SCOPED_TRACE(channels);
    Pixels page = paper(1200, 1600, channels);
    write(page, 40);
    const Result<EncodedImage> jpeg = encodeJpeg(page, {.quality = 40, .subsampleChroma = true});
    ASSERT_TRUE(jpeg.ok());
    const auto layers = codeInLayers(page, dpi, dpi, webSettings(), jpeg->cost());
    ASSERT_TRUE(layers.has_value());
    EXPECT_LT(layers->cost() * 2, jpeg->cost());
    EXPECT_EQ(layers->mask.bitsPerComponent, 1u);
    const Look look = lookOf(page, *layers);
    EXPECT_GT(look.structure, 0.955);
    EXPECT_GT(look.busy, 0.93);
    EXPECT_LT(look.chroma, 4.5);
  }
}

TEST(MrcLayers, PagesWithStrokesTooFaintForTheMaskAreLeft) {
  Pixels page = paper(1200, 1600, 1), faint = paper(1200, 1600, 1);
  write(page, 40);
  write(faint, 205);
  const std::size_t below = page.stride() * 500;
  std::copy(faint.samples().begin() + static_cast<std::ptrdiff_t>(below), faint.samples().end(),
            page.samples().begin() + static_cast<std::ptrdiff_t>(below));
  EXPECT_FALSE(codeInLayers(page, dpi, dpi, webSettings(), 1 << 30).has_value());
}

TEST(MrcLayers, LightTextOnADarkPageKeepsItsLook) {
  Pixels page = paper(1200, 1600, 1, 60);
  write(page, 220);
  const auto layers = codeInLayers(page, dpi, dpi, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  EXPECT_GT(lookOf(page, *layers).structure, 0.955);
}

TEST(MrcLayers, PhotographsAndEmptyPagesAreLeft) {
  EXPECT_FALSE(codeInLayers(photo(1000, 1200), dpi, dpi, webSettings(), 1 << 30).has_value());
  EXPECT_FALSE(codeInLayers(paper(1000, 1200, 1), dpi, dpi, webSettings(), 1 << 30).has_value());
}

TEST(MrcLayers, NothingIsReturnedThatCostsMoreThanAllowed) {
  Pixels page = paper(1200, 1600, 1);
  write(page, 40);
  const auto layers = codeInLayers(page, dpi, dpi, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  EXPECT_FALSE(codeInLayers(page, dpi, dpi, webSettings(), layers->cost() * 9 / 10).has_value());
}

TEST(MrcLayers, FineScansGetAMaskOfHalfTheirResolution) {
  Pixels page = paper(1200, 1600, 1);
  write(page, 40);
  const auto layers = codeInLayers(page, 600, 600, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  EXPECT_EQ(layers->mask.width, 600u);
  EXPECT_EQ(layers->mask.height, 800u);
}

TEST(MrcSegment, InkIsFoundAndPicturesAreNot) {
  Pixels page = paper(1200, 1600, 1);
  write(page, 40);
  const Pixels picture = photo(500, 400);
  for (std::uint32_t y = 0; y < picture.height(); ++y)
    std::copy(picture.row(y), picture.row(y) + picture.width(), page.row(y + 600) + 300);
  const InkMask found = findInk(page, dpi, true);
  const double share = 500.0 * 400 / (1200 * 1600);
  EXPECT_GT(found.pictureShare, share * 0.6);
  EXPECT_LT(found.pictureShare, share * 1.5);
  int inside = 0;
  for (int y = 680; y < 920; ++y)
    for (int x = 380; x < 720; ++x) inside += found.ink.at(x, y);
  EXPECT_LT(inside, 340 * 240 / 50);
  EXPECT_GT(found.inkShare, 0.05);
}

TEST(MrcPlane, GapsAreFilledFromAroundThem) {
  WeightedPlane plane{Plane(40, 30), Plane(40, 30)};
  for (std::uint32_t y = 0; y < 30; ++y)
    for (std::uint32_t x = 0; x < 40; ++x)
      if (x < 10 || x > 30) {
        plane.values.values[y * 40 + x] = x < 10 ? 50 : 150;
        plane.weights.values[y * 40 + x] = 1;
      }
  fillGaps(plane);
  for (std::uint32_t x = 10; x <= 30; ++x) {
    EXPECT_GE(plane.values.values[15 * 40 + x], 49.9f);
    EXPECT_LE(plane.values.values[15 * 40 + x], 150.1f);
  }
  EXPECT_EQ(plane.values.values[15 * 40 + 5], 50);
}

}  // namespace
}  // namespace optimizer
