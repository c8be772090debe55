// From character codes to the glyphs of a program (ISO 32000-1, 9.6.6 and 9.7.4). Viewers do not agree in every corner, so
// each function gives every glyph that one of them may come to, never too few.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/truetype.h"

namespace optimizer::font {

// A simple font's Encoding entry.
struct SimpleEncoding {
  std::optional<BaseEncoding> base;
  std::map<std::uint8_t, std::string> differences;
  bool understood = true;  // false: MacExpertEncoding or something odd
};

// What one font dictionary shows through a program, free of the PDF library.
struct ShownCodes {
  bool composite = false;
  std::set<std::uint32_t> codes;
  SimpleEncoding encoding;                       // simple fonts
  std::optional<std::set<std::uint32_t>> cids;   // composite fonts: what the codes select; nothing for the identity
  std::optional<Bytes> cidToGid;                 // CIDFontType2: nothing for the identity
};

// Names that a simple font with a name-keyed program selects. builtIn: the program's own encoding. all: every glyph name
// of the program; where a name is not among them, glyphs of the same character come in its place, or every glyph whose
// character is unknown.
std::set<std::string> shownNames(const ShownCodes& shown, const std::map<std::uint8_t, std::string>& builtIn,
                                 const std::set<std::string>& all);
// True where every shown code has its name from the font dictionary, so that the built-in encoding does not matter.
bool namesAreExplicit(const ShownCodes& shown);

// CIDs that a composite font selects.
const std::set<std::uint32_t>& shownCids(const ShownCodes& shown);

// Glyph indexes that a font selects in a TrueType program. needsNames is set where only the post table leads to one.
// Nothing where that cannot be told.
std::optional<std::set<std::uint16_t>> shownGlyphs(const ShownCodes& shown, const TrueTypeFont& font, bool& needsNames);

}  // namespace optimizer::font
