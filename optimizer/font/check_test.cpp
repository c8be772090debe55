#include "optimizer/font/check.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "optimizer/font/ps_font.h"
#include "optimizer/font/sfnt.h"
#include "optimizer/font/subset.h"

namespace optimizer::font {
namespace {

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

const std::string kTrueType = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf";
const std::string kOpenType = "/usr/share/texmf/fonts/opentype/public/lm/lmroman10-regular.otf";
const std::string kType1 = "/usr/share/fonts/type1/urw-base35/NimbusRoman-Regular.t1";

ShownCodes shown(bool composite) {
  ShownCodes codes;
  codes.composite = composite;
  codes.encoding.base = BaseEncoding::winAnsi;
  for (std::uint32_t code = 40; code < 127; ++code) codes.codes.insert(code);
  return codes;
}

GlyphsToCheck indexes() {
  GlyphsToCheck glyphs;
  for (std::uint32_t glyph = 40; glyph < 127; ++glyph) glyphs.numbers.emplace_back(glyph, glyph);
  return glyphs;
}

GlyphsToCheck letters() {
  GlyphsToCheck glyphs;
  for (char letter = 'A'; letter <= 'Z'; ++letter) glyphs.names.emplace_back(1, letter);
  return glyphs;
}

TEST(SamePictures, subsetsDrawAsTheirFonts) {
  const Bytes trueType = readFile(kTrueType), openType = readFile(kOpenType);
  ASSERT_FALSE(trueType.empty() || openType.empty()) << "fonts of the tests' packages are missing";
  const Result<SubsetResult> cut = subsetTrueType(trueType, {shown(true)});
  ASSERT_TRUE(cut.ok());
  EXPECT_TRUE(samePictures(trueType, cut->program, indexes()).ok());
  const Result<SubsetResult> simple = subsetCff(cffTableOf(openType), {shown(false)});
  ASSERT_TRUE(simple.ok());
  EXPECT_TRUE(samePictures(cffTableOf(openType), simple->program, letters()).ok());
}

TEST(SamePictures, convertedFontsDrawAsBefore) {
  const Bytes type1 = readFile(kType1);
  const Result<PsFont> font = readType1(type1);
  ASSERT_TRUE(font.ok()) << "fonts of the tests' packages are missing";
  const Result<Bytes> cff = writeSmallestCff(*font);
  ASSERT_TRUE(cff.ok());
  GlyphsToCheck glyphs;
  for (const PsGlyph& glyph : font->glyphs) glyphs.names.push_back(glyph.name);
  const Status same = samePictures(type1, *cff, glyphs);
  EXPECT_TRUE(same.ok()) << same.error().message;
}

TEST(SamePictures, hintsThatAreGoneShow) {
  const Bytes font = readFile(kTrueType);
  Result<SubsetResult> cut = subsetTrueType(font, {shown(true)});
  ASSERT_TRUE(cut.ok());
  // Without its control values every hint moves points elsewhere; outlines as they are stored stay the same.
  Bytes& program = cut->program;
  const Result<SfntTables> tables = readSfnt(program);
  ASSERT_TRUE(tables.ok());
  const ByteView values = tables->at("cvt ");
  const auto at = static_cast<std::size_t>(values.data() - program.data());
  std::fill_n(program.begin() + static_cast<long>(at), values.size(), std::uint8_t{0});
  EXPECT_FALSE(samePictures(font, program, indexes()).ok());
}

TEST(SamePictures, otherGlyphsShow) {
  const Bytes font = readFile(kTrueType);
  GlyphsToCheck glyphs;
  glyphs.numbers = {{68, 69}};
  EXPECT_FALSE(samePictures(font, font, glyphs).ok());
  EXPECT_TRUE(samePictures(font, font, indexes()).ok());
  EXPECT_FALSE(samePictures(font, {}, indexes()).ok());
}

}  // namespace
}  // namespace optimizer::font
