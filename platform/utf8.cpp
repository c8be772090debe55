#include "platform/utf8.h"

namespace platform {
namespace {

bool isLead(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isTrail(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void append(std::string& out, char32_t c) {
  const auto byte = [&out](char32_t value) { out += static_cast<char>(value); };
  if (c < 0x80) return byte(c);
  if (c < 0x800) {
    byte(0xC0 | c >> 6);
  } else {
    if (c < 0x10000) {
      byte(0xE0 | c >> 12);
    } else {
      byte(0xF0 | c >> 18);
      byte(0x80 | (c >> 12 & 0x3F));
    }
    byte(0x80 | (c >> 6 & 0x3F));
  }
  byte(0x80 | (c & 0x3F));
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto first = static_cast<unsigned char>(text[at++]);
    if (first < 0x80) continue;
    const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (first < 0xC2 || first > 0xF4 || text.size() - at < more) return false;
    // The second byte also rules out overlong forms, surrogates and what is above the last character.
    unsigned char low = 0x80, high = 0xBF;
    if (first == 0xE0) low = 0xA0;
    if (first == 0xED) high = 0x9F;
    if (first == 0xF0) low = 0x90;
    if (first == 0xF4) high = 0x8F;
    for (std::size_t i = 0; i < more; ++i, ++at) {
      const auto next = static_cast<unsigned char>(text[at]);
      if (next < low || next > high) return false;
      low = 0x80;
      high = 0xBF;
    }
  }
  return true;
}

std::string utf8FromUtf16(std::u16string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (isLead(c) && i + 1 < text.size() && isTrail(text[i + 1])) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
    } else if (isLead(c) || isTrail(c)) {
      c = 0xFFFD;
    }
    append(result, c);
  }
  return result;
}

}  // namespace platform
