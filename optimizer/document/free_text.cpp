#include "optimizer/document/free_text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <qpdf/QUtil.hh>
#include <utility>

#include "optimizer/content/reader.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/standard_fonts.h"

namespace optimizer {
namespace {

constexpr std::size_t kMostText = 50'000;
constexpr double kLeading = 1.15, kAscent = 0.9;  // of the size, as the standard fonts look right with

std::string number(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.4f", std::isfinite(value) ? std::clamp(value, -1e6, 1e6) : 0.0);
  std::string out = text;
  out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
  return out == "-0" ? "0" : out;
}

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The standard font that a family's name reminds of, in the style that the words around it ask for.
std::string standardFor(const std::string& words) {
  const std::string name = lower(words);
  const auto says = [&](const char* word) { return name.find(word) != std::string::npos; };
  const bool bold = says("bold"), slanted = says("italic") || says("oblique");
  if (says("courier") || says("mono")) {
    return std::string("Courier") + (bold || slanted ? "-" : "") + (bold ? "Bold" : "") +
           (slanted ? "Oblique" : "");
  }
  if (says("times") || (says("serif") && !says("sans"))) {
    return std::string("Times-") + (bold ? "Bold" : "") + (slanted ? "Italic" : "") +
           (bold || slanted ? "" : "Roman");
  }
  return std::string("Helvetica") + (bold || slanted ? "-" : "") + (bold ? "Bold" : "") +
         (slanted ? "Oblique" : "");
}

// The names that form resources commonly have for the standard fonts.
std::string ofResourceName(const std::string& name, QPDFObjectHandle fonts) {
  if (fonts.isDictionary()) {
    QPDFObjectHandle font = fonts.getKey("/" + name);
    QPDFObjectHandle base = font.isDictionary() ? font.getKey("/BaseFont") : QPDFObjectHandle::newNull();
    if (base.isName()) {
      const std::string_view standard = font::standardFontName(std::string_view(base.getName()).substr(1));
      return standard.empty() ? standardFor(base.getName()) : std::string(standard);
    }
  }
  static constexpr std::array<std::pair<const char*, const char*>, 14> kShort = {
      {{"Helv", "Helvetica"},
       {"HeBo", "Helvetica-Bold"},
       {"HeIt", "Helvetica-Oblique"},
       {"HeOb", "Helvetica-Oblique"},
       {"HeBI", "Helvetica-BoldOblique"},
       {"TiRo", "Times-Roman"},
       {"TiBo", "Times-Bold"},
       {"TiIt", "Times-Italic"},
       {"TiBI", "Times-BoldItalic"},
       {"Cour", "Courier"},
       {"CoBo", "Courier-Bold"},
       {"CoOb", "Courier-Oblique"},
       {"CoIt", "Courier-Oblique"},
       {"CoBI", "Courier-BoldOblique"}}};
  for (const auto& [from, to] : kShort) {
    if (name == from) return to;
  }
  const std::string_view standard = font::standardFontName(name);
  return standard.empty() ? standardFor(name) : std::string(standard);
}

void readDefaultAppearance(const std::string& text, QPDFObjectHandle fonts, TextStyle& style) {
  content::ContentReader reader({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  content::Instruction in;
  while (reader.next(in)) {
    if (in.op == content::Op::font && in.operands.size() == 2 && in.operands[0].isName() &&
        in.operands[1].isNumber()) {
      const std::string name = content::nameValue(in.operands[0]);
      style.font = ofResourceName(name, fonts);
      if (fonts.isDictionary()) style.resource = fonts.getKey("/" + name);
      const double size = std::abs(in.operands[1].value);
      if (size > 0 && size <= 1000) style.size = size;
      continue;
    }
    const std::size_t count = in.op == content::Op::fillGray   ? 1
                              : in.op == content::Op::fillRgb  ? 3
                              : in.op == content::Op::fillCmyk ? 4
                                                               : 0;
    if (count == 0 || in.operands.size() != count || !in.numbers(count)) continue;
    std::string parts;
    for (const content::Token& token : in.operands) parts += number(std::clamp(token.value, 0.0, 1.0)) + " ";
    style.color = parts + (count == 1 ? "g\n" : count == 3 ? "rg\n" : "k\n");
    style.lineColor = parts + (count == 1 ? "G\n" : count == 3 ? "RG\n" : "K\n");
  }
}

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n"), end = text.find_last_not_of(" \t\r\n");
  return begin == std::string::npos ? "" : text.substr(begin, end - begin + 1);
}

// A length such as 12pt or 9.5pt somewhere in a value; 0 where there is none.
double pointsIn(const std::string& value) {
  const std::size_t unit = lower(value).find("pt");
  if (unit == std::string::npos) return 0;
  std::size_t begin = unit;
  while (begin > 0 && (std::isdigit(static_cast<unsigned char>(value[begin - 1])) || value[begin - 1] == '.'))
    --begin;
  if (begin > 0 && value[begin - 1] == '-') return 0;
  return std::strtod(value.substr(begin, unit - begin).c_str(), nullptr);
}

// CSS declarations, of which 12.7.3.4 names those that count.
void readDefaultStyle(const std::string& text, TextStyle& style) {
  std::string family, manner;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find(';', at), text.size());
    const std::string declaration = text.substr(at, end - at);
    at = end + 1;
    const std::size_t colon = declaration.find(':');
    if (colon == std::string::npos) continue;
    const std::string key = lower(trimmed(declaration.substr(0, colon))),
                      value = trimmed(declaration.substr(colon + 1));
    if (key == "font" || key == "font-family") family = value;
    if (key == "font-weight" || key == "font-style") manner += " " + value;
    if (key == "font" || key == "font-size") {
      const double size = pointsIn(value);
      if (size > 0 && size <= 1000) style.size = size;
    }
    if (key == "text-align") style.quadding = lower(value) == "center" ? 1 : lower(value) == "right" ? 2 : 0;
    unsigned red = 0, green = 0, blue = 0;
    if (key == "color" && value.size() == 7 &&
        std::sscanf(value.c_str(), "#%2x%2x%2x", &red, &green, &blue) == 3) {
      style.color = number(red / 255.0) + " " + number(green / 255.0) + " " + number(blue / 255.0) + " rg\n";
    }
  }
  if (!family.empty() || !manner.empty())
    style.font = standardFor((family.empty() ? style.font : family) + manner);
}

std::u32string decoded(const std::string& utf8) {
  std::u32string text;
  bool error = false;
  for (std::size_t at = 0; at < utf8.size();) {
    const unsigned long c = QUtil::get_next_utf8_codepoint(utf8, at, error);
    text += error ? U'?' : static_cast<char32_t>(c);
  }
  return text;
}

// WinAnsi of a character; nothing where it has none.
std::optional<char> winAnsi(char32_t c) {
  if (c < 0x80) return static_cast<char>(c);
  std::string out;
  if (!QUtil::utf8_to_win_ansi(QUtil::toUTF8(c), out, '?') || out.size() != 1) return std::nullopt;
  return out[0];
}

bool controls(char32_t c) { return c < U' ' || c == 0x7f; }

TextLine setCharacter(char32_t c, const TextStyle& style) {
  if (!style.glyphs.empty()) {
    auto glyph = style.glyphs.find(c);
    if (glyph == style.glyphs.end()) glyph = style.glyphs.find(U'?');
    if (glyph == style.glyphs.end()) return {"", 0};
    return {glyph->second.code, glyph->second.width * style.size / 1000};
  }
  const char code = winAnsi(c).value_or('?');
  const std::string_view name = font::encodingName(font::BaseEncoding::winAnsi, static_cast<std::uint8_t>(code));
  return {std::string(1, code), font::standardFontWidth(style.font, name).value_or(500) * style.size / 1000};
}

// How many characters the font has not.
std::size_t missing(const TextStyle& style, const std::u32string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [&](char32_t c) {
    if (controls(c)) return false;
    return style.glyphs.empty() ? !winAnsi(c) : style.glyphs.count(c) == 0;
  }));
}

}  // namespace

