// DICT data of the Compact Font Format (Adobe Technical Note 5176, chapter 4): numbers followed by their operator.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/base/writer.h"
#include "optimizer/font/ps_font.h"

namespace optimizer::font {

// Operators that the reader and the writer know; two-byte operators are 0x0c00 | second.
enum DictOperator : std::uint16_t {
  kDictFontBBox = 5,
  kDictBlueValues = 6,
  kDictOtherBlues = 7,
  kDictFamilyBlues = 8,
  kDictFamilyOtherBlues = 9,
  kDictStdHW = 10,
  kDictStdVW = 11,
  kDictCharset = 15,
  kDictEncoding = 16,
  kDictCharStrings = 17,
  kDictPrivate = 18,
  kDictSubrs = 19,
  kDictDefaultWidthX = 20,
  kDictNominalWidthX = 21,
  kDictPaintType = 0x0c05,
  kDictCharstringType = 0x0c06,
  kDictFontMatrix = 0x0c07,
  kDictBlueScale = 0x0c09,
  kDictBlueShift = 0x0c0a,
  kDictBlueFuzz = 0x0c0b,
  kDictStemSnapH = 0x0c0c,
  kDictStemSnapV = 0x0c0d,
  kDictForceBold = 0x0c0e,
  kDictLanguageGroup = 0x0c11,
  kDictExpansionFactor = 0x0c12,
  kDictSyntheticBase = 0x0c14,
  kDictRos = 0x0c1e,
  kDictCidCount = 0x0c22,
  kDictFdArray = 0x0c24,
  kDictFdSelect = 0x0c25,
};

Result<DictEntries> readDict(ByteView data);

// Writes one entry in the fewest bytes.
void writeDictEntry(Writer& out, std::uint16_t op, const std::vector<double>& numbers);

}  // namespace optimizer::font
