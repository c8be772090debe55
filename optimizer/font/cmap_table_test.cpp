#include "optimizer/font/cmap_table.h"

#include <gtest/gtest.h>

#include "optimizer/base/writer.h"

namespace optimizer::font {
namespace {

TEST(CmapTable, readsBackWhatItWrites) {
  CmapSubtable unicode;
  unicode.platform = 3;
  unicode.encoding = 1;
  for (std::uint32_t code = 65; code < 91; ++code) unicode.glyphs[code] = static_cast<std::uint16_t>(code - 60);
  unicode.glyphs[0x20ac] = 7;
  CmapSubtable mac;
  mac.platform = 1;
  mac.glyphs = {{32, 3}, {200, 9}};
  const Result<std::vector<CmapSubtable>> again = readCmap(writeCmap({mac, unicode}));
  ASSERT_TRUE(again.ok()) << again.error().message;
  ASSERT_EQ(again->size(), 2u);
  EXPECT_EQ((*again)[0].glyphs, mac.glyphs);
  EXPECT_EQ((*again)[1].glyphs, unicode.glyphs);
}

// A few hundred bytes that speak of two million codes.
TEST(CmapTable, subtablesCannotAddUpToHours) {
  constexpr std::uint32_t kCount = 32;
  Writer out;
  out.u16(0);
  out.u16(kCount);
  for (std::uint32_t i = 0; i < kCount; ++i) {
    out.u16(3);
    out.u16(1);
    out.u32(4 + 8 * kCount);
  }
  for (const std::uint32_t value : {4u, 24u, 0u, 2u, 2u, 0u, 0u, 0xfffeu, 0u, 0u, 1u, 0u}) out.u16(value);
  const Result<std::vector<CmapSubtable>> read = readCmap(out.take());
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().kind, ErrorKind::limit);
}

}  // namespace
}  // namespace optimizer::font
