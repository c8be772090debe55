// TrueType programs (ISO/IEC 14496-22, chapter 5). What matters to a PDF viewer:
//   head, maxp, hhea    sizes and counts
//   loca, glyf          an outline per glyph; composite glyphs name others by index
//   hmtx                advance and left side bearing per glyph; a tail of glyphs may share the last advance
//   cvt, fpgm, prep     the hints' shared programs
//   cmap, post          codes and names to glyphs, in simple fonts only
// Everything else is for typesetting, which a PDF has behind it. Of a variable font viewers show the default
// instance, which is what glyf holds.
#include "optimizer/font/truetype.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "optimizer/base/reader.h"
#include "optimizer/base/writer.h"
#include "optimizer/font/sfnt.h"

namespace optimizer::font {

namespace {

// Standard names of the post table, in the order of the Macintosh glyph set (5.2.9).
// clang-format off
constexpr std::array<std::string_view, 258> kMacNames = {
    ".notdef", ".null", "nonmarkingreturn", "space", "exclam", "quotedbl", "numbersign", "dollar", "percent",
    "ampersand", "quotesingle", "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period",
    "slash", "zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon",
    "semicolon", "less", "equal", "greater", "question", "at", "A", "B", "C", "D", "E", "F", "G", "H", "I",
    "J", "K", "L", "M", "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z", "bracketleft",
    "backslash", "bracketright", "asciicircum", "underscore", "grave", "a", "b", "c", "d", "e", "f", "g",
    "h", "i", "j", "k", "l", "m", "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z",
    "braceleft", "bar", "braceright", "asciitilde", "Adieresis", "Aring", "Ccedilla", "Eacute", "Ntilde",
    "Odieresis", "Udieresis", "aacute", "agrave", "acircumflex", "adieresis", "atilde", "aring", "ccedilla",
    "eacute", "egrave", "ecircumflex", "edieresis", "iacute", "igrave", "icircumflex", "idieresis", "ntilde",
    "oacute", "ograve", "ocircumflex", "odieresis", "otilde", "uacute", "ugrave", "ucircumflex", "udieresis",
    "dagger", "degree", "cent", "sterling", "section", "bullet", "paragraph", "germandbls", "registered",
    "copyright", "trademark", "acute", "dieresis", "notequal", "AE", "Oslash", "infinity", "plusminus",
    "lessequal", "greaterequal", "yen", "mu", "partialdiff", "summation", "product", "pi", "integral",
    "ordfeminine", "ordmasculine", "Omega", "ae", "oslash", "questiondown", "exclamdown", "logicalnot",
    "radical", "florin", "approxequal", "Delta", "guillemotleft", "guillemotright", "ellipsis",
    "nonbreakingspace", "Agrave", "Atilde", "Otilde", "OE", "oe", "endash", "emdash", "quotedblleft",
    "quotedblright", "quoteleft", "quoteright", "divide", "lozenge", "ydieresis", "Ydieresis", "fraction",
    "currency", "guilsinglleft", "guilsinglright", "fi", "fl", "daggerdbl", "periodcentered",
    "quotesinglbase", "quotedblbase", "perthousand", "Acircumflex", "Ecircumflex", "Aacute", "Edieresis",
    "Egrave", "Iacute", "Icircumflex", "Idieresis", "Igrave", "Oacute", "Ocircumflex", "apple", "Ograve",
    "Uacute", "Ucircumflex", "Ugrave", "dotlessi", "circumflex", "tilde", "macron", "breve", "dotaccent",
    "ring", "cedilla", "hungarumlaut", "ogonek", "caron", "Lslash", "lslash", "Scaron", "scaron", "Zcaron",
    "zcaron", "brokenbar", "Eth", "eth", "Yacute", "yacute", "Thorn", "thorn", "minus", "multiply",
    "onesuperior", "twosuperior", "threesuperior", "onehalf", "onequarter", "threequarters", "franc",
    "Gbreve", "gbreve", "Idotaccent", "Scedilla", "scedilla", "Cacute", "cacute", "Ccaron", "ccaron",
    "dcroat",
};
// clang-format on

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("TrueType: ") + what}; }
Error unsupported(const char* what) {
  return Error{ErrorKind::unsupported, std::string("TrueType: ") + what};
}