TextStyle textStyleOf(QPDFObjectHandle annotation, QPDFObjectHandle fonts) {
  TextStyle style;
  QPDFObjectHandle quadding = annotation.getKey("/Q");
  if (quadding.isInteger() && quadding.getIntValue() >= 0 && quadding.getIntValue() <= 2) {
    style.quadding = quadding.getIntValueAsInt();
  }
  if (annotation.getKey("/DA").isString())
    readDefaultAppearance(annotation.getKey("/DA").getStringValue(), fonts, style);
  if (annotation.getKey("/DS").isString()) readDefaultStyle(annotation.getKey("/DS").getUTF8Value(), style);
  return style;
}

void chooseFont(TextStyle& style, const std::string& utf8) {
  const std::u32string text = decoded(utf8.substr(0, kMostText));
  const std::size_t lacking = missing(style, text);
  if (lacking == 0 || !style.resource.isInitialized() || !style.resource.isIndirect()) return;
  TextStyle own = style;
  own.glyphs = typingGlyphs(style.resource, text + U"? ");
  if (!own.glyphs.empty() && missing(own, text) < lacking) style.glyphs = std::move(own.glyphs);
}

bool canShow(const TextStyle& style, const std::string& utf8) { return missing(style, decoded(utf8)) == 0; }

