// The Compact Font Format, written (Adobe Technical Note 5176): the parts in the order of the reader's head
// comment, each in the smallest of its formats. Offsets are numbers whose length depends on their value, so
// the layout is computed again until it stands still.
#include <algorithm>
#include <map>
#include <string>

#include "optimizer/base/deflate.h"
#include "optimizer/base/writer.h"
#include "optimizer/font/cff_dict.h"
#include "optimizer/font/cff_strings.h"
#include "optimizer/font/ps_font.h"
#include "optimizer/font/subroutines.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kDeflateWindow = 32768;
constexpr int kQuickDeflate = 9;

Error unsupported(const char* what) { return Error{ErrorKind::unsupported, std::string("CFF: ") + what}; }

Bytes writeIndex(const std::vector<Bytes>& items) {
  Writer out;
  out.u16(static_cast<std::uint32_t>(items.size()));
  if (items.empty()) return out.take();
  std::size_t total = 1;
  for (const Bytes& item : items) total += item.size();
  const std::size_t offSize = total < 0x100 ? 1 : total < 0x10000 ? 2 : total < 0x1000000 ? 3 : 4;
  out.u8(static_cast<std::uint32_t>(offSize));
  std::size_t at = 1;
  out.number(1, offSize);
  for (const Bytes& item : items) {
    at += item.size();
    out.number(static_cast<std::uint32_t>(at), offSize);
  }
  for (const Bytes& item : items) out.bytes(item);
  return out.take();
}

std::size_t widthSize(double difference) {
  if (difference != static_cast<double>(static_cast<long>(difference))) return 5;
  return std::abs(difference) <= 107 ? 1 : std::abs(difference) <= 1131 ? 2 : 3;
}

class CffWriter {
 public:
  CffWriter(const PsFont& font, Subroutines subroutines) : font_(font), subroutines_(subroutines) {}
  Result<Bytes> write();

 private:
  struct Widths {
    double defaultWidth = 0, nominalWidth = 0;
  };

  void orderGlyphs();
  void chooseWidths();
  std::uint16_t sidOf(const std::string& text);
  Bytes charset();
  Bytes encoding();
  Bytes fdSelect() const;
  Bytes privateDict(std::size_t dict) const;
  Status encodeCharstrings();
  Bytes topDict(const std::map<std::uint16_t, std::vector<double>>& offsets);

  const PsFont& font_;
  Subroutines subroutines_;
  std::vector<const PsGlyph*> glyphs_;    // in the order they are written
  std::vector<std::uint8_t> firstCodes_;  // of the leading encoded glyphs after .notdef
  std::vector<std::pair<std::uint8_t, std::string>> furtherCodes_;
  std::vector<Widths> widths_;
  std::vector<Bytes> strings_;
  std::map<std::string, std::uint16_t> sids_;
  std::vector<Bytes> charstrings_;
  std::vector<Bytes> globalSubrs_;
};

// Name-keyed glyphs go in the order of their codes, because an encoding numbers the first glyphs; CID-keyed
// ones by CID, because ranges make the charset short.
void CffWriter::orderGlyphs() {
  for (const PsGlyph& glyph : font_.glyphs) glyphs_.push_back(&glyph);
  if (font_.cidKeyed) {
    std::stable_sort(glyphs_.begin() + 1, glyphs_.end(),
                     [](const PsGlyph* a, const PsGlyph* b) { return a->cid < b->cid; });
    return;
  }
  std::map<std::string_view, int> codeOf;
  std::map<std::string_view, std::size_t> present;
  for (std::size_t i = 1; i < glyphs_.size(); ++i) present.emplace(glyphs_[i]->name, i);
  if (!font_.standardEncoding) {
    for (const auto& [code, name] : font_.encoding) {
      if (present.count(name) == 0) continue;
      if (!codeOf.emplace(name, code).second) furtherCodes_.emplace_back(code, name);
    }
  }
  const auto rank = [&](const PsGlyph* glyph) {
    const auto code = codeOf.find(glyph->name);
    if (code != codeOf.end()) return std::pair(0, code->second);
    // SIDs of standard strings rise with the alphabet of common encodings, which makes ranges.
    const auto sid = standardSid(glyph->name);
    return std::pair(1, sid ? static_cast<int>(*sid) : 1000);
  };
  std::stable_sort(glyphs_.begin() + 1, glyphs_.end(),
                   [&](const PsGlyph* a, const PsGlyph* b) { return rank(a) < rank(b); });
  for (std::size_t i = 1; i < glyphs_.size(); ++i) {
    const auto code = codeOf.find(glyphs_[i]->name);
    if (code == codeOf.end()) break;
    firstCodes_.push_back(static_cast<std::uint8_t>(code->second));
  }
}