ByteView tableOf(const SfntTables& tables, const char* tag) {
  const auto found = tables.find(tag);
  return found == tables.end() ? ByteView() : found->second;
}

Status readGlyphs(const SfntTables& tables, std::size_t count, TrueTypeFont& font) {
  const ByteView loca = tableOf(tables, "loca"), glyf = tableOf(tables, "glyf");
  Reader format(font.head, 50);
  const bool wide = format.u16() != 0;
  // Some producers end loca early; the glyphs beyond are empty, as viewers take them.
  const std::size_t present = loca.size() / (wide ? 4 : 2);
  Reader in(loca);
  font.glyphs.resize(count);
  std::size_t start = present == 0 ? 0 : wide ? in.u32() : 2 * std::size_t{in.u16()};
  for (std::size_t g = 0; g < count && g + 1 < present; ++g) {
    const std::size_t end = wide ? in.u32() : 2 * std::size_t{in.u16()};
    if (end < start) return damaged("glyph offsets run backwards");
    font.glyphs[g].data = slice(glyf, start, end - start);
    if (font.glyphs[g].data.size() < 10) font.glyphs[g].data = {};
    start = end;
  }
  return {};
}

void readMetrics(const SfntTables& tables, TrueTypeFont& font) {
  Reader counts(font.hhea, 34);
  const std::size_t full = counts.u16();
  Reader in(tableOf(tables, "hmtx"));
  std::uint16_t advance = 0;
  for (std::size_t g = 0; g < font.glyphs.size(); ++g) {
    if (g < full && in.remaining() >= 2) advance = in.u16();
    font.glyphs[g].advance = advance;
    font.glyphs[g].leftSideBearing = in.remaining() >= 2 ? in.i16() : std::int16_t{0};
  }
}

void readNames(ByteView post, TrueTypeFont& font) {
  Reader in(post);
  const std::uint32_t version = in.u32();
  in.seek(32);
  if (version == 0x00010000) {
    font.names.assign(kMacNames.begin(), kMacNames.end());
    font.names.resize(std::min(font.names.size(), font.glyphs.size()));
    return;
  }
  if (version != 0x00020000) return;
  const std::size_t count = in.u16();
  std::vector<std::size_t> indexes;
  for (std::size_t g = 0; g < count && in.ok(); ++g) indexes.push_back(in.u16());
  std::vector<std::string> own;
  while (in.ok() && !in.atEnd()) {
    const ByteView text = in.bytes(in.u8());
    own.emplace_back(text.begin(), text.end());
  }
  for (const std::size_t index : indexes) {
    if (font.names.size() == font.glyphs.size()) return;
    if (index < kMacNames.size()) {
      font.names.emplace_back(kMacNames[index]);
    } else {
      font.names.push_back(index - kMacNames.size() < own.size() ? own[index - kMacNames.size()]
                                                                 : std::string());
    }
  }
}

Bytes writePost(const TrueTypeFont& font, const std::set<std::uint16_t>& glyphs, std::size_t count) {
  Writer out;
  out.u32(0x00020000);
  for (int i = 0; i < 7; ++i) out.u32(0);
  out.u16(static_cast<std::uint32_t>(count));
  Writer texts;
  std::uint32_t next = static_cast<std::uint32_t>(kMacNames.size());
  for (std::size_t g = 0; g < count; ++g) {
    const bool named = g < font.names.size() && glyphs.count(static_cast<std::uint16_t>(g)) != 0;
    const std::string name = named ? font.names[g] : std::string(".notdef");
    const auto standard = std::find(kMacNames.begin(), kMacNames.end(), name);
    if (standard != kMacNames.end()) {
      out.u16(static_cast<std::uint32_t>(standard - kMacNames.begin()));
    } else {
      out.u16(next++);
      texts.u8(static_cast<std::uint32_t>(name.size()));
      texts.text(name);
    }
  }
  out.bytes(texts.view());
  return out.take();
}

