// CMap files inside PDF (ISO 32000-1, 9.7.5 and 9.10.3; Adobe Technical Note 5014): codes to CIDs, and codes to Unicode.
#pragma once

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
};

struct CmapText {
  std::vector<CodespaceRange> codespace;
  std::vector<CidRange> cids;
  // By code as bytes; the value is UTF-16BE. Where a code is mapped twice the later one stays, as viewers take it.
  std::map<std::string, std::string> unicode;
};

// Nothing where the file holds anything that is not understood (usecmap, odd operators, damage).
std::optional<CmapText> readCmapText(ByteView data);

// CID of a code; 0 where no range has it.
std::uint32_t cidOf(const CmapText& cmap, std::uint32_t code);

// A ToUnicode CMap of the given entries.
std::string writeToUnicode(const CmapText& cmap);

std::uint32_t codeValue(const std::string& bytes);

}  // namespace optimizer::font
