// The cmap table of TrueType fonts (ISO/IEC 14496-22, 5.2.1): character codes to glyph indexes, in several subtables, of
// which PDF viewers use (3,1), (1,0) and (3,0) by the rules of ISO 32000-1, 9.6.6.4.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer::font {

struct CmapSubtable {
  std::uint16_t platform = 0, encoding = 0;
  std::map<std::uint32_t, std::uint16_t> glyphs;  // by character code; without those that map to 0

  bool unicode() const { return platform == 0 || (platform == 3 && (encoding == 1 || encoding == 10)); }
  bool symbol() const { return platform == 3 && encoding == 0; }
  bool macRoman() const { return platform == 1 && encoding == 0; }
};

// Subtables of formats 0, 4, 6, 10 and 12, in the order of the table; variation sequences (14) are left out. Errors:
// damaged, unsupported (another format), limit.
Result<std::vector<CmapSubtable>> readCmap(ByteView table);

// Subtables with the same mapping are written once. Each takes the shortest format that viewers know.
Bytes writeCmap(const std::vector<CmapSubtable>& subtables);

}  // namespace optimizer::font
