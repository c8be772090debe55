// TrueType font programs in PDF (ISO 32000-1, 9.9): read as far as subsetting and merging need, and written with nothing
// but what a viewer looks at.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/font/cmap_table.h"

namespace optimizer::font {

struct TrueTypeGlyph {
  ByteView data;  // of the glyf table; empty where the glyph draws nothing
  std::uint16_t advance = 0;
  std::int16_t leftSideBearing = 0;
};

// Views into the bytes that it was read from.
struct TrueTypeFont {
  ByteView head, hhea, maxp;
  std::map<std::string, ByteView> programs;  // cvt, fpgm, prep: the hints
  std::vector<TrueTypeGlyph> glyphs;         // by glyph index
  std::vector<CmapSubtable> cmap;
  bool cmapReadable = true;                  // false: the cmap has a form that is not understood
  std::vector<std::string> names;            // of the post table, by glyph index; empty where it has none
};

// Errors: damaged; unsupported (colour glyphs, bitmaps alone, outlines that are not TrueType's).
Result<TrueTypeFont> readTrueType(ByteView data);

// Adds the glyphs that composite ones are made of. Error: damaged (a composite is cut off).
Status addComponents(const TrueTypeFont& font, std::set<std::uint16_t>& glyphs);

struct TrueTypeOutput {
  bool cmap = true;    // simple fonts need one
  bool names = false;  // a post table with the names of the kept glyphs
};

// Writes the font with the chosen glyphs, which keep their indexes; the others become empty, and those after the last
// chosen one are left out. Glyph 0 always stays.
Result<Bytes> writeTrueType(const TrueTypeFont& font, std::set<std::uint16_t> glyphs, const TrueTypeOutput& output);

}  // namespace optimizer::font
