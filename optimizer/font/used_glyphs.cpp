#include "optimizer/font/used_glyphs.h"

#include <array>
#include <string_view>

namespace optimizer::font {

namespace {

constexpr BaseEncoding kBases[] = {BaseEncoding::standard, BaseEncoding::winAnsi, BaseEncoding::macRoman};

// Names that the dictionary's encoding gives a code; where it names no base, those of every base.
std::set<std::string> dictionaryNames(const SimpleEncoding& encoding, std::uint8_t code, bool guessBase) {
  const auto difference = encoding.differences.find(code);
  if (difference != encoding.differences.end()) return {difference->second};
  std::set<std::string> names;
  for (const BaseEncoding base : kBases) {
    if (encoding.base ? *encoding.base == base : guessBase) names.emplace(encodingName(base, code));
  }
  names.erase("");
  return names;
}

// Spellings of the blank and the hyphen that viewers take for one another.
constexpr std::array<std::string_view, 4> kBlanks = {"space", "nbspace", "nonbreakingspace", "uni00A0"};
constexpr std::array<std::string_view, 5> kHyphens = {"hyphen", "sfthyphen", "softhyphen", "uni00AD", "minus"};

template <std::size_t N>
void addRelatives(const std::array<std::string_view, N>& family, const std::string& name, std::set<std::string>& names) {
  for (const std::string_view member : family) {
    if (member == name) names.insert(family.begin(), family.end());
  }
}

}  // namespace

std::set<std::string> shownNames(const ShownCodes& shown, const std::map<std::uint8_t, std::string>& builtIn,
                                 const std::set<std::string>& all) {
  std::set<std::string> names, missing;
  for (const std::uint32_t value : shown.codes) {
    const auto code = static_cast<std::uint8_t>(value);
    std::set<std::string> candidates = dictionaryNames(shown.encoding, code, false);
    const bool explicitName = !candidates.empty();
    const auto own = builtIn.find(code);
    if (own != builtIn.end() && (!explicitName || shown.encoding.differences.count(code) == 0)) {
      candidates.insert(own->second);
    }
    if (!explicitName) candidates.emplace(encodingName(BaseEncoding::standard, code));
    bool found = false;
    for (const std::string& name : candidates) found = found || all.count(name) != 0;
    if (!found && own != builtIn.end()) candidates.insert(own->second);
    for (const std::string& name : candidates) {
      if (all.count(name) != 0) {
        names.insert(name);
      } else if (!name.empty()) {
        missing.insert(name);
      }
    }
  }
  bool unknown = false;  // some missing name may stand for a glyph whose name we cannot read
  for (const std::string& name : missing) {
    if (name == ".notdef") continue;
    std::set<std::string> relatives;
    addRelatives(kBlanks, name, relatives);
    addRelatives(kHyphens, name, relatives);
    bool found = !relatives.empty();
    const auto unicode = unicodeOfName(name);
    for (const std::string& other : all) {
      if (relatives.count(other) == 0 && !(unicode && unicodeOfName(other) == unicode)) continue;
      names.insert(other);
      found = true;
    }
    unknown = unknown || !found;
  }
  if (unknown) {
    for (const std::string& name : all) {
      if (!unicodeOfName(name)) names.insert(name);
    }
  }
  return names;
}

bool namesAreExplicit(const ShownCodes& shown) {
  for (const std::uint32_t code : shown.codes) {
    if (dictionaryNames(shown.encoding, static_cast<std::uint8_t>(code), false).empty()) return false;
  }
  return true;
}

const std::set<std::uint32_t>& shownCids(const ShownCodes& shown) { return shown.cids ? *shown.cids : shown.codes; }

std::optional<std::set<std::uint16_t>> shownGlyphs(const ShownCodes& shown, const TrueTypeFont& font, bool& needsNames) {
  std::set<std::uint16_t> glyphs;
  if (shown.composite) {
    for (const std::uint32_t cid : shownCids(shown)) {
      std::uint32_t glyph = cid;
      if (shown.cidToGid) {
        const Bytes& map = *shown.cidToGid;
        glyph = 2 * std::size_t{cid} + 1 < map.size()
                    ? static_cast<std::uint32_t>(map[2 * cid] << 8 | map[2 * cid + 1])
                    : 0u;
      }
      if (glyph <= 0xffff) glyphs.insert(static_cast<std::uint16_t>(glyph));
    }
    return glyphs;
  }
  if (!font.cmapReadable || !shown.encoding.understood) return std::nullopt;
  for (const std::uint32_t value : shown.codes) {
    const auto code = static_cast<std::uint8_t>(value);
    bool found = false;
    const auto look = [&](const CmapSubtable& subtable, std::uint32_t character) {
      const auto at = subtable.glyphs.find(character);
      if (at == subtable.glyphs.end()) return false;
      glyphs.insert(at->second);
      return true;
    };
    for (const CmapSubtable& subtable : font.cmap) {
      if (subtable.unicode()) continue;
      for (const std::uint32_t page : {0u, 0xf000u, 0xf100u, 0xf200u}) found |= look(subtable, page + code);
    }
    const std::set<std::string> names = dictionaryNames(shown.encoding, code, true);
    for (const std::string& name : names) {
      bool named = false;        // some table leads to a glyph
      bool byCharacter = false;  // and one that every viewer looks into: platform 0 is left out by some
      const auto unicode = unicodeOfName(name);
      for (const CmapSubtable& subtable : font.cmap) {
        if (unicode && (subtable.unicode() || subtable.symbol()) && look(subtable, *unicode)) {
          named = true;
          byCharacter = byCharacter || subtable.platform == 3;
        }
        if (!subtable.macRoman()) continue;
        for (std::uint32_t mac = 0; mac < 256; ++mac) {
          if (encodingName(BaseEncoding::macRoman, static_cast<std::uint8_t>(mac)) != name || !look(subtable, mac)) continue;
          named = byCharacter = true;
        }
      }
      for (std::size_t g = 0; g < font.names.size(); ++g) {
        if (font.names[g] != name) continue;
        glyphs.insert(static_cast<std::uint16_t>(g));
        if (!byCharacter) needsNames = true;
        named = true;
      }
      // A name that leads nowhere, such as g17 or one of the font's own making: viewers go their own ways from here.
      if (!named && shown.encoding.differences.count(code) != 0 && name != ".notdef" && !unicode) return std::nullopt;
      found |= named;
    }
    if (!shown.encoding.base || !found) {
      for (const CmapSubtable& subtable : font.cmap) {
        if (subtable.unicode()) found |= look(subtable, code);
      }
    }
    if (!found) glyphs.insert(code);  // without a table to look in, some take the code for the index
  }
  return glyphs;
}

}  // namespace optimizer::font
