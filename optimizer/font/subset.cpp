#include "optimizer/font/subset.h"

#include <algorithm>

#include "optimizer/font/cff_dict.h"
#include "optimizer/font/check.h"
#include "optimizer/font/ps_font.h"
#include "optimizer/font/sfnt.h"
#include "optimizer/font/truetype.h"

namespace optimizer::font {

namespace {

Error unfit(const char* what) { return Error{ErrorKind::unsupported, std::string("subset: ") + what}; }

bool allAlike(const std::vector<ShownCodes>& users) {
  return std::all_of(users.begin(), users.end(),
                     [&](const ShownCodes& user) { return user.composite == users.front().composite; });
}

// Private dictionaries that no glyph uses any more go; the others close up.
void dropUnusedDicts(PsFont& font) {
  std::vector<int> place(font.dicts.size(), -1);
  std::vector<PrivateDict> kept;
  for (PsGlyph& glyph : font.glyphs) {
    int& at = place[glyph.dict];
    if (at < 0) {
      at = static_cast<int>(kept.size());
      kept.push_back(font.dicts[glyph.dict]);
    }
    glyph.dict = static_cast<std::uint8_t>(at);
  }
  font.dicts = std::move(kept);
}

Result<SubsetResult> subsetSimpleCff(ByteView program, const std::vector<ShownCodes>& users) {
  // First only the names and the encoding, which the second reading's filter needs.
  std::set<std::string> all, wanted;
  Result<PsFont> frame = readCff(program, [&](const GlyphRef& glyph) {
    all.emplace(glyph.name);
    return false;
  });
  OPTIMIZER_TRY(frame);
  if (frame->cidKeyed) return unfit("a simple font with a CID-keyed program");
  std::map<std::uint8_t, std::string> builtIn = frame->encoding;
  if (frame->standardEncoding) {
    for (int code = 0; code < 256; ++code) {
      const std::string_view name = encodingName(BaseEncoding::standard, static_cast<std::uint8_t>(code));
      if (!name.empty()) builtIn[static_cast<std::uint8_t>(code)] = name;
    }
  }
  std::set<std::uint8_t> codes;
  bool builtInMatters = false;
  for (const ShownCodes& user : users) {
    const std::set<std::string> names = shownNames(user, builtIn, all);
    wanted.insert(names.begin(), names.end());
    for (const std::uint32_t code : user.codes) codes.insert(static_cast<std::uint8_t>(code));
    builtInMatters = builtInMatters || !namesAreExplicit(user);
  }
  Result<PsFont> font =
      readCff(program, [&](const GlyphRef& glyph) { return wanted.count(std::string(glyph.name)) != 0; });
  OPTIMIZER_TRY(font);
  // Some viewers complain about a program that offers neither characters nor codes.
  const bool characters = std::any_of(font->glyphs.begin(), font->glyphs.end(), [](const PsGlyph& glyph) {
    return unicodeOfName(glyph.name).has_value();
  });
  if (!builtInMatters && characters) {
    font->encoding.clear();
  } else {
    std::erase_if(font->encoding, [&](const auto& entry) { return codes.count(entry.first) == 0; });
  }
  Result<Bytes> bytes = writeSmallestCff(*font);
  OPTIMIZER_TRY(bytes);
  SubsetResult result;
  result.form = ProgramForm::nameKeyedCff;
  GlyphsToCheck check;
  for (const PsGlyph& glyph : font->glyphs) {
    check.names.push_back(glyph.name);
    if (glyph.name != ".notdef") result.names.insert(glyph.name);
  }
  result.glyphs = font->glyphs.size();
  OPTIMIZER_TRY(sameGlyphs(program, *bytes, check));
  result.program = std::move(*bytes);
  return result;
}

Result<SubsetResult> subsetCidCff(ByteView program, const std::vector<ShownCodes>& users) {
  SubsetResult result;
  result.form = ProgramForm::cidKeyedCff;
  for (const ShownCodes& user : users) {
    if (user.cidToGid) return unfit("a glyph map for a CFF program");
    const std::set<std::uint32_t> cids = shownCids(user);
    result.cids.insert(cids.begin(), cids.end());
  }
  const Result<PsFont> frame = readCff(program, [](const GlyphRef&) { return false; });
  OPTIMIZER_TRY(frame);
  // In a name-keyed program the CID is the glyph index (9.7.4.2). It becomes CID-keyed, so that few glyphs
  // can have high CIDs.
  const bool byIndex = !frame->cidKeyed;
  std::vector<std::uint16_t> indexes;
  Result<PsFont> font = readCff(program, [&](const GlyphRef& glyph) {
    return result.cids.count(byIndex ? static_cast<std::uint32_t>(glyph.index) : glyph.cid) != 0;
  });
  OPTIMIZER_TRY(font);
  if (byIndex) {
    std::map<std::string, std::size_t> indexOf;
    (void)readCff(program, [&](const GlyphRef& glyph) {
      indexOf.emplace(glyph.name, glyph.index);
      return false;
    });
    for (PsGlyph& glyph : font->glyphs) {
      // Accented characters name their parts, which a CID-keyed font cannot.
      if (glyph.outline.accent) return unfit("an accented character by name");
      glyph.cid = static_cast<std::uint16_t>(indexOf[glyph.name]);
    }
    font->cidKeyed = true;
    font->registry = "Adobe";
    font->ordering = "Identity";
    font->supplement = 0;
    font->encoding.clear();
  }
  dropUnusedDicts(*font);
  Result<Bytes> bytes = writeSmallestCff(*font);
  OPTIMIZER_TRY(bytes);
  GlyphsToCheck check;
  for (const PsGlyph& glyph : font->glyphs) check.numbers.emplace_back(glyph.cid, glyph.cid);
  result.glyphs = font->glyphs.size();
  OPTIMIZER_TRY(sameGlyphs(program, *bytes, check));
  result.program = std::move(*bytes);
  return result;
}

}  // namespace

Result<SubsetResult> subsetCff(ByteView program, const std::vector<ShownCodes>& users) {
  if (users.empty() || !allAlike(users)) return unfit("users of both kinds");
  return users.front().composite ? subsetCidCff(program, users) : subsetSimpleCff(program, users);
}

Result<SubsetResult> subsetTrueType(ByteView program, const std::vector<ShownCodes>& users) {
  const Result<TrueTypeFont> font = readTrueType(program);
  OPTIMIZER_TRY(font);
  SubsetResult result;
  result.form = ProgramForm::trueType;
  std::set<std::uint16_t> glyphs;
  TrueTypeOutput output{false, false};
  for (const ShownCodes& user : users) {
    const auto shown = shownGlyphs(user, *font, output.names);
    if (!shown) return unfit("codes that lead to glyphs in an unknown way");
    glyphs.insert(shown->begin(), shown->end());
    if (user.composite) {
      const std::set<std::uint32_t> cids = shownCids(user);
      result.cids.insert(cids.begin(), cids.end());
    } else {
      output.cmap = true;
    }
  }
  Result<Bytes> bytes = writeTrueType(*font, glyphs, output);
  OPTIMIZER_TRY(bytes);
  GlyphsToCheck check;
  for (const std::uint16_t glyph : glyphs) {
    if (glyph < font->glyphs.size()) check.numbers.emplace_back(glyph, glyph);
  }
  result.glyphs = check.numbers.size();
  OPTIMIZER_TRY(sameGlyphs(program, *bytes, check));
  result.program = std::move(*bytes);
  return result;
}

ByteView cffTableOf(ByteView openType) {
  const Result<SfntTables> tables = readSfnt(openType);
  if (!tables.ok()) return {};
  const auto table = tables->find("CFF ");
  return table == tables->end() ? ByteView() : table->second;
}

std::string subsetTag(ByteView program) {
  std::uint64_t hash = 14695981039346656037u;  // FNV-1a
  for (const std::uint8_t byte : program) hash = (hash ^ byte) * 1099511628211u;
  std::string tag;
  for (int i = 0; i < 6; ++i, hash /= 26) tag += static_cast<char>('A' + hash % 26);
  return tag;
}

}  // namespace optimizer::font
