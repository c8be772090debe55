#include "optimizer/font/merge.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include "optimizer/font/cff_dict.h"

namespace optimizer::font {

namespace {

using Encoding = std::map<std::uint8_t, std::string>;

// The built-in encoding spelled out, for glyphs that are there.
Encoding effectiveEncoding(const PsFont& font) {
  if (!font.standardEncoding) return font.encoding;
  std::set<std::string_view> present;
  for (const PsGlyph& glyph : font.glyphs) present.insert(glyph.name);
  Encoding encoding;
  for (int code = 0; code < 256; ++code) {
    const std::string_view name = encodingName(BaseEncoding::standard, static_cast<std::uint8_t>(code));
    if (!name.empty() && present.count(name) != 0) encoding[static_cast<std::uint8_t>(code)] = name;
  }
  return encoding;
}

bool sameMatrix(const PsFont& a, const PsFont& b) {
  const auto matrix = [](const PsFont& font) {
    const auto found = font.top.find(kDictFontMatrix);
    return found == font.top.end() ? std::vector<double>() : found->second;
  };
  return matrix(a) == matrix(b);
}

std::string keyOf(const PsFont& font, const PsGlyph& glyph) {
  return font.cidKeyed ? std::to_string(glyph.cid) : glyph.name;
}

void growBox(PsFont& font, const PsFont& other) {
  const auto theirs = other.top.find(kDictFontBBox);
  if (theirs == other.top.end() || theirs->second.size() != 4) return;
  std::vector<double>& box = font.top[kDictFontBBox];
  if (box.size() != 4) box = theirs->second;
  for (std::size_t i = 0; i < 4; ++i) {
    box[i] = i < 2 ? std::min(box[i], theirs->second[i]) : std::max(box[i], theirs->second[i]);
  }
}

// Data of the same glyph in two programs may be padded differently.
bool sameData(ByteView a, ByteView b) {
  if (a.size() < b.size()) std::swap(a, b);
  return std::equal(b.begin(), b.end(), a.begin()) &&
         std::all_of(a.begin() + static_cast<std::ptrdiff_t>(b.size()), a.end(), [](std::uint8_t v) { return v == 0; });
}

bool sameBytes(ByteView a, ByteView b) { return std::equal(a.begin(), a.end(), b.begin(), b.end()); }

std::uint16_t u16(ByteView data, std::size_t at) { return static_cast<std::uint16_t>(data[at] << 8 | data[at + 1]); }
void put16(Bytes& data, std::size_t at, std::uint16_t value) {
  data[at] = static_cast<std::uint8_t>(value >> 8);
  data[at + 1] = static_cast<std::uint8_t>(value);
}

bool samePrograms(const TrueTypeFont& a, const TrueTypeFont& b) {
  if (a.programs.size() != b.programs.size()) return false;
  for (const auto& [tag, bytes] : a.programs) {
    const auto other = b.programs.find(tag);
    if (other == b.programs.end() || !sameBytes(bytes, other->second)) return false;
  }
  // Flags and units per em of head; version of maxp.
  return sameBytes(a.head.subspan(16, 4), b.head.subspan(16, 4)) && a.maxp.size() == b.maxp.size() &&
         sameBytes(a.maxp.first(4), b.maxp.first(4));
}

// The union of two cmaps with the same directory; nothing where a code leads to two glyphs.
std::optional<std::vector<CmapSubtable>> unite(const TrueTypePart& a, const TrueTypePart& b) {
  std::vector<CmapSubtable> united = a.font.cmap;
  if (united.size() != b.font.cmap.size()) return std::nullopt;
  for (std::size_t i = 0; i < united.size(); ++i) {
    const CmapSubtable& other = b.font.cmap[i];
    if (united[i].platform != other.platform || united[i].encoding != other.encoding) return std::nullopt;
    std::erase_if(united[i].glyphs, [&](const auto& entry) { return a.glyphs.count(entry.second) == 0; });
    for (const auto& [code, glyph] : other.glyphs) {
      if (b.glyphs.count(glyph) == 0) continue;
      if (united[i].glyphs.emplace(code, glyph).first->second != glyph) return std::nullopt;
    }
  }
  return united;
}

// True where every user still comes to the glyphs that it came to before.
bool leadsAlike(const TrueTypePart& before, const TrueTypeFont& after) {
  for (const ShownCodes& user : before.users) {
    bool namesBefore = false, namesAfter = false;
    if (shownGlyphs(user, before.font, namesBefore) != shownGlyphs(user, after, namesAfter)) return false;
  }
  return true;
}

}  // namespace

bool mergeInto(PsFont& font, const PsFont& other) {
  if (font.cidKeyed != other.cidKeyed || !sameMatrix(font, other)) return false;
  if (font.registry != other.registry || font.ordering != other.ordering) return false;
  Encoding encoding = effectiveEncoding(font);
  if (!font.cidKeyed) {
    for (const auto& [code, name] : effectiveEncoding(other)) {
      if (encoding.emplace(code, name).first->second != name) return false;
    }
  }
  // Private dictionaries of the other, by their place in the union.
  std::vector<PrivateDict> dicts = font.dicts;
  std::vector<std::uint8_t> place;
  for (const PrivateDict& dict : other.dicts) {
    const auto found = std::find(dicts.begin(), dicts.end(), dict);
    place.push_back(static_cast<std::uint8_t>(found - dicts.begin()));
    if (found == dicts.end()) dicts.push_back(dict);
  }
  if (dicts.size() > (font.cidKeyed ? 255u : 1u)) return false;

  std::map<std::string, const PsGlyph*> present;
  for (const PsGlyph& glyph : font.glyphs) present.emplace(keyOf(font, glyph), &glyph);
  std::vector<PsGlyph> added;
  for (std::size_t i = 0; i < other.glyphs.size(); ++i) {
    PsGlyph glyph = other.glyphs[i];
    glyph.dict = place[glyph.dict];
    const auto found = present.find(keyOf(other, glyph));
    if (found == present.end()) {
      added.push_back(std::move(glyph));
    } else if (found->second->outline != glyph.outline || found->second->dict != glyph.dict) {
      return false;
    }
  }
  if (font.glyphs.size() + added.size() > 65535) return false;
  font.standardEncoding = font.standardEncoding && other.standardEncoding;
  font.encoding = font.standardEncoding ? Encoding() : std::move(encoding);
  font.dicts = std::move(dicts);
  growBox(font, other);
  for (PsGlyph& glyph : added) font.glyphs.push_back(std::move(glyph));
  return true;
}

std::optional<TrueTypePart> readPart(ByteView program, const std::vector<ShownCodes>& users) {
  Result<TrueTypeFont> font = readTrueType(program);
  if (!font.ok()) return std::nullopt;
  TrueTypePart part;
  part.font = std::move(*font);
  part.users = users;
  bool needsNames = false;
  for (const ShownCodes& user : users) {
    const auto shown = shownGlyphs(user, part.font, needsNames);
    if (!shown || needsNames) return std::nullopt;
    part.glyphs.insert(shown->begin(), shown->end());
  }
  part.glyphs.insert(0);
  if (!addComponents(part.font, part.glyphs).ok()) return std::nullopt;
  std::erase_if(part.glyphs, [&](std::uint16_t g) { return g >= part.font.glyphs.size(); });
  return part;
}

bool mergeInto(TrueTypePart& part, const TrueTypePart& other, std::deque<Bytes>& store) {
  if (!samePrograms(part.font, other.font)) return false;
  for (const std::uint16_t g : other.glyphs) {
    if (part.glyphs.count(g) == 0) continue;
    const TrueTypeGlyph &a = part.font.glyphs[g], &b = other.font.glyphs[g];
    if (!sameData(a.data, b.data) || a.advance != b.advance || a.leftSideBearing != b.leftSideBearing) return false;
  }
  // A program without any cmap serves composite fonts only, and does not mind one.
  std::optional<std::vector<CmapSubtable>> cmap;
  if (part.font.cmap.empty() || other.font.cmap.empty()) {
    const bool simple = std::any_of(part.users.begin(), part.users.end(), [](const auto& u) { return !u.composite; }) &&
                        std::any_of(other.users.begin(), other.users.end(), [](const auto& u) { return !u.composite; });
    if (simple) return false;
    cmap = part.font.cmap.empty() ? other.font.cmap : part.font.cmap;
    const std::set<std::uint16_t>& own = part.font.cmap.empty() ? other.glyphs : part.glyphs;
    for (CmapSubtable& subtable : *cmap) {
      std::erase_if(subtable.glyphs, [&](const auto& entry) { return own.count(entry.second) == 0; });
    }
  } else {
    cmap = unite(part, other);
  }
  if (!cmap) return false;

  TrueTypeFont united = part.font;
  united.names.clear();
  united.cmap = std::move(*cmap);
  if (other.font.glyphs.size() > united.glyphs.size()) united.glyphs.resize(other.font.glyphs.size());
  for (const std::uint16_t g : other.glyphs) united.glyphs[g] = other.font.glyphs[g];
  // Of maxp the larger of each limit after the glyph count, of head the box around both.
  Bytes maxp(part.font.maxp.begin(), part.font.maxp.end()), head(part.font.head.begin(), part.font.head.end());
  for (std::size_t at = 6; at + 2 <= maxp.size(); at += 2) {
    put16(maxp, at, std::max(u16(maxp, at), u16(other.font.maxp, at)));
  }
  for (std::size_t at = 36; at < 44; at += 2) {
    const auto a = static_cast<std::int16_t>(u16(head, at)), b = static_cast<std::int16_t>(u16(other.font.head, at));
    put16(head, at, static_cast<std::uint16_t>(at < 40 ? std::min(a, b) : std::max(a, b)));
  }
  TrueTypeFont checked = united;
  if (!leadsAlike(part, checked) || !leadsAlike(other, checked)) return false;
  store.push_back(std::move(maxp));
  united.maxp = store.back();
  store.push_back(std::move(head));
  united.head = store.back();
  part.font = std::move(united);
  part.glyphs.insert(other.glyphs.begin(), other.glyphs.end());
  part.users.insert(part.users.end(), other.users.begin(), other.users.end());
  return true;
}

}  // namespace optimizer::font