// The commonest width becomes the default, and the nominal one is what keeps the differences of the others
// short.
void CffWriter::chooseWidths() {
  widths_.resize(font_.dicts.size());
  for (std::size_t d = 0; d < widths_.size(); ++d) {
    std::map<double, std::size_t> counts;
    for (const PsGlyph* glyph : glyphs_) {
      if (glyph->dict == d) ++counts[glyph->outline.width];
    }
    if (counts.empty()) continue;
    const auto common = std::max_element(counts.begin(), counts.end(),
                                         [](const auto& a, const auto& b) { return a.second < b.second; });
    widths_[d].defaultWidth = common->first;
    counts.erase(common);
    std::size_t best = SIZE_MAX, tried = 0;
    for (const auto& candidate : counts) {
      if (++tried > 256) break;
      for (const double shift : {0.0, 107.0}) {
        const double nominal = candidate.first + shift;
        std::size_t cost = 0;
        for (const auto& [width, count] : counts) cost += count * widthSize(width - nominal);
        if (cost < best) {
          best = cost;
          widths_[d].nominalWidth = nominal;
        }
      }
    }
  }
}

std::uint16_t CffWriter::sidOf(const std::string& text) {
  if (const auto sid = standardSid(text)) return *sid;
  const auto [entry, added] =
      sids_.emplace(text, static_cast<std::uint16_t>(kStandardStringCount + strings_.size()));
  if (added) strings_.emplace_back(text.begin(), text.end());
  return entry->second;
}

Bytes CffWriter::charset() {
  std::vector<std::uint16_t> ids;
  for (std::size_t i = 1; i < glyphs_.size(); ++i) {
    ids.push_back(font_.cidKeyed ? glyphs_[i]->cid : sidOf(glyphs_[i]->name));
  }
  const auto ranges = [&](std::uint32_t format, std::size_t most) {
    Writer out;
    out.u8(format);
    for (std::size_t i = 0; i < ids.size();) {
      std::size_t end = i + 1;
      while (end < ids.size() && ids[end] == ids[end - 1] + 1 && end - i <= most) ++end;
      out.u16(ids[i]);
      out.number(static_cast<std::uint32_t>(end - i - 1), format);
      i = end;
    }
    return out.take();
  };
  Writer plain;
  plain.u8(0);
  for (const std::uint16_t id : ids) plain.u16(id);
  Bytes best = plain.take();
  for (const std::uint32_t format : {1u, 2u}) {
    Bytes candidate = ranges(format, format == 1 ? 255 : 65535);
    if (candidate.size() < best.size()) best = std::move(candidate);
  }
  return best;
}

Bytes CffWriter::encoding() {
  const std::uint32_t supplement = furtherCodes_.empty() ? 0 : 0x80;
  Writer plain;
  plain.u8(supplement);
  plain.u8(static_cast<std::uint32_t>(firstCodes_.size()));
  for (const std::uint8_t code : firstCodes_) plain.u8(code);
  Writer ranges;
  ranges.u8(1 | supplement);
  ranges.u8(0);
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < firstCodes_.size(); ++count) {
    std::size_t end = i + 1;
    while (end < firstCodes_.size() && firstCodes_[end] == firstCodes_[end - 1] + 1) ++end;
    ranges.u8(firstCodes_[i]);
    ranges.u8(static_cast<std::uint32_t>(end - i - 1));
    i = end;
  }
  const bool useRanges = count <= 255 && (ranges.size() < plain.size() || firstCodes_.size() > 255);
  if (useRanges) ranges.patch(1, count, 1);
  Writer out = useRanges ? std::move(ranges) : std::move(plain);
  if (supplement != 0) {
    out.u8(static_cast<std::uint32_t>(furtherCodes_.size()));
    for (const auto& [code, name] : furtherCodes_) {
      out.u8(code);
      out.u16(sidOf(name));
    }
  }
  return out.take();
}

Bytes CffWriter::fdSelect() const {
  Writer plain, ranges;
  plain.u8(0);
  for (const PsGlyph* glyph : glyphs_) plain.u8(glyph->dict);
  ranges.u8(3);
  ranges.u16(0);
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < glyphs_.size(); ++i) {
    if (i > 0 && glyphs_[i]->dict == glyphs_[i - 1]->dict) continue;
    ranges.u16(static_cast<std::uint32_t>(i));
    ranges.u8(glyphs_[i]->dict);
    ++count;
  }
  ranges.u16(static_cast<std::uint32_t>(glyphs_.size()));
  ranges.patch(1, count, 2);
  return ranges.size() < plain.size() ? ranges.take() : plain.take();
}

Bytes CffWriter::privateDict(std::size_t dict) const {
  Writer out;
  for (const auto& [op, numbers] : font_.dicts[dict].entries) writeDictEntry(out, op, numbers);
  if (widths_[dict].defaultWidth != 0) writeDictEntry(out, kDictDefaultWidthX, {widths_[dict].defaultWidth});
  if (widths_[dict].nominalWidth != 0) writeDictEntry(out, kDictNominalWidthX, {widths_[dict].nominalWidth});
  return out.take();
}

