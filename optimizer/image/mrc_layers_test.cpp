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
#include "optimizer/image/resample.h"
#include "optimizer/image/score.h"
#include "optimizer/image/strokes.h"

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
  Pixels page = enlargedPart(background, {}, w, h);
  const unsigned n = page.channels();
  for (const LayeredPicture& picture : layers.pictures) {
    const auto left = static_cast<std::uint32_t>(std::lround(picture.part.left * w)),
               right = static_cast<std::uint32_t>(std::lround(picture.part.right * w)),
               top = static_cast<std::uint32_t>(std::lround(picture.part.top * h)),
               bottom = static_cast<std::uint32_t>(std::lround(picture.part.bottom * h));
    const Pixels part = enlargedPart(decoded(picture.image), {}, right - left, bottom - top);
    for (std::uint32_t y = top; y < bottom; ++y)
      std::copy_n(part.row(y - top), part.stride(), page.row(y) + std::size_t{left} * n);
  }
  const Pixels above = enlargedPart(foreground, {}, w, h);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x)
      if (mask->at(static_cast<int>(x), static_cast<int>(y)))
        std::copy_n(above.row(y) + std::size_t{x} * n, n, page.row(y) + std::size_t{x} * n);
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

// A page of dark lettering whose lower part is as faint as pencil.
Pixels faintPage() {
  Pixels page = paper(1200, 1600, 1), faint = paper(1200, 1600, 1);
  write(page, 40);
  write(faint, 205);
  const std::size_t below = page.stride() * 500;
  std::copy(faint.samples().begin() + static_cast<std::ptrdiff_t>(below), faint.samples().end(),
            page.samples().begin() + static_cast<std::ptrdiff_t>(below));
  return page;
}

TEST(MrcLayers, FaintStrokesAreThereWhenThePageIsRead) {
  const Pixels page = faintPage();
  const auto layers = codeInLayers(page, dpi, dpi, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  EXPECT_LT(StrokeReference(page).compare(shown(*layers)).count(), 5u);
}

TEST(MrcLayers, PencilLinesBetweenTheLinesAreThereWhenThePageIsRead) {
  Pixels page = paper(1200, 1600, 1);
  write(page, 40);
  for (std::uint32_t line = 5; line < 9; ++line)
    for (std::uint32_t x = 60; x < 1100; ++x)
      for (std::uint32_t dy = 0; dy < 2; ++dy) {
        std::uint8_t& s = page.row(40 + 44 * line + 33 + dy)[x];
        s = static_cast<std::uint8_t>(s - 30);
      }
  const auto layers = codeInLayers(page, dpi, dpi, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  EXPECT_LT(StrokeReference(page).compare(shown(*layers)).count(), 5u);
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

Pixels pageWithPhoto() {
  Pixels page = paper(1200, 1600, 1);
  write(page, 40);
  const Pixels picture = photo(500, 400);
  for (std::uint32_t y = 0; y < picture.height(); ++y)
    std::copy(picture.row(y), picture.row(y) + picture.width(), page.row(y + 600) + 300);
  return page;
}

TEST(MrcLayers, PhotographsKeepABetterResolutionThanThePaper) {
  const Pixels page = pageWithPhoto();
  const auto layers = codeInLayers(page, dpi, dpi, webSettings(), 1 << 30);
  ASSERT_TRUE(layers.has_value());
  ASSERT_EQ(layers->pictures.size(), 1u);
  const LayeredPicture& picture = layers->pictures[0];
  EXPECT_LE(picture.part.left, 300.0 / 1200);
  EXPECT_GE(picture.part.right, 800.0 / 1200);
  EXPECT_LE(picture.part.top, 600.0 / 1600);
  EXPECT_GE(picture.part.bottom, 1000.0 / 1600);
  EXPECT_LT(picture.part.right - picture.part.left, 0.55);
  EXPECT_EQ(picture.image.filter, "DCTDecode");
  const double perInch = picture.image.width / ((picture.part.right - picture.part.left) * 1200 / dpi);
  EXPECT_NEAR(perInch, 150, 2);
  EXPECT_LT(layers->background.width, 1200 / dpi * 110);
  EXPECT_GT(lookOf(page, *layers).structure, 0.955);
}

TEST(MrcLayers, SettingsSayHowLayersAreCoded) {
  const Pixels page = pageWithPhoto();
  const auto with = [&](void (*change)(Settings&)) {
    Settings settings = webSettings();
    change(settings);
    return codeInLayers(page, dpi, dpi, settings, 1 << 30);
  };
  const auto plain = with([](Settings&) {});
  const auto whole = with([](Settings& s) { s.mrcRecognizePictures = false; });
  const auto jpeg = with([](Settings& s) { s.mrcLayerCodec = Codec::jpeg; });
  const auto flate =
      with([](Settings& s) { s.mrcLayerCodec = s.mrcMaskCodec = s.mrcPictureCodec = Codec::flate; });
  const auto wavelets = with([](Settings& s) { s.mrcPictureCodec = Codec::jpeg2000; });
  const auto fine = with([](Settings& s) { s.mrcLayerDpi = 150; });
  const auto good = with([](Settings& s) { s.mrcLayerQuality = 90; });
  const auto none = with([](Settings& s) { s.mrcPictureCodec = Codec::none; });
  for (const auto* layers : {&plain, &jpeg, &flate, &wavelets, &fine, &good})
    ASSERT_TRUE(layers->has_value());
  EXPECT_EQ(plain->background.filter, "JPXDecode");
  EXPECT_NE(plain->mask.filter, "FlateDecode");
  EXPECT_TRUE(!whole || whole->pictures.empty());
  EXPECT_TRUE(!none || none->pictures.empty());
  EXPECT_EQ(jpeg->background.filter, "DCTDecode");
  EXPECT_EQ(flate->background.filter, "FlateDecode");
  EXPECT_EQ(flate->mask.filter, "FlateDecode");
  ASSERT_EQ(flate->pictures.size(), 1u);
  EXPECT_EQ(flate->pictures[0].image.filter, "FlateDecode");
  ASSERT_EQ(wavelets->pictures.size(), 1u);
  EXPECT_EQ(wavelets->pictures[0].image.filter, "JPXDecode");
  EXPECT_EQ(fine->background.width, 900u);
  EXPECT_GT(fine->foreground.width, plain->foreground.width);
  EXPECT_GT(good->background.cost(), plain->background.cost());
  for (const Codec unfit : {Codec::none, Codec::jpeg, Codec::jpeg2000}) {
    Settings settings = webSettings();
    settings.mrcMaskCodec = unfit;
    EXPECT_FALSE(codeInLayers(page, dpi, dpi, settings, 1 << 30).has_value());
  }
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

TEST(MrcPlane, GrownPixelsReachSoFarAndNotAroundTheEdges) {
  Bitonal ink(21, 9);
  ink.set(8, 4);
  ink.set(20, 8);
  ink.row(0)[2] |= 1;  // beyond the width
  const Bitonal grow = grown(ink, 2);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 21; ++x)
      EXPECT_EQ(grow.at(x, y), (std::abs(x - 8) <= 2 && std::abs(y - 4) <= 2) || (x >= 18 && y >= 6))
          << x << ' ' << y;
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
