#include "optimizer/font/ps_font.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "optimizer/font/check.h"

namespace optimizer::font {
namespace {

Bytes readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Fonts that the tests' packages bring.
std::vector<std::filesystem::path> systemFonts(const std::string& extension, std::size_t most) {
  std::vector<std::filesystem::path> found;
  for (const char* folder : {"/usr/share/fonts/X11/Type1", "/usr/share/fonts/type1", "/usr/share/fonts/opentype"}) {
    if (!std::filesystem::exists(folder)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.path().extension() == extension && entry.is_regular_file()) found.push_back(entry.path());
    }
  }
  std::sort(found.begin(), found.end());
  // Spread over the whole list, so that different foundries take part.
  std::vector<std::filesystem::path> chosen;
  const std::size_t step = std::max<std::size_t>(1, found.size() / most);
  for (std::size_t i = 0; i < found.size(); i += step) chosen.push_back(found[i]);
  return chosen;
}

GlyphsToCheck allNames(const PsFont& font) {
  GlyphsToCheck glyphs;
  for (const PsGlyph& glyph : font.glyphs) glyphs.names.push_back(glyph.name);
  return glyphs;
}

Status outlinesAndPictures(ByteView before, ByteView after, const GlyphsToCheck& glyphs) {
  OPTIMIZER_TRY(sameGlyphs(before, after, glyphs));
  return samePictures(before, after, glyphs);
}

// The table of an OpenType font that holds bare CFF.
ByteView cffTable(const Bytes& file) {
  const auto u32 = [&](std::size_t at) {
    return static_cast<std::size_t>(file[at]) << 24 | file[at + 1] << 16 | file[at + 2] << 8 | file[at + 3];
  };
  const std::size_t count = file[4] << 8 | file[5];
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = 12 + 16 * i;
    if (std::equal(file.begin() + static_cast<long>(at), file.begin() + static_cast<long>(at) + 4, "CFF ")) {
      return ByteView(file).subspan(u32(at + 8), u32(at + 12));
    }
  }
  return {};
}

TEST(PsFont, Type1BecomesCffWithTheSameGlyphs) {
  const auto paths = systemFonts(".pfb", 24);
  auto t1 = systemFonts(".t1", 24);
  t1.insert(t1.end(), paths.begin(), paths.end());
  ASSERT_FALSE(t1.empty()) << "install fonts-urw-base35 and fonts-lmodern";
  for (const auto& path : t1) {
    SCOPED_TRACE(path.string());
    const Bytes file = readFile(path);
    const Result<PsFont> font = readType1(file);
    ASSERT_TRUE(font.ok()) << font.error().message;
    const Result<Bytes> cff = writeCff(*font);
    ASSERT_TRUE(cff.ok()) << cff.error().message;
    EXPECT_LT(cff->size(), file.size());
    const Status same = outlinesAndPictures(file, *cff, allNames(*font));
    EXPECT_TRUE(same.ok()) << same.error().message;
  }
}

TEST(PsFont, SubroutinesDrawTheSameInFewerBytes) {
  const auto paths = systemFonts(".pfb", 6);
  ASSERT_FALSE(paths.empty()) << "install fonts-urw-base35";
  std::size_t plainSize = 0, sharedSize = 0;
  for (const auto& path : paths) {
    SCOPED_TRACE(path.string());
    const Result<PsFont> font = readType1(readFile(path));
    ASSERT_TRUE(font.ok()) << font.error().message;
    const Result<Bytes> plain = writeCff(*font, Subroutines::none), shared = writeCff(*font, Subroutines::build);
    ASSERT_TRUE(plain.ok() && shared.ok());
    const Result<PsFont> one = readCff(*plain), other = readCff(*shared);
    ASSERT_TRUE(one.ok() && other.ok());
    ASSERT_EQ(one->glyphs.size(), other->glyphs.size());
    for (std::size_t i = 0; i < one->glyphs.size(); ++i) {
      EXPECT_EQ(one->glyphs[i].outline, other->glyphs[i].outline) << one->glyphs[i].name;
    }
    const Status same = outlinesAndPictures(*plain, *shared, allNames(*font));
    EXPECT_TRUE(same.ok()) << same.error().message;
    plainSize += plain->size();
    sharedSize += shared->size();
  }
  EXPECT_LT(sharedSize, plainSize * 9 / 10);
}

TEST(PsFont, CffReadsBackAsItWasWritten) {
  for (const auto& path : systemFonts(".otf", 16)) {
    SCOPED_TRACE(path.string());
    const Bytes file = readFile(path);
    const ByteView table = cffTable(file);
    if (table.empty()) continue;
    const Result<PsFont> font = readCff(table);
    ASSERT_TRUE(font.ok()) << font.error().message;
    for (const Subroutines subroutines : {Subroutines::none, Subroutines::build}) {
      const Result<Bytes> cff = writeCff(*font, subroutines);
      ASSERT_TRUE(cff.ok()) << cff.error().message;
      if (!font->cidKeyed) {
        const Status same = outlinesAndPictures(table, *cff, allNames(*font));
        EXPECT_TRUE(same.ok()) << same.error().message;
      }
      const Result<PsFont> again = readCff(*cff);
      ASSERT_TRUE(again.ok()) << again.error().message;
      ASSERT_EQ(again->glyphs.size(), font->glyphs.size());
      EXPECT_EQ(again->dicts, font->dicts);
      std::map<std::string, const Glyph*> outlines;
      for (const PsGlyph& glyph : font->glyphs) outlines[glyph.name + std::to_string(glyph.cid)] = &glyph.outline;
      for (const PsGlyph& glyph : again->glyphs) {
        EXPECT_EQ(glyph.outline, *outlines[glyph.name + std::to_string(glyph.cid)]) << glyph.name;
      }
    }
  }
}

TEST(PsFont, AFilterKeepsWhatItChoosesAndThePartsOfAccents) {
  for (const auto& path : systemFonts(".t1", 4)) {
    const Bytes file = readFile(path);
    const Result<PsFont> font = readType1(file, [](const GlyphRef& glyph) { return glyph.name == "A"; });
    ASSERT_TRUE(font.ok()) << font.error().message;
    EXPECT_EQ(font->glyphs[0].name, ".notdef");
    EXPECT_EQ(font->glyphs.size(), 2u) << path;
  }
}

TEST(PsFont, DamagedBytesAreAnError) {
  EXPECT_FALSE(readCff({}).ok());
  EXPECT_FALSE(readType1({}).ok());
  for (const auto& path : systemFonts(".t1", 2)) {
    const Bytes file = readFile(path);
    for (std::size_t size = 0; size < file.size(); size += 997) {
      const Result<PsFont> font = readType1(ByteView(file).first(size));
      EXPECT_TRUE(font.ok() || !font.error().message.empty());
    }
  }
}

}  // namespace
}  // namespace optimizer::font
