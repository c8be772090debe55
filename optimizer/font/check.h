// The safety net under every change of a font program: the glyphs that a document uses, loaded with FreeType
// from the old and from the new program, must be the same outlines with the same advances. A program that
// fails keeps its old form.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer::font {

// Glyphs to compare: by name in name-keyed Type 1 and CFF programs, or by a pair of numbers, which are glyph
// indexes, in a bare CID-keyed CFF program CIDs.
struct GlyphsToCheck {
  std::vector<std::string> names;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> numbers;  // before, after
};

// Outlines are compared without hinting, in font units; points may differ by a quarter unit, which is what
// the rounding of fractions amounts to. A glyph that the old program cannot load need not load from the new
// one. Error: damaged, with the first difference. Debug builds draw the glyphs besides, as the next function
// does.
Status sameGlyphs(ByteView before, ByteView after, const GlyphsToCheck& glyphs);

// Glyphs are drawn, with hints where both programs are of one format, at a small and a large size: the same
// advance, and no pixel lighter or darker by more than an eighth. Slower than outlines, and sees what they do
// not: hints that are gone, directions of contours. Error as above.
Status samePictures(ByteView before, ByteView after, const GlyphsToCheck& glyphs);

}  // namespace optimizer::font
