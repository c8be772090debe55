// Different subsets of one font become one program again, where everything that they share is the same.
#pragma once

#include <deque>
#include <set>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/font/ps_font.h"
#include "optimizer/font/truetype.h"
#include "optimizer/font/used_glyphs.h"

namespace optimizer::font {

// Adds the glyphs of another CFF font. False, and nothing changed, where the two disagree: keyed differently, other
// matrices or hints, another outline or width for a glyph of the same name or CID, another glyph for the same code.
bool mergeInto(PsFont& font, const PsFont& other);

// A TrueType font with the glyphs that count in it. The bytes that it was read from must outlive it.
struct TrueTypePart {
  TrueTypeFont font;
  std::set<std::uint16_t> glyphs;  // shown ones and their components
  std::vector<ShownCodes> users;
};

// Nothing where the program does not say by its codes which glyphs are shown, or only through glyph names.
std::optional<TrueTypePart> readPart(ByteView program, const std::vector<ShownCodes>& users);

// Adds the glyphs of another subset, which keep their indexes. False, and nothing changed, where the two disagree: other
// units, hint programs or cmap directories, another outline for an index, another index for a code. New tables live in
// store.
bool mergeInto(TrueTypePart& part, const TrueTypePart& other, std::deque<Bytes>& store);

}  // namespace optimizer::font