// Glyph indexes that a composite glyph is made of, with where in its data they stand.
Status components(ByteView data, std::vector<std::uint16_t>& parts) {
  Reader in(data);
  if (in.i16() >= 0) return {};
  in.skip(8);
  for (bool more = true; more;) {
    const std::uint32_t flags = in.u16();
    parts.push_back(in.u16());
    in.skip(flags & 0x0001 ? 4 : 2);
    in.skip(flags & 0x0008 ? 2 : flags & 0x0040 ? 4 : flags & 0x0080 ? 8 : 0);
    if (!in.ok()) return damaged("a composite glyph is cut off");
    more = (flags & 0x0020) != 0;
  }
  return {};
}

// A glyph's outline without its instructions; as it is where they cannot be found.
Bytes withoutInstructions(ByteView data) {
  Bytes whole(data.begin(), data.end());
  Reader in(data);
  const std::int16_t contours = in.i16();
  if (contours < 0) return whole;
  in.seek(10 + 2 * static_cast<std::size_t>(contours));
  const std::size_t length = in.u16(), start = in.position();
  if (!in.ok() || length > data.size() - start) return whole;
  whole[start - 2] = whole[start - 1] = 0;
  whole.erase(whole.begin() + static_cast<std::ptrdiff_t>(start),
              whole.begin() + static_cast<std::ptrdiff_t>(start + length));
  return whole;
}

}  // namespace

Result<TrueTypeFont> readTrueType(ByteView data) {
  Result<SfntTables> parsed = readSfnt(data);
  OPTIMIZER_TRY(parsed);
  const SfntTables& tables = *parsed;
  for (const char* tag : {"sbix", "CBDT", "COLR", "SVG ", "CFF ", "CFF2"}) {
    if (tables.count(tag) != 0) return unsupported("colours or foreign outlines");
  }
  TrueTypeFont font;
  font.head = tableOf(tables, "head");
  font.hhea = tableOf(tables, "hhea");
  font.maxp = tableOf(tables, "maxp");
  if (font.head.size() < 54 || font.hhea.size() < 36 || font.maxp.size() < 6)
    return damaged("a table is missing");
  if (tableOf(tables, "loca").empty() || tables.count("glyf") == 0 || tables.count("hmtx") == 0) {
    return damaged("a table is missing");
  }
  for (const char* tag : {"cvt ", "fpgm", "prep"}) {
    const ByteView table = tableOf(tables, tag);
    if (!table.empty()) font.programs[tag] = table;
  }
  Reader counts(font.maxp, 4);
  const std::size_t count = counts.u16();
  if (count == 0) return damaged("no glyphs");
  OPTIMIZER_TRY(readGlyphs(tables, count, font));
  // Bitmaps for small sizes on screen stand beside the outlines, which are what a PDF's viewers draw.
  const auto drawn = [](const TrueTypeGlyph& glyph) { return !glyph.data.empty(); };
  if (tables.count("EBDT") != 0 && std::none_of(font.glyphs.begin(), font.glyphs.end(), drawn)) {
    return unsupported("nothing but bitmaps");
  }
  readMetrics(tables, font);
  const ByteView cmap = tableOf(tables, "cmap");
  if (!cmap.empty()) {
    Result<std::vector<CmapSubtable>> subtables = readCmap(cmap);
    font.cmapReadable = subtables.ok();
    if (subtables.ok()) font.cmap = std::move(*subtables);
  }
  readNames(tableOf(tables, "post"), font);
  return font;
}

Status addComponents(const TrueTypeFont& font, std::set<std::uint16_t>& glyphs) {
  std::vector<std::uint16_t> todo(glyphs.begin(), glyphs.end());
  while (!todo.empty()) {
    const std::uint16_t g = todo.back();
    todo.pop_back();
    if (g >= font.glyphs.size() || font.glyphs[g].data.empty()) continue;
    std::vector<std::uint16_t> parts;
    OPTIMIZER_TRY(components(font.glyphs[g].data, parts));
    for (const std::uint16_t part : parts) {
      if (glyphs.insert(part).second) todo.push_back(part);
    }
  }
  return {};
}

