// The Compact Font Format, read (Adobe Technical Note 5176). A header, then four INDEXes in a row: font names, top
// dictionaries, strings and global subroutines. The top dictionary holds the offsets of all the rest:
//   1. CharStrings, an INDEX of one charstring per glyph,
//   2. charset, a glyph's name (as string number) or, in a CID-keyed font, its CID,
//   3. Encoding, in name-keyed fonts,
//   4. Private with its local Subrs; a CID-keyed font has several, one per entry of FDArray, chosen by FDSelect.
#include <algorithm>
#include <deque>
#include <string>

#include "optimizer/base/reader.h"
#include "optimizer/font/cff_dict.h"
#include "optimizer/font/cff_strings.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/ps_font.h"

namespace optimizer::font {

namespace {

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("CFF: ") + what}; }
Error unsupported(const char* what) { return Error{ErrorKind::unsupported, std::string("CFF: ") + what}; }

using Index = std::vector<ByteView>;

Result<Index> readIndex(ByteView data, Reader& in) {
  Index items;
  const std::size_t count = in.u16();
  if (count == 0) {
    if (!in.ok()) return damaged("an INDEX is cut off");
    return items;
  }
  const std::size_t offSize = in.u8();
  if (offSize < 1 || offSize > 4 || in.remaining() < (count + 1) * offSize) return damaged("an INDEX is cut off");
  const std::size_t base = in.position() + (count + 1) * offSize - 1;
  std::size_t start = in.number(offSize);
  items.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t end = in.number(offSize);
    if (start < 1 || end < start || end > data.size() - base) return damaged("an INDEX has bad offsets");
    items.push_back(data.subspan(base + start, end - start));
    start = end;
  }
  in.seek(base + start);
  return items;
}

class CffReader {
 public:
  explicit CffReader(ByteView data) : data_(data) {}
  Result<PsFont> read(const GlyphFilter& keep);

 private:
  Status readHead();
  Status readPrivate(const DictEntries& owner, PrivateDict& dict);
  Status readDicts();
  Status readCharset();
  Status readEncoding();
  Status readGlyphs(const GlyphFilter& keep);
  std::string nameOf(std::uint16_t sid) const;
  // The first number of a top dictionary entry, or otherwise where it is absent.
  std::size_t offset(std::uint16_t op, std::size_t otherwise = 0) const;

  ByteView data_;
  PsFont font_;
  DictEntries top_;
  Index strings_, globalSubrs_, charstrings_;
  std::vector<Index> localSubrs_;                      // by dict
  std::vector<std::pair<double, double>> widths_;      // default and nominal, by dict
  std::vector<std::uint16_t> charset_;                 // SID or CID by glyph
  std::vector<std::uint8_t> dictOfGlyph_;
};

std::size_t firstOffset(const DictEntries& dict, std::uint16_t op, std::size_t otherwise) {
  const auto found = dict.find(op);
  if (found == dict.end() || found->second.empty() || found->second[0] < 0) return otherwise;
  return static_cast<std::size_t>(found->second[0]);
}

std::size_t CffReader::offset(std::uint16_t op, std::size_t otherwise) const {
  return firstOffset(top_, op, otherwise);
}

std::string CffReader::nameOf(std::uint16_t sid) const {
  if (sid < kStandardStringCount) return std::string(standardString(sid));
  const std::size_t index = sid - kStandardStringCount;
  if (index >= strings_.size()) return {};
  return {strings_[index].begin(), strings_[index].end()};
}

Status CffReader::readHead() {
  Reader in(data_);
  const int major = in.u8();
  in.skip(1);
  const std::size_t headerSize = in.u8();
  if (!in.ok() || major != 1) return unsupported("not version 1");
  in.seek(headerSize);
  Result<Index> names = readIndex(data_, in);
  OPTIMIZER_TRY(names);
  Result<Index> tops = readIndex(data_, in);
  OPTIMIZER_TRY(tops);
  if (tops->size() != 1) return unsupported("not exactly one font");
  if (!names->empty()) font_.name.assign((*names)[0].begin(), (*names)[0].end());
  Result<Index> strings = readIndex(data_, in);
  OPTIMIZER_TRY(strings);
  strings_ = std::move(*strings);
  Result<Index> subrs = readIndex(data_, in);
  OPTIMIZER_TRY(subrs);
  globalSubrs_ = std::move(*subrs);

  Result<DictEntries> top = readDict((*tops)[0]);
  OPTIMIZER_TRY(top);
  top_ = std::move(*top);
  if (offset(kDictCharstringType, 2) != 2) return unsupported("Type 1 charstrings");
  if (offset(kDictPaintType) != 0) return unsupported("an outlined font");
  if (top_.count(kDictSyntheticBase) != 0) return unsupported("a synthetic font");
  for (const std::uint16_t op : {kDictFontBBox, kDictFontMatrix}) {
    const auto found = top_.find(op);
    if (found != top_.end()) font_.top[op] = found->second;
  }
  const auto ros = top_.find(kDictRos);
  font_.cidKeyed = ros != top_.end();
  if (font_.cidKeyed) {
    if (ros->second.size() < 3) return damaged("a bad ROS entry");
    font_.registry = nameOf(static_cast<std::uint16_t>(ros->second[0]));
    font_.ordering = nameOf(static_cast<std::uint16_t>(ros->second[1]));
    font_.supplement = static_cast<int>(ros->second[2]);
  }
  Reader glyphs(data_, offset(kDictCharStrings, data_.size()));
  Result<Index> charstrings = readIndex(data_, glyphs);
  OPTIMIZER_TRY(charstrings);
  charstrings_ = std::move(*charstrings);
  if (charstrings_.empty()) return damaged("no glyphs");
  return {};
}

