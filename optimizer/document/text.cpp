#include "optimizer/document/text.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace optimizer {

bool isUtf8(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    if (lead < 0x80) {
      ++i;
      continue;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() - i < length) return false;
    std::uint32_t code = lead & (0xFFu >> (length + 1));
    for (std::size_t k = 1; k < length; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      code = code << 6 | (next & 0x3Fu);
    }
    if ((length == 3 && code < 0x800) || (length == 4 && code < 0x10000) || code > 0x10FFFF) return false;
    if (code >= 0xD800 && code <= 0xDFFF) return false;
    i += length;
  }
  return true;
}

std::string pdfDate(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  char text[64];
  const long offset = local.tm_gmtoff;
  const std::size_t length = std::strftime(text, sizeof text, "D:%Y%m%d%H%M%S", &local);
  if (offset == 0) {
    std::snprintf(text + length, sizeof text - length, "Z");
  } else {
    std::snprintf(text + length, sizeof text - length, "%c%02ld'%02ld'", offset < 0 ? '-' : '+',
                  std::labs(offset) / 3600, std::labs(offset) / 60 % 60);
  }
  return text;
}

std::string xmpDate(std::string_view date) {
  if (date.substr(0, 2) == "D:") date.remove_prefix(2);
  std::size_t digits = 0;
  while (digits < date.size() && digits < 14 && std::isdigit(static_cast<unsigned char>(date[digits]))) ++digits;
  if (digits < 4) return "";
  const std::string_view number = date.substr(0, digits);
  std::string_view zone = date.substr(digits);
  // XMP knows years, months, days, minutes and seconds as precisions, but no bare hour.
  std::string out(number.substr(0, 4));
  if (digits >= 6) out += "-" + std::string(number.substr(4, 2));
  if (digits >= 8) out += "-" + std::string(number.substr(6, 2));
  if (digits < 10) return out;
  out += "T" + std::string(number.substr(8, 2)) + ":";
  out += digits >= 12 ? std::string(number.substr(10, 2)) : "00";
  if (digits >= 14) out += ":" + std::string(number.substr(12, 2));
  if (zone.empty()) return out;
  if (zone[0] == 'Z') return out + "Z";
  if (zone[0] != '+' && zone[0] != '-') return out;
  std::string offset;
  for (char c : zone.substr(1)) {
    if (std::isdigit(static_cast<unsigned char>(c))) offset += c;
  }
  if (offset.size() < 2) return out;
  offset.resize(4, '0');
  return out + zone[0] + offset.substr(0, 2) + ":" + offset.substr(2, 2);
}

}  // namespace optimizer