Result<Bytes> writeTrueType(const TrueTypeFont& font, std::set<std::uint16_t> glyphs,
                            const TrueTypeOutput& output) {
  const bool showsNotdef = glyphs.count(0) != 0;
  glyphs.insert(0);
  std::erase_if(glyphs, [&](std::uint16_t g) { return g >= font.glyphs.size(); });
  OPTIMIZER_TRY(addComponents(font, glyphs));
  std::erase_if(glyphs, [&](std::uint16_t g) { return g >= font.glyphs.size(); });
  const std::size_t count = std::size_t{*glyphs.rbegin()} + 1;

  // Where only blanks are shown there is nothing to hint; .notdef is then the one outline left.
  const bool hinted = std::any_of(glyphs.begin(), glyphs.end(), [&](std::uint16_t g) {
    return (g != 0 || showsNotdef) && !font.glyphs[g].data.empty();
  });

  Writer glyf;
  std::vector<std::size_t> offsets = {0};
  for (std::size_t g = 0; g < count; ++g) {
    if (glyphs.count(static_cast<std::uint16_t>(g)) != 0) {
      if (hinted) {
        glyf.bytes(font.glyphs[g].data);
      } else {
        glyf.bytes(withoutInstructions(font.glyphs[g].data));
      }
      glyf.align(2);
    }
    offsets.push_back(glyf.size());
  }
  const bool wide = glyf.size() > 2 * std::size_t{0xffff};
  Writer loca;
  for (const std::size_t offset : offsets) {
    loca.number(static_cast<std::uint32_t>(wide ? offset : offset / 2), wide ? 4 : 2);
  }

  // Glyphs after the last change of advance share it; those that nobody shows take whatever is at hand.
  std::vector<std::uint16_t> advances(count);
  std::uint16_t advance = 0;
  for (std::size_t g = count; g-- > 0;) {
    if (glyphs.count(static_cast<std::uint16_t>(g)) != 0) advance = font.glyphs[g].advance;
    advances[g] = advance;
  }
  std::size_t full = count;
  while (full > 1 && advances[full - 1] == advances[full - 2]) --full;
  Writer hmtx;
  for (std::size_t g = 0; g < count; ++g) {
    const bool kept = glyphs.count(static_cast<std::uint16_t>(g)) != 0;
    if (g < full) hmtx.u16(advances[g]);
    hmtx.u16(kept ? static_cast<std::uint16_t>(font.glyphs[g].leftSideBearing) : 0);
  }

  const auto copy = [](ByteView view) { return Bytes(view.begin(), view.end()); };
  const auto patch16 = [](Bytes& table, std::size_t at, std::size_t value) {
    table[at] = static_cast<std::uint8_t>(value >> 8);
    table[at + 1] = static_cast<std::uint8_t>(value);
  };
  std::map<std::string, Bytes> tables;
  tables["glyf"] = glyf.take();
  tables["loca"] = loca.take();
  tables["hmtx"] = hmtx.take();
  tables["head"] = copy(font.head);
  std::fill_n(tables["head"].begin() + 8, 4, std::uint8_t{0});
  std::fill_n(tables["head"].begin() + 20, 16, std::uint8_t{0});  // when the font was made and changed
  patch16(tables["head"], 50, wide ? 1 : 0);
  tables["hhea"] = copy(font.hhea);
  patch16(tables["hhea"], 34, full);
  tables["maxp"] = copy(font.maxp);
  patch16(tables["maxp"], 4, count);
  if (hinted) {
    for (const auto& [tag, view] : font.programs) tables[tag] = copy(view);
  }
  if (output.cmap && !font.cmap.empty()) {
    std::vector<CmapSubtable> subtables = font.cmap;
    for (CmapSubtable& subtable : subtables) {
      std::erase_if(subtable.glyphs, [&](const auto& entry) { return glyphs.count(entry.second) == 0; });
    }
    tables["cmap"] = writeCmap(subtables);
  }
  if (output.names && !font.names.empty()) tables["post"] = writePost(font, glyphs, count);
  return writeSfnt(0x00010000, tables);
}

}  // namespace optimizer::font
