// The container of TrueType and OpenType fonts (ISO/IEC 14496-22, chapter 4): a directory of tables.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer::font {

// Tables by tag; views into the font's bytes. Of a collection, none: PDF has no use for one. Errors: damaged.
using SfntTables = std::map<std::string, ByteView>;
Result<SfntTables> readSfnt(ByteView data);

// A font of these tables, with checksums (head.checkSumAdjustment too). version: 0x00010000 or 'true'.
Bytes writeSfnt(std::uint32_t version, const std::map<std::string, Bytes>& tables);

}  // namespace optimizer::font
