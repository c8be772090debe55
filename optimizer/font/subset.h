// Cuts a font program down to the glyphs that a document shows, and checks the result glyph by glyph.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/font/used_glyphs.h"

namespace optimizer::font {

enum class ProgramForm { nameKeyedCff, cidKeyedCff, trueType };

struct SubsetResult {
  Bytes program;
  ProgramForm form = ProgramForm::trueType;
  std::size_t glyphs = 0;           // that are left
  std::set<std::string> names;      // name-keyed: what is left, without .notdef
  std::set<std::uint32_t> cids;     // composite users: the CIDs that the document shows
};

// users: what every font dictionary shows that has this program. Each of these gives a program that is checked; the
// caller decides whether it is worth having. Errors: damaged or unsupported programs, users that do not fit together,
// a failed check.
Result<SubsetResult> subsetTrueType(ByteView program, const std::vector<ShownCodes>& users);
Result<SubsetResult> subsetCff(ByteView program, const std::vector<ShownCodes>& users);

// The CFF table of an OpenType font; empty where it has none.
ByteView cffTableOf(ByteView openType);

// Six capital letters made from the program's bytes (ISO 32000-1, 9.6.4).
std::string subsetTag(ByteView program);

}  // namespace optimizer::font