Status CffWriter::encodeCharstrings() {
  for (const PsGlyph* glyph : glyphs_) {
    const Widths& widths = widths_[glyph->dict];
    Result<Bytes> code = encodeType2(glyph->outline, widths.defaultWidth, widths.nominalWidth);
    OPTIMIZER_TRY(code);
    charstrings_.push_back(std::move(*code));
  }
  if (subroutines_ == Subroutines::build) globalSubrs_ = buildSubroutines(charstrings_);
  return {};
}

Bytes CffWriter::topDict(const std::map<std::uint16_t, std::vector<double>>& offsets) {
  Writer out;
  // ROS must be first.
  if (font_.cidKeyed) {
    writeDictEntry(out, kDictRos,
                   {static_cast<double>(sidOf(font_.registry)), static_cast<double>(sidOf(font_.ordering)),
                    static_cast<double>(font_.supplement)});
    if (glyphs_.back()->cid >= 8720) writeDictEntry(out, kDictCidCount, {glyphs_.back()->cid + 1.0});
  }
  for (const auto& [op, numbers] : font_.top) writeDictEntry(out, op, numbers);
  for (const auto& [op, numbers] : offsets) writeDictEntry(out, op, numbers);
  return out.take();
}

Result<Bytes> CffWriter::write() {
  if (font_.glyphs.empty() || font_.dicts.empty() || font_.glyphs.size() > 65535) {
    return unsupported("no glyphs, or too many");
  }
  orderGlyphs();
  chooseWidths();
  OPTIMIZER_TRY(encodeCharstrings());

  const Bytes charsetBytes = charset();
  const bool ownEncoding = !font_.cidKeyed && !font_.standardEncoding && !firstCodes_.empty();
  const Bytes encodingBytes = ownEncoding ? encoding() : Bytes();
  const Bytes selectBytes = font_.cidKeyed ? fdSelect() : Bytes();
  const Bytes charstringBytes = writeIndex(charstrings_);
  std::vector<Bytes> privates;
  for (std::size_t d = 0; d < font_.dicts.size(); ++d) privates.push_back(privateDict(d));
  const Bytes nameBytes = writeIndex({Bytes(font_.name.begin(), font_.name.end())});
  (void)topDict({});  // gives the strings of the top dictionary their numbers
  const Bytes stringBytes = writeIndex(strings_);
  const Bytes subrBytes = writeIndex(globalSubrs_);

  std::map<std::uint16_t, std::vector<double>> offsets;
  Bytes body;
  for (int round = 0; round < 16; ++round) {
    const Bytes top = writeIndex({topDict(offsets)});
    const std::size_t start = 4 + nameBytes.size() + top.size() + stringBytes.size() + subrBytes.size();
    Writer out;
    std::map<std::uint16_t, std::vector<double>> next;
    const auto here = [&] { return static_cast<double>(start + out.size()); };
    if (ownEncoding) {
      next[kDictEncoding] = {here()};
      out.bytes(encodingBytes);
    }
    next[kDictCharset] = {here()};
    out.bytes(charsetBytes);
    if (font_.cidKeyed) {
      next[kDictFdSelect] = {here()};
      out.bytes(selectBytes);
    }
    next[kDictCharStrings] = {here()};
    out.bytes(charstringBytes);
    std::vector<Bytes> fontDicts;
    for (std::size_t d = 0; d < privates.size(); ++d) {
      const std::vector<double> place = {static_cast<double>(privates[d].size()), here()};
      out.bytes(privates[d]);
      if (!font_.cidKeyed) {
        next[kDictPrivate] = place;
        continue;
      }
      Writer entries;
      for (const auto& [op, numbers] : font_.dicts[d].fontEntries) writeDictEntry(entries, op, numbers);
      writeDictEntry(entries, kDictPrivate, place);
      fontDicts.push_back(entries.take());
    }
    if (font_.cidKeyed) {
      next[kDictFdArray] = {here()};
      out.bytes(writeIndex(fontDicts));
    }
    if (next == offsets) {
      Writer file;
      file.u8(1);
      file.u8(0);
      file.u8(4);
      file.u8(2);
      for (const Bytes* part : {&nameBytes, &top, &stringBytes, &subrBytes}) file.bytes(*part);
      file.bytes(out.view());
      return file.take();
    }
    offsets = std::move(next);
  }
  return unsupported("the layout does not settle");
}

}  // namespace

Result<Bytes> writeCff(const PsFont& font, Subroutines subroutines) {
  return CffWriter(font, subroutines).write();
}

Result<Bytes> writeSmallestCff(const PsFont& font) {
  Result<Bytes> plain = writeCff(font, Subroutines::none);
  OPTIMIZER_TRY(plain);
  // What Deflate looks back on it shares by itself, and better.
  if (plain->size() <= kDeflateWindow) return plain;
  Result<Bytes> shared = writeCff(font, Subroutines::build);
  if (shared.ok() && deflate(*shared, kQuickDeflate).size() < deflate(*plain, kQuickDeflate).size())
    return shared;
  return plain;
}

}  // namespace optimizer::font
