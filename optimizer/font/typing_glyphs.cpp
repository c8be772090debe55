#include "optimizer/font/typing_glyphs.h"

#include <ft2build.h>
#include FT_FREETYPE_H

#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "optimizer/base/bytes.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/font/cmap_text.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/predefined_cmaps.h"
#include "optimizer/font/shown_codes.h"
#include "optimizer/font/standard_fonts.h"

namespace optimizer {
namespace {

using Glyphs = std::map<char32_t, TypingGlyph>;

constexpr double kUnknownWidth = 500;
constexpr std::size_t kLargestProgram = std::size_t{64} << 20;
constexpr int kMostWidths = 200'000;

bool fromRightToLeft(char32_t c) {
  return (c >= 0x590 && c <= 0x8ff) || (c >= 0xfb1d && c <= 0xfefc) || (c >= 0x10800 && c <= 0x10fff) ||
         (c >= 0x1e800 && c <= 0x1efff);
}

// The program of a descriptor, asked by character. FreeType makes the table for fonts that only name their
// glyphs.
class Program {
 public:
  explicit Program(QPDFObjectHandle holder) {
    QPDFObjectHandle descriptor = holder.getKey("/FontDescriptor");
    if (!descriptor.isDictionary()) return;
    for (const char* key : {"/FontFile", "/FontFile2", "/FontFile3"}) {
      QPDFObjectHandle stream = descriptor.getKey(key);
      if (!stream.isStream()) continue;
      embedded_ = true;
      Result<Bytes> data = decodedStreamData(stream);
      if (!data.ok() || data->size() > kLargestProgram) return;
      bytes_ = std::move(*data);
      if (FT_Init_FreeType(&library_) != 0) library_ = nullptr;
      if (library_ == nullptr ||
          FT_New_Memory_Face(library_, bytes_.data(), static_cast<FT_Long>(bytes_.size()), 0, &face_) != 0) {
        face_ = nullptr;
      }
      return;
    }
  }
  ~Program() {
    if (face_ != nullptr) FT_Done_Face(face_);
    if (library_ != nullptr) FT_Done_FreeType(library_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool embedded() const { return embedded_; }
  unsigned glyphOf(char32_t character) const {
    return face_ == nullptr ? 0 : FT_Get_Char_Index(face_, character);
  }

 private:
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
  Bytes bytes_;
  bool embedded_ = false;
};

double simpleWidth(QPDFObjectHandle font, int code, const std::string& name) {
  QPDFObjectHandle widths = font.getKey("/Widths"), first = font.getKey("/FirstChar");
  if (widths.isArray() && first.isInteger()) {
    const long long at = code - first.getIntValue();
    if (at >= 0 && at < widths.getArrayNItems() && widths.getArrayItem(static_cast<int>(at)).isNumber()) {
      return widths.getArrayItem(static_cast<int>(at)).getNumericValue();
    }
  }
  const std::string base = withoutSubsetTag(nameAt(font, "/BaseFont"));
  return font::standardFontWidth(font::standardFontName(base), name)
      .value_or(static_cast<int>(kUnknownWidth));
}

Glyphs simpleGlyphs(QPDFObjectHandle font, const std::set<char32_t>& wanted) {
  Glyphs found;
  const font::SimpleEncoding encoding = simpleEncoding(font.getKey("/Encoding"));
  const Program program(font);
  for (int code = 255; code >= 0; --code) {
    const auto byte = static_cast<std::uint8_t>(code);
    const auto difference = encoding.differences.find(byte);
    std::string name;
    if (difference != encoding.differences.end()) {
      name = difference->second;
    } else if (encoding.base) {
      name = font::encodingName(*encoding.base, byte);
    }
    const auto character = font::unicodeOfName(name);
    if (!character || wanted.count(*character) == 0) continue;
    if (program.embedded() && program.glyphOf(*character) == 0) continue;
    found[*character] = {std::string(1, static_cast<char>(byte)), simpleWidth(font, code, name)};
  }
  return found;
}

double cidWidth(QPDFObjectHandle holder, std::uint32_t cid) {
  QPDFObjectHandle usual = holder.getKey("/DW"), array = holder.getKey("/W");
  const double other = usual.isNumber() ? usual.getNumericValue() : 1000;
  if (!array.isArray()) return other;
  const int count = std::min(array.getArrayNItems(), kMostWidths);
  for (int i = 0; i + 1 < count;) {
    QPDFObjectHandle first = array.getArrayItem(i), second = array.getArrayItem(i + 1);
    if (!first.isInteger()) return other;
    const long long at = cid - first.getIntValue();
    QPDFObjectHandle width;
    if (second.isArray()) {
      if (at >= 0 && at < second.getArrayNItems()) width = second.getArrayItem(static_cast<int>(at));
      i += 2;
    } else {
      if (!second.isInteger() || i + 2 >= count) return other;
      if (at >= 0 && cid <= second.getIntValue()) width = array.getArrayItem(i + 2);
      i += 3;
    }
    if (width.isInitialized() && width.isNumber()) return width.getNumericValue();
  }
  return other;
}

std::string twoBytes(std::uint32_t value) {
  return {static_cast<char>(value >> 8 & 0xff), static_cast<char>(value & 0xff)};
}

// UTF-16, as CMaps by Unicode take it; those of UCS-2 have no surrogates.
std::string utf16(char32_t c, bool surrogates) {
  if (c < 0x10000) return twoBytes(c);
  return surrogates ? twoBytes(0xd800 + (c - 0x10000) / 0x400) + twoBytes(0xdc00 + (c - 0x10000) % 0x400)
                    : "";
}

void byUnicodeCmap(const std::string& name, QPDFObjectHandle holder, const std::set<char32_t>& wanted,
                   Glyphs& found) {
  const Program program(holder);
  for (const char32_t c : wanted) {
    const std::string code = utf16(c, name.find("UTF16") != std::string::npos);
    std::set<std::uint32_t> cids;
    if (code.empty() || !font::addPredefinedCids(name, {font::codeValue(code)}, cids) || *cids.rbegin() == 0)
      continue;
    // Of an embedded subset nothing here tells which CIDs it has.
    if (!program.embedded()) found[c] = {code, cidWidth(holder, *cids.rbegin())};
  }
}

// Codes are CIDs. The ToUnicode map names characters; the table of a TrueType program leads to glyphs, which
// are the CIDs.
void byIdentity(QPDFObjectHandle font, QPDFObjectHandle holder, const std::set<char32_t>& wanted,
                Glyphs& found) {
  QPDFObjectHandle toUnicode = font.getKey("/ToUnicode"), map = holder.getKey("/CIDToGIDMap");
  if (toUnicode.isStream()) {
    const Result<Bytes> data = decodedStreamData(toUnicode);
    const auto cmap = data.ok() ? font::readCmapText(*data) : std::nullopt;
    if (cmap) {
      for (const auto& [code, text] : cmap->unicode) {
        const char32_t c = text.size() == 2 ? font::codeValue(text) : 0;
        if (code.size() == 2 && wanted.count(c) != 0)
          found[c] = {code, cidWidth(holder, font::codeValue(code))};
      }
    }
  }
  if (nameAt(holder, "/Subtype") != "/CIDFontType2" || map.isStream()) return;
  const Program program(holder);
  for (const char32_t c : wanted) {
    const unsigned glyph = program.glyphOf(c);
    if (glyph > 0 && glyph <= 0xffff && found.count(c) == 0)
      found[c] = {twoBytes(glyph), cidWidth(holder, glyph)};
  }
}

}  // namespace

std::map<char32_t, TypingGlyph> typingGlyphs(QPDFObjectHandle font, const std::u32string& text) {
  std::set<char32_t> wanted;
  for (const char32_t c : text) {
    if (!fromRightToLeft(c)) wanted.insert(c);
  }
  Glyphs found;
  if (!font.isDictionary()) return found;
  const std::string subtype = nameAt(font, "/Subtype"), encoding = nameAt(font, "/Encoding");
  if (subtype == "/Type1" || subtype == "/MMType1" || subtype == "/TrueType")
    return simpleGlyphs(font, wanted);
  QPDFObjectHandle list = font.getKey("/DescendantFonts");
  if (subtype != "/Type0" || !list.isArray() || list.getArrayNItems() < 1) return found;
  QPDFObjectHandle holder = list.getArrayItem(0);
  if (!holder.isDictionary()) return found;
  if (encoding == "/Identity-H") {
    byIdentity(font, holder, wanted, found);
  } else if (encoding.rfind("/Uni", 0) == 0 && encoding.ends_with("-H")) {
    byUnicodeCmap(encoding.substr(1), holder, wanted, found);
  }
  return found;
}

}  // namespace optimizer
