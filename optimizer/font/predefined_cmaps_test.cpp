#include "optimizer/font/predefined_cmaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "optimizer/content/codespace.h"
#include "optimizer/font/cmap_packing.h"

namespace optimizer::font {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

std::optional<std::set<std::uint32_t>> cids(const char* name, const std::set<std::uint32_t>& codes) {
  std::set<std::uint32_t> found;
  if (!addPredefinedCids(name, codes, found)) return std::nullopt;
  return found;
}

// CIDs as the character collections of Adobe have them: "A", and the first ideograph of each national
// standard.
TEST(PredefinedCmaps, codesLeadToTheCidsOfTheirCollection) {
  struct {
    const char* name;
    std::uint32_t code, cid;
  } const cases[] = {
      {"90ms-RKSJ-H", 0x41, 264},    {"90msp-RKSJ-H", 0x41, 34},           {"90ms-RKSJ-H", 0x889f, 1125},
      {"H", 0x3021, 1125},           {"UniJIS-UCS2-H", 0x4e9c, 1125},      {"UniJIS-UTF16-V", 0x4e9c, 1125},
      {"EUC-H", 0xb0a1, 1125},       {"UniJIS2004-UTF16-H", 0x4e9c, 1125}, {"UniJIS-UCS2-HW-H", 0x41, 264},
      {"UniGB-UCS2-H", 0x554a, 940}, {"GBK-EUC-H", 0xb0a1, 940},           {"GB-EUC-V", 0xb0a1, 940},
      {"UniGB-UTF16-H", 0x41, 34},   {"UniCNS-UTF16-H", 0x4e00, 595},      {"ETen-B5-H", 0xa440, 595},
      {"KSCms-UHC-H", 0xb0a1, 1086}, {"UniKS-UCS2-H", 0xac00, 1086},
  };
  for (const auto& entry : cases) {
    const auto found = cids(entry.name, {entry.code});
    ASSERT_TRUE(found) << entry.name;
    EXPECT_THAT(*found, ::testing::Contains(entry.cid)) << entry.name;
    EXPECT_LE(found->size(), 3u) << entry.name;
  }
}

TEST(PredefinedCmaps, uprightOnesAddToThoseThatTheyBuildOn) {
  EXPECT_THAT(cids("UniJIS-UCS2-V", {0x3001}), Optional(ElementsAre(0, 634, 7887)));
  EXPECT_THAT(cids("ETenms-B5-V", {0xa14b}), Optional(ElementsAre(0, 110, 13646)));
}

TEST(PredefinedCmaps, codesWithoutACharacterShowTheirStandIn) {
  EXPECT_THAT(cids("90ms-RKSJ-H", {0x05}), Optional(ElementsAre(0, 231)));
}

TEST(PredefinedCmaps, othersAreNotKnown) {
  EXPECT_FALSE(cids("Identity-H", {1}));
  EXPECT_FALSE(cids("UniJIS-UTF32-H", {1}));
  EXPECT_FALSE(cids("", {1}));
}

TEST(CmapPacking, whatIsPackedUnpacks) {
  CmapText like, cmap;
  like.cids = {{1, 5, 100}, {9, 9, 7}, {0x8140, 0x817e, 633}, {0xd840dc0b, 0xd840dc0b, 17000}};
  cmap.cids = {{0x8140, 0x817e, 633},           {9, 9, 8},   {10, 12, 9},
               {0xd840dc0b, 0xd840dc0b, 17000}, {1, 5, 100}, {0xffffffff, 0xffffffff, 1}};
  cmap.notdef = {{0, 31, 231}};
  const std::vector<CidRange> sorted = {{1, 5, 100},
                                        {9, 12, 8},
                                        {0x8140, 0x817e, 633},
                                        {0xd840dc0b, 0xd840dc0b, 17000},
                                        {0xffffffff, 0xffffffff, 1}};
  const CmapText* const models[] = {nullptr, &like};
  for (const CmapText* model : models) {
    const auto again = unpackCmap(packCmap(cmap, model), model);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->cids, sorted);
    EXPECT_EQ(again->notdef, cmap.notdef);
  }
  EXPECT_FALSE(unpackCmap(packCmap({}, &like), nullptr));
}

std::optional<CmapText> read(const std::string& body) {
  const std::string text = "begincmap\n" + body + "\nendcmap";
  return readCmapText({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

TEST(CmapText, basesAndStandInsAreRead) {
  const auto cmap = read(
      "/UniJIS-UCS2-H usecmap /CMapName /Own def 1 begincidchar <41> 7 endcidchar "
      "1 beginnotdefrange <00> <1f> 231 endnotdefrange 1 beginnotdefchar <7f> 1 endnotdefchar");
  ASSERT_TRUE(cmap);
  EXPECT_EQ(cmap->base, "UniJIS-UCS2-H");
  std::set<std::uint32_t> found;
  EXPECT_TRUE(addCids(*cmap, {0x05, 0x06, 0x41, 0x42, 0x7f}, found));
  EXPECT_THAT(found, ElementsAre(1, 7, 231));
  EXPECT_FALSE(read("usecmap"));
  EXPECT_FALSE(read("/A usecmap /B usecmap"));
}

TEST(CmapText, everyRangeThatHasACodeCounts) {
  const auto cmap = read("2 begincidrange <20> <7f> 100 <0041> <0041> 900 endcidrange");
  ASSERT_TRUE(cmap);
  std::set<std::uint32_t> found;
  EXPECT_TRUE(addCids(*cmap, {0x41}, found));
  EXPECT_THAT(found, ElementsAre(133, 900));
}

TEST(CmapText, rangesWithoutEndAreGivenUp) {
  std::string body = "begincidrange ";
  for (int i = 0; i < 1000; ++i) body += "<0000> <ffff> 0 ";
  const auto cmap = read(body + "endcidrange");
  ASSERT_TRUE(cmap);
  std::set<std::uint32_t> codes, found;
  for (std::uint32_t code = 0; code < 0x10000; ++code) codes.insert(code);
  EXPECT_FALSE(addCids(*cmap, codes, found));
}

// The codespaces that strings are split by are a table of their own: each code of the resources must come out
// whole.
TEST(PredefinedCmaps, codesComeOutOfTheCodespaceOfTheirName) {
  struct {
    const char* name;
    const char* code;
  } const cases[] = {{"90ms-RKSJ-H", "\x88\x9f"},     {"UniJIS-UTF16-H", "\xd8\x40\xdc\x0b"},
                     {"GBK2K-H", "\x81\x39\xee\x39"}, {"CNS-EUC-H", "\x8e\xa2\xa1\xa1"},
                     {"KSCms-UHC-H", "\xb0\xa1"},     {"HKscs-B5-H", "\x87\x40"}};
  for (const auto& entry : cases) {
    const std::string text = entry.code;
    const auto codespace = content::predefinedCodespace(entry.name);
    ASSERT_TRUE(codespace) << entry.name;
    const auto code = codespace->split({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    ASSERT_TRUE(code) << entry.name;
    EXPECT_EQ(code->length, static_cast<int>(text.size())) << entry.name;
    const auto found = cids(entry.name, {code->value});
    ASSERT_TRUE(found) << entry.name;
    EXPECT_GT(*found->rbegin(), 0u) << entry.name;
  }
}

}  // namespace
}  // namespace optimizer::font
