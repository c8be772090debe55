// The old text form: { key = value; } ( value, value ) <0fbd77> "text" text. Without the outer braces a list of pairs is a strings
// file. There are no numbers, flags or dates in it: every leaf is a text or data.
#include <array>
#include <optional>

#include "platform/linux/file_errors.h"
#include "platform/linux/property_list_forms.h"
#include "platform/utf8.h"

namespace platform {
namespace {

// NeXTSTEP Latin from 0x80, which the octal escapes are written in.
constexpr std::array<char16_t, 128> nextStepLatin = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD, 0x00CE,
    0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00B5,
    0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192, 0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039,
    0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021, 0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB,
    0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9, 0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA,
    0x00B8, 0x00B3, 0x02DD, 0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4,
    0x00E5, 0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1, 0x0141,
    0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB, 0x0131, 0x00FC, 0x00FD,
    0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD};

bool isOctal(char c) { return c >= '0' && c <= '7'; }

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isUnquoted(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

class OldTextReader {
 public:
  explicit OldTextReader(std::string_view text) : text_(text) {}

  Result<PropertyList> parse() {
    if (!isValidUtf8(text_)) return propertyListError("The text is not valid UTF-8");
    if (!skipBlanks()) return PropertyList::dictionary({});
    const std::size_t start = at_;
    std::optional<PropertyList> list = value(0);
    if (list && !skipBlanks()) return std::move(*list);
    if (list && list->text()) {
      at_ = start;
      list = entries(0);
    } else if (list) {
      fail("Junk after the list");
    }
    if (!failure_.empty() || !list) return propertyListError(failure_);
    return std::move(*list);
  }

 private:
  // The failure and no value; the first reason stays.
  std::optional<PropertyList> fail(const char* reason) {
    if (failure_.empty()) {
      std::size_t line = 1;
      for (const char c : text_.substr(0, at_)) line += c == '\n';
      failure_ = std::string(reason) + " on line " + std::to_string(line);
    }
    return std::nullopt;
  }

  bool atEnd() const { return at_ >= text_.size(); }

  // Bytes of the blank at the reading position: ASCII blanks, U+2028 and U+2029.
  std::size_t blankLength() const {
    const char c = text_[at_];
    if (c == ' ' || (c >= '\t' && c <= '\r')) return 1;
    const std::string_view three = text_.substr(at_, 3);
    return three == "\u2028" || three == "\u2029" ? 3 : 0;
  }

  // Goes on to what is neither blank nor comment; false at the end. A comment may run to the end.
  bool skipBlanks() {
    while (!atEnd()) {
      if (const std::size_t length = blankLength(); length > 0) {
        at_ += length;
      } else if (text_.substr(at_, 2) == "//") {
        while (!atEnd() && !isLineEnd()) ++at_;
      } else if (text_.substr(at_, 2) == "/*") {
        const std::size_t end = text_.find("*/", at_ + 2);
        at_ = end == std::string_view::npos ? text_.size() : end + 2;
      } else {
        return true;
      }
    }
    return false;
  }

  bool isLineEnd() const {
    const char c = text_[at_];
    return c == '\n' || c == '\r' || blankLength() == 3;
  }

  // None without a failure where no value starts.
  std::optional<PropertyList> valueIfAny(int depth) {
    if (!skipBlanks()) return std::nullopt;
    if (++values_ > mostValues) return fail("Too many values");
    switch (text_[at_]) {
      case '{': return dictionary(depth);
      case '(': return array(depth);
      case '<': return data();
      default: break;
    }
    std::optional<std::string> text = textIfAny();
    if (!text) return std::nullopt;
    return PropertyList(PropertyList::Value(std::move(*text)));
  }

  std::optional<PropertyList> value(int depth) {
    std::optional<PropertyList> result = valueIfAny(depth);
    if (!result) fail(atEnd() ? "Unexpected end" : "Unexpected character");
    return result;
  }

  std::optional<PropertyList> dictionary(int depth) {
    if (depth >= deepestOldTextLevel) return fail("Too many levels");
    ++at_;
    std::optional<PropertyList> result = entries(depth + 1);
    if (!result) return result;
    if (!skipBlanks() || text_[at_] != '}') return fail("Missing }");
    ++at_;
    return result;
  }

  // key = value; or key; until something that is no key. Of several entries with one key the last counts.
  std::optional<PropertyList> entries(int depth) {
    PropertyListDictionary result;
    while (skipBlanks()) {
      std::optional<std::string> key = textIfAny();
      if (!failure_.empty()) return std::nullopt;
      if (!key) break;
      if (++values_ > mostValues) return fail("Too many values");
      if (!skipBlanks()) return fail("Missing ;");
      std::optional<PropertyList> held;
      if (text_[at_] == ';') {
        held = PropertyList(PropertyList::Value(*key));
      } else if (text_[at_] == '=') {
        ++at_;
        held = value(depth);
        if (!held) return std::nullopt;
      } else {
        return fail("Unexpected character after a key");
      }
      if (!skipBlanks() || text_[at_] != ';') return fail("Missing ;");
      ++at_;
      result.insert_or_assign(std::move(*key), std::move(*held));
    }
    return PropertyList::dictionary(std::move(result));
  }

  std::optional<PropertyList> array(int depth) {
    if (depth >= deepestOldTextLevel) return fail("Too many levels");
    ++at_;
    PropertyListArray items;
    for (std::optional<PropertyList> item = valueIfAny(depth + 1); item; item = valueIfAny(depth + 1)) {
      items.push_back(std::move(*item));
      if (!skipBlanks() || text_[at_] != ',') break;
      ++at_;
    }
    if (!failure_.empty()) return std::nullopt;
    if (!skipBlanks() || text_[at_] != ')') return fail("Missing )");
    ++at_;
    return PropertyList::array(std::move(items));
  }

  // Pairs of hexadecimal digits, with blanks between pairs.
  std::optional<PropertyList> data() {
    ++at_;
    PropertyListData result;
    while (!atEnd()) {
      if (text_[at_] == '>') {
        ++at_;
        return PropertyList(PropertyList::Value(std::move(result)));
      }
      if (const std::size_t length = blankLength(); length > 0) {
        at_ += length;
        continue;
      }
      const int high = hexValue(text_[at_]);
      const int low = at_ + 1 < text_.size() ? hexValue(text_[at_ + 1]) : -1;
      if (high < 0 || low < 0) return fail("Malformed data");
      result.bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
      at_ += 2;
    }
    return fail("Missing >");
  }

  std::optional<std::string> textIfAny() {
    const char c = text_[at_];
    if (c == '"' || c == '\'') return quoted(c);
    const std::size_t start = at_;
    while (!atEnd() && isUnquoted(text_[at_])) ++at_;
    if (at_ == start) return std::nullopt;
    return std::string(text_.substr(start, at_ - start));
  }

  // Runs of plain bytes are taken as they are. Escapes are UTF-16 units; neighbouring ones may be the halves of one character.
  std::optional<std::string> quoted(char quote) {
    ++at_;
    std::string result;
    std::u16string units;
    while (!atEnd()) {
      const char c = text_[at_];
      if (c == '\\') {
        ++at_;
        if (atEnd()) break;
        if (static_cast<unsigned char>(text_[at_]) < 0x80) units += escape();
        continue;
      }
      result += utf8FromUtf16(units);
      units.clear();
      ++at_;
      if (c == quote) return result;
      result += c;
    }
    fail("Missing quotation mark");
    return std::nullopt;
  }

  // The unit that the escape at the reading position (behind the backslash) stands for.
  char16_t escape() {
    const char c = text_[at_];
    if (isOctal(c)) return octalEscape();
    ++at_;
    switch (c) {
      case 'a': return '\a';
      case 'b': return '\b';
      case 'f': return '\f';
      case 'n': return '\n';
      case 'r': return '\r';
      case 't': return '\t';
      case 'v': return '\v';
      case 'U': return hexEscape();
      default: return static_cast<unsigned char>(c);
    }
  }

  char16_t octalEscape() {
    unsigned byte = 0;
    for (int i = 0; i < 3 && !atEnd() && isOctal(text_[at_]); ++i, ++at_)
      byte = byte * 8 + static_cast<unsigned>(text_[at_] - '0');
    byte &= 0xFF;
    return byte < 0x80 ? static_cast<char16_t>(byte) : nextStepLatin[byte - 0x80];
  }

  char16_t hexEscape() {
    unsigned unit = 0;
    for (int i = 0; i < 4 && !atEnd() && hexValue(text_[at_]) >= 0; ++i, ++at_)
      unit = unit << 4 | static_cast<unsigned>(hexValue(text_[at_]));
    return static_cast<char16_t>(unit);
  }

  std::string_view text_;
  std::size_t at_ = 0;
  std::size_t values_ = 0;
  std::string failure_;
};

}  // namespace

Result<PropertyList> parseOldTextPropertyList(std::string_view text) { return OldTextReader(text).parse(); }

}  // namespace platform
