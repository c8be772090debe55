// The character codes shown through one font dictionary (ISO 32000-1, 9.4.3 and 9.7.6), gathered fast.
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/content/codespace.h"
#include "optimizer/content/geometry.h"

namespace optimizer::content {

// Embedded CMaps that were read before: many fonts may have the same one.
using Codespaces = std::map<QPDFObjGen, std::optional<Codespace>>;

class FontCodes {
 public:
  FontCodes(QPDFObjectHandle font, Codespaces& known);

  // Notes every code of a shown string.
  void show(ByteView string);

  // False when a string did not split into codes.
  bool complete() const { return complete_; }
  std::set<std::uint32_t> codes() const;

  // Type 3 fonts (ISO 32000-1, 9.6.5).
  bool type3() const { return type3_; }
  QPDFObjectHandle font() const { return font_; }
  const Matrix& fontMatrix() const { return fontMatrix_; }
  // The procedure of a code's glyph; no stream when it has none.
  QPDFObjectHandle glyph(std::uint8_t code);
  // Codes whose glyphs are known to draw no image and need nothing of where they are shown.
  std::bitset<256> plainGlyphs;

 private:
  void add(std::uint32_t code);
  void readType3Encoding();

  QPDFObjectHandle font_;
  bool composite_ = false;
  bool type3_ = false;
  bool complete_ = true;
  bool twoByte_ = false;
  std::optional<Codespace> codespace_;
  std::vector<std::unique_ptr<std::bitset<256>>> low_;  // codes below 65536, by their high byte
  std::set<std::uint32_t> high_;
  Matrix fontMatrix_;
  QPDFObjectHandle charProcs_;
  std::optional<std::map<std::uint8_t, std::string>> glyphNames_;
};

// A matrix from an array of six numbers, or nothing.
std::optional<Matrix> readMatrix(QPDFObjectHandle array);
// A rectangle from an array of four numbers, its corners in any order (ISO 32000-1, 7.9.5), or nothing.
std::optional<Rect> readRect(QPDFObjectHandle array);

}  // namespace optimizer::content
