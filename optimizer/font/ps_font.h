// A PostScript font program in memory: what Type 1 and CFF fonts have in common, with every glyph decoded. Read by
// readType1 and readCff, changed by subset and merge, written by writeCff.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/font/glyph.h"

namespace optimizer::font {

// Entries of a CFF dictionary that are kept as they are: numbers by operator (two-byte operators as 0x0c00 | second).
using DictEntries = std::map<std::uint16_t, std::vector<double>>;

// A private dictionary, and for CID-keyed fonts the font dictionary that owns it.
struct PrivateDict {
  DictEntries fontEntries;  // of the CID font dictionary: FontMatrix
  DictEntries entries;      // hinting; without Subrs and the two widths, which belong to the spelling of charstrings
  bool operator==(const PrivateDict&) const = default;
};

struct PsGlyph {
  std::string name;        // of a name-keyed font
  std::uint16_t cid = 0;   // of a CID-keyed font
  std::uint8_t dict = 0;   // index into PsFont::dicts
  Glyph outline;
};

struct PsFont {
  std::string name;       // FontName
  bool cidKeyed = false;
  std::string registry, ordering;  // CID-keyed only
  int supplement = 0;
  DictEntries top;        // FontMatrix, FontBBox, ItalicAngle, isFixedPitch and such; no offsets, no strings
  std::vector<PrivateDict> dicts;  // at least one
  std::vector<PsGlyph> glyphs;     // the first is .notdef (CID 0)
  // Built-in encoding of a name-keyed font: glyph name by code, empty where there is none. standardEncoding tells that
  // it is the standard one.
  std::map<std::uint8_t, std::string> encoding;
  bool standardEncoding = false;
};

// Chooses glyphs while reading, so that only those that stay are decoded. Called with index, name and CID (CFF: the
// charset's value). Glyphs that a chosen accented character is made of are added by the reader; .notdef always stays.
struct GlyphRef {
  std::size_t index = 0;
  std::string_view name;
  std::uint16_t cid = 0;
};
using GlyphFilter = std::function<bool(const GlyphRef&)>;

// Reads a CFF font set that holds one font (Adobe Technical Note 5176). Without a filter every glyph stays. Errors:
// damaged, unsupported (CharstringType 1, the expert encoding, a PaintType other than filling), limit.
Result<PsFont> readCff(ByteView data, const GlyphFilter& keep = {});

// Reads a Type 1 font program, plain or in PFB segments (Adobe Type 1 Font Format). Errors as readCff.
Result<PsFont> readType1(ByteView data, const GlyphFilter& keep = {});

enum class Subroutines { none, build };

// Writes the font as CFF. Errors: unsupported (more glyphs or larger numbers than the format holds).
Result<Bytes> writeCff(const PsFont& font, Subroutines subroutines = Subroutines::none);

// With or without subroutines, whichever is smaller once deflated. Errors as writeCff.
Result<Bytes> writeSmallestCff(const PsFont& font);

}  // namespace optimizer::font