std::vector<TextLine> characters(const std::string& utf8, const TextStyle& style) {
  std::vector<TextLine> found;
  for (const char32_t c : decoded(utf8.substr(0, kMostText))) {
    if (!controls(c)) found.push_back(setCharacter(c, style));
  }
  return found;
}

double textWidth(const std::string& utf8, const TextStyle& style) {
  double widest = 0, width = 0;
  for (const char32_t c : decoded(utf8.substr(0, kMostText))) {
    if (c == U'\r' || c == U'\n') width = 0;
    if (!controls(c)) width += setCharacter(c, style).width;
    widest = std::max(widest, width);
  }
  return widest;
}

std::vector<TextLine> wrapText(const std::string& utf8, const TextStyle& style, double width) {
  const std::u32string text = decoded(utf8.substr(0, kMostText));
  std::vector<TextLine> lines;
  std::vector<std::pair<TextLine, bool>> line;  // characters so far, and whether they are blanks
  const auto finish = [&](std::size_t count) {
    TextLine whole;
    for (std::size_t i = 0; i < count; ++i) {
      whole.codes += line[i].first.codes;
      whole.width += line[i].first.width;
    }
    lines.push_back(std::move(whole));
  };
  double used = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char32_t c = text[i] == U'\t' ? U' ' : text[i];
    if (c == U'\r' || c == U'\n') {
      if (c == U'\r' && i + 1 < text.size() && text[i + 1] == U'\n') ++i;
      finish(line.size());
      line.clear();
      used = 0;
      continue;
    }
    if (controls(c)) continue;
    TextLine next = setCharacter(c, style);
    // Blanks hang over the edge.
    if (c != U' ' && used + next.width > width && !line.empty()) {
      std::size_t rest = line.size();  // where the new line begins
      while (rest > 0 && !line[rest - 1].second) --rest;
      std::size_t end = rest;
      while (end > 0 && line[end - 1].second) --end;
      if (rest == 0) rest = end = line.size();
      finish(end);
      line.erase(line.begin(), line.begin() + static_cast<long>(rest));
      used = 0;
      for (const auto& [character, blank] : line) used += character.width;
    }
    used += next.width;
    line.emplace_back(std::move(next), c == U' ');
  }
  finish(line.size());
  return lines;
}

std::string shownString(const std::string& codes) {
  const bool plain = std::all_of(codes.begin(), codes.end(), [](char c) { return static_cast<unsigned char>(c) >= ' '; });
  if (!plain) return "<" + QUtil::hex_encode(codes) + ">";
  std::string out = "(";
  for (char c : codes) {
    if (c == '(' || c == ')' || c == '\\') out += '\\';
    out += c;
  }
  return out + ")";
}

std::string textInBox(const std::string& utf8, const TextStyle& style, double left, double bottom,
                      double width, double height) {
  if (utf8.empty() || !(width > 0) || !(height > 0)) return "";
  std::string out = "q " + number(left) + " " + number(bottom) + " " + number(width) + " " + number(height) +
                    " re W n\nBT\n/F " + number(style.size) + " Tf\n" + style.color;
  double x = 0, y = 0, baseline = bottom + height - kAscent * style.size;
  for (const TextLine& line : wrapText(utf8, style, width)) {
    if (baseline < bottom - style.size) break;  // the rest is below the box
    const double room = width - line.width;
    const double start = left + (style.quadding == 1 ? room / 2 : style.quadding == 2 ? room : 0);
    if (!line.codes.empty()) {
      out += number(start - x) + " " + number(baseline - y) + " Td " + shownString(line.codes) + " Tj\n";
      x = start;
      y = baseline;
    }
    baseline -= kLeading * style.size;
  }
  return out + "ET\nQ\n";
}

std::string fontResource(const TextStyle& style) {
  if (!style.glyphs.empty()) return "<< /F " + QPDFObjectHandle(style.resource).unparse() + " >>";
  return "<< /F << /Type /Font /Subtype /Type1 /BaseFont /" + style.font +
         " /Encoding /WinAnsiEncoding >> >>";
}

}  // namespace optimizer
