// CMap files inside PDF (ISO 32000-1, 9.7.5 and 9.10.3; Adobe Technical Note 5014): codes to CIDs, and codes to Unicode.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer::font {

struct CodespaceRange {
  std::string low, high;  // as bytes
};

struct CidRange {
  std::uint32_t low = 0, high = 0, cid = 0;
  auto operator<=>(const CidRange&) const = default;
};

struct CmapText {
  std::string base;  // the name before usecmap: what is not here may be there
  std::vector<CodespaceRange> codespace;
  std::vector<CidRange> cids;
  std::vector<CidRange> notdef;  // all codes of a range show the same CID where they have no other
  // By code as bytes; the value is UTF-16BE. Where a code is mapped twice the later one stays, as viewers take it.
  std::map<std::string, std::string> unicode;
};

// Nothing where the file holds anything that is not understood (odd operators, damage).
std::optional<CmapText> readCmapText(ByteView data);

// Adds every CID that some range gives one of the codes, whatever others say of it: viewers settle contradictions
// differently. False where that would take too long, which no honest file does.
bool addCids(const CmapText& cmap, const std::set<std::uint32_t>& codes, std::set<std::uint32_t>& cids);

// A ToUnicode CMap of the given entries.
std::string writeToUnicode(const CmapText& cmap);

std::uint32_t codeValue(const std::string& bytes);

}  // namespace optimizer::font