Status CffReader::readPrivate(const DictEntries& owner, PrivateDict& dict) {
  localSubrs_.emplace_back();
  widths_.emplace_back(0, 0);
  const auto found = owner.find(kDictPrivate);
  if (found == owner.end()) return {};
  if (found->second.size() < 2 || found->second[0] < 0 || found->second[1] < 0) {
    return damaged("a bad Private entry");
  }
  const auto size = static_cast<std::size_t>(found->second[0]);
  const auto start = static_cast<std::size_t>(found->second[1]);
  const ByteView bytes = slice(data_, start, size);
  if (bytes.size() != size) return damaged("a private dictionary is cut off");
  Result<DictEntries> entries = readDict(bytes);
  OPTIMIZER_TRY(entries);
  const auto number = [&](std::uint16_t op) {
    const auto entry = entries->find(op);
    return entry == entries->end() || entry->second.empty() ? 0.0 : entry->second[0];
  };
  widths_.back() = {number(kDictDefaultWidthX), number(kDictNominalWidthX)};
  const std::size_t subrs = firstOffset(*entries, kDictSubrs, 0);
  if (subrs != 0) {
    Reader in(data_, start + subrs);
    Result<Index> local = readIndex(data_, in);
    OPTIMIZER_TRY(local);
    localSubrs_.back() = std::move(*local);
  }
  for (const std::uint16_t op : {kDictSubrs, kDictDefaultWidthX, kDictNominalWidthX}) entries->erase(op);
  dict.entries = std::move(*entries);
  return {};
}

Status CffReader::readDicts() {
  dictOfGlyph_.assign(charstrings_.size(), 0);
  if (!font_.cidKeyed) {
    font_.dicts.resize(1);
    return readPrivate(top_, font_.dicts[0]);
  }
  Reader array(data_, offset(kDictFdArray, data_.size()));
  Result<Index> fonts = readIndex(data_, array);
  OPTIMIZER_TRY(fonts);
  if (fonts->empty() || fonts->size() > 256) return damaged("a bad FDArray");
  font_.dicts.resize(fonts->size());
  for (std::size_t i = 0; i < fonts->size(); ++i) {
    Result<DictEntries> entries = readDict((*fonts)[i]);
    OPTIMIZER_TRY(entries);
    OPTIMIZER_TRY(readPrivate(*entries, font_.dicts[i]));
    const auto matrix = entries->find(kDictFontMatrix);
    if (matrix != entries->end()) font_.dicts[i].fontEntries.insert(*matrix);
  }
  Reader in(data_, offset(kDictFdSelect, data_.size()));
  const int format = in.u8();
  if (format == 0) {
    for (std::uint8_t& dict : dictOfGlyph_) dict = in.u8();
  } else if (format == 3) {
    const std::size_t ranges = in.u16();
    std::size_t first = in.u16();
    for (std::size_t i = 0; i < ranges && in.ok(); ++i) {
      const std::uint8_t dict = in.u8();
      const std::size_t next = in.u16();
      for (std::size_t g = first; g < next && g < dictOfGlyph_.size(); ++g) dictOfGlyph_[g] = dict;
      first = next;
    }
  } else {
    return damaged("an unknown FDSelect");
  }
  if (!in.ok()) return damaged("FDSelect is cut off");
  for (const std::uint8_t dict : dictOfGlyph_) {
    if (dict >= font_.dicts.size()) return damaged("FDSelect names a missing dictionary");
  }
  return {};
}

