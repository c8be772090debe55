#include "optimizer/image/convert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "optimizer/image/press.h"
#include "optimizer/image/profile.h"

namespace optimizer {
namespace {

ImageColorSpace spaceOf(ColorKind kind, Bytes profile = {}) {
  ImageColorSpace space;
  space.kind = space.baseKind = kind;
  space.components = space.baseComponents = kind == ColorKind::grey ? 1 : kind == ColorKind::cmyk ? 4 : 3;
  space.profiled = !profile.empty();
  space.profile = std::move(profile);
  return space;
}

Bytes converted(const ImageColorSpace& from, const Bytes& color, const ConversionTarget& to) {
  const auto converter = ColorConverter::make(from, {}, to);
  if (!converter) return {};
  Pixels pixel(1, 1, from.baseComponents, from.baseKind);
  pixel.samples() = color;
  return converter->convert(pixel).samples();
}

void expectNear(const Bytes& color, const std::vector<int>& wanted, int tolerance) {
  ASSERT_EQ(color.size(), wanted.size());
  for (std::size_t i = 0; i < color.size(); ++i) EXPECT_NEAR(color[i], wanted[i], tolerance) << i;
}

TEST(Press, MixesItsInksAsViewersDo) {
  const std::uint8_t inks[] = {0, 0, 0, 0, 255, 0, 0, 0, 0, 255, 255, 0, 0, 0, 0, 255};
  Bytes rgb(12);
  pressToRgb(inks, 4, rgb.data());
  expectNear(rgb, {255, 255, 255, 0, 174, 239, 237, 28, 36, 35, 31, 32}, 0);
}

TEST(Press, GivesColoursBackThatItCanPrint) {
  const Bytes colors = {255, 255, 255, 128, 128, 128, 230, 200, 170, 90, 140,
                        90,  60,  80,  140, 180, 60,  60,  70,  70,  70};
  const std::size_t count = colors.size() / 3;
  Bytes inks(count * 4), shown(count * 3);
  rgbToPress(colors.data(), count, inks.data());
  pressToRgb(inks.data(), count, shown.data());
  for (std::size_t i = 0; i < colors.size(); ++i) EXPECT_NEAR(shown[i], colors[i], 6) << i;
  EXPECT_EQ(Bytes(inks.begin(), inks.begin() + 4), Bytes(4, 0));  // white is paper
  const std::uint8_t black[] = {0, 0, 0};
  Bytes four(4);
  rgbToPress(black, 1, four.data());
  EXPECT_EQ(four[3], 255);
  EXPECT_LE(four[0] + four[1] + four[2] + four[3], 3 * 255 + 2);
}

TEST(ColorConverter, MakesGreyOfTheBrightness) {
  const ConversionTarget grey{ColorKind::grey, {}};
  for (int level : {0, 40, 128, 255}) {
    const auto value = static_cast<std::uint8_t>(level);
    expectNear(converted(spaceOf(ColorKind::rgb), {value, value, value}, grey), {level}, 1);
  }
  const Bytes red = converted(spaceOf(ColorKind::rgb), {255, 0, 0}, grey);
  const Bytes green = converted(spaceOf(ColorKind::rgb), {0, 255, 0}, grey);
  const Bytes blue = converted(spaceOf(ColorKind::rgb), {0, 0, 255}, grey);
  EXPECT_GT(green[0], red[0]);
  EXPECT_GT(red[0], blue[0]);
}

TEST(ColorConverter, TakesCmykThroughThePressAndBack) {
  expectNear(converted(spaceOf(ColorKind::cmyk), {0, 0, 0, 0}, {ColorKind::rgb, {}}), {255, 255, 255}, 0);
  expectNear(converted(spaceOf(ColorKind::cmyk), {255, 0, 0, 0}, {ColorKind::rgb, {}}), {0, 174, 239}, 0);
  expectNear(converted(spaceOf(ColorKind::cmyk), {0, 0, 0, 255}, {ColorKind::grey, {}}), {32}, 3);
  expectNear(converted(spaceOf(ColorKind::rgb), {255, 255, 255}, {ColorKind::cmyk, {}}), {0, 0, 0, 0}, 0);
}

TEST(ColorConverter, HoldsToProfiles) {
  // A space of a wider gamut: its full green is none that sRGB has, its grey is the same.
  const Bytes wide = calibratedRgb({0.9505, 1, 1.089}, {2.2, 2.2, 2.2},
                                   {0.5767, 0.2973, 0.0270, 0.1856, 0.6274, 0.0707, 0.1882, 0.0753, 0.9913});
  const ConversionTarget srgb{ColorKind::rgb, {}};
  expectNear(converted(spaceOf(ColorKind::rgb, wide), {128, 128, 128}, srgb), {128, 128, 128}, 3);
  EXPECT_LT(converted(spaceOf(ColorKind::rgb, wide), {100, 200, 100}, srgb)[0], 60);
  // And the other way round.
  EXPECT_GT(converted(spaceOf(ColorKind::rgb), {0, 255, 0}, {ColorKind::rgb, wide})[0], 100);
}

TEST(ColorConverter, UnderstandsLab) {
  ImageColorSpace lab = spaceOf(ColorKind::other);
  lab.lab = true;
  lab.components = lab.baseComponents = 3;
  lab.labRange = {-128, 127, -128, 127};
  const ConversionTarget srgb{ColorKind::rgb, {}};
  expectNear(converted(lab, {255, 128, 128}, srgb), {255, 255, 255}, 1);
  expectNear(converted(lab, {137, 128, 128}, srgb), {129, 129, 129}, 3);  // L* 53.7
  const Bytes red = converted(lab, {137, 208, 195}, srgb);                // the red of sRGB is 53, 80, 67
  EXPECT_GT(red[0], 245);
  EXPECT_LT(red[1], 40);
}

TEST(ColorConverter, RefusesWhatHasNoColours) {
  EXPECT_EQ(ColorConverter::make(spaceOf(ColorKind::other), {}, {}), nullptr);
  EXPECT_EQ(ColorConverter::make(spaceOf(ColorKind::rgb, {1, 2, 3}), {}, {}), nullptr);
  // A profile of another kind.
  EXPECT_EQ(ColorConverter::make(spaceOf(ColorKind::cmyk, srgbProfile()), {}, {}), nullptr);
  EXPECT_EQ(ColorConverter::make(spaceOf(ColorKind::rgb), {}, {ColorKind::cmyk, srgbProfile()}), nullptr);
}

}  // namespace
}  // namespace optimizer
