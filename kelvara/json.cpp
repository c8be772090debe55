#include "kelvara/json.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace kelvara {
namespace {

// The length of the UTF-8 character at the start of text, 0 when there is none (RFC 3629, 4).
std::size_t characterLength(std::string_view text) {
  const auto byte = [&text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
  for (std::size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xC0) != 0x80) return 0;
  }
  const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
  const bool surrogate = first == 0xED && byte(1) > 0x9F;
  const bool beyond = first == 0xF4 && byte(1) > 0x8F;
  return overlong || surrogate || beyond ? 0 : length;
}

}  // namespace

std::string jsonText(std::string_view text) {
  constexpr char digits[] = "0123456789abcdef";
  std::string json = "\"";
  while (!text.empty()) {
    const std::size_t length = characterLength(text);
    const unsigned char first = static_cast<unsigned char>(text.front());
    if (length == 0) {
      json += "\xEF\xBF\xBD";
    } else if (first == '"' || first == '\\') {
      json += {'\\', text.front()};
    } else if (first < 0x20 || first == 0x7F) {
      json += "\\u00";
      json += {digits[first >> 4], digits[first & 15]};
    } else {
      json += text.substr(0, length);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return json + "\"";
}

std::string jsonNumber(double value) {
  if (!std::isfinite(value)) return "null";
  char buffer[32];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, written.ptr);
}

std::string jsonBool(bool value) { return value ? "true" : "false"; }

}  // namespace kelvara