Status CffReader::readCharset() {
  const std::size_t count = charstrings_.size();
  charset_.assign(count, 0);
  const std::size_t at = offset(kDictCharset);
  if (at <= 2) {
    for (std::size_t g = 0; g < count; ++g) {
      if (font_.cidKeyed) {
        charset_[g] = static_cast<std::uint16_t>(g);
      } else {
        const auto sid = predefinedCharsetSid(static_cast<int>(at), g);
        if (!sid) return damaged("more glyphs than the charset names");
        charset_[g] = *sid;
      }
    }
    return {};
  }
  Reader in(data_, at);
  const int format = in.u8();
  if (format > 2) return damaged("an unknown charset");
  for (std::size_t g = 1; g < count && in.ok();) {
    const std::size_t first = in.u16();
    const std::size_t more = format == 0 ? 0 : format == 1 ? in.u8() : in.u16();
    for (std::size_t k = 0; k <= more && g < count; ++k) charset_[g++] = static_cast<std::uint16_t>(first + k);
  }
  if (!in.ok()) return damaged("the charset is cut off");
  return {};
}

Status CffReader::readEncoding() {
  const std::size_t at = offset(kDictEncoding);
  if (at == 0) {
    font_.standardEncoding = true;
    return {};
  }
  if (at == 1) return unsupported("the expert encoding");
  Reader in(data_, at);
  const int format = in.u8();
  const auto put = [&](std::uint8_t code, std::size_t glyph) {
    if (glyph < charset_.size()) font_.encoding[code] = nameOf(charset_[glyph]);
  };
  std::size_t glyph = 1;
  const int entries = in.u8();
  for (int i = 0; i < entries && in.ok(); ++i) {
    const int first = in.u8();
    const int more = (format & 0x7f) == 0 ? 0 : in.u8();
    for (int k = 0; k <= more && first + k < 256; ++k) put(static_cast<std::uint8_t>(first + k), glyph++);
  }
  if ((format & 0x7f) > 1) return damaged("an unknown encoding");
  if (format & 0x80) {
    const int supplements = in.u8();
    for (int i = 0; i < supplements && in.ok(); ++i) {
      const std::uint8_t code = in.u8();
      font_.encoding[code] = nameOf(in.u16());
    }
  }
  if (!in.ok()) return damaged("the encoding is cut off");
  return {};
}

Status CffReader::readGlyphs(const GlyphFilter& keep) {
  const std::size_t count = charstrings_.size();
  std::vector<std::string> names(count);
  std::map<std::string, std::size_t> byName;
  if (!font_.cidKeyed) {
    for (std::size_t g = 0; g < count; ++g) {
      names[g] = nameOf(charset_[g]);
      if (names[g].empty()) return damaged("a glyph without a name");
      byName.emplace(names[g], g);
    }
  }
  std::vector<bool> chosen(count, false);
  std::deque<std::size_t> todo;
  const auto choose = [&](std::size_t g) {
    if (!chosen[g]) todo.push_back(g);
    chosen[g] = true;
  };
  for (std::size_t g = 0; g < count; ++g) {
    if (g == 0 || !keep || keep({g, names[g], font_.cidKeyed ? charset_[g] : std::uint16_t{0}})) choose(g);
  }
  CharstringBudget budget;
  std::vector<Glyph> outlines(count);
  for (; !todo.empty(); todo.pop_front()) {
    const std::size_t g = todo.front();
    const std::uint8_t dict = dictOfGlyph_[g];
    const Type2Context context{globalSubrs_, localSubrs_[dict], widths_[dict].first, widths_[dict].second};
    Result<Glyph> outline = decodeType2(charstrings_[g], context, budget);
    OPTIMIZER_TRY(outline);
    if (outline->accent) {
      for (const std::uint8_t code : {outline->accent->base, outline->accent->accent}) {
        const auto part = byName.find(std::string(encodingName(BaseEncoding::standard, code)));
        if (part == byName.end()) return damaged("an accented character without its parts");
        choose(part->second);
      }
    }
    outlines[g] = std::move(*outline);
  }
  for (std::size_t g = 0; g < count; ++g) {
    if (!chosen[g]) continue;
    PsGlyph glyph;
    glyph.name = std::move(names[g]);
    glyph.cid = font_.cidKeyed ? charset_[g] : 0;
    glyph.dict = dictOfGlyph_[g];
    glyph.outline = std::move(outlines[g]);
    font_.glyphs.push_back(std::move(glyph));
  }
  return {};
}

Result<PsFont> CffReader::read(const GlyphFilter& keep) {
  OPTIMIZER_TRY(readHead());
  OPTIMIZER_TRY(readDicts());
  OPTIMIZER_TRY(readCharset());
  if (!font_.cidKeyed) OPTIMIZER_TRY(readEncoding());
  OPTIMIZER_TRY(readGlyphs(keep));
  return std::move(font_);
}

}  // namespace

Result<PsFont> readCff(ByteView data, const GlyphFilter& keep) { return CffReader(data).read(keep); }

}  // namespace optimizer::font
