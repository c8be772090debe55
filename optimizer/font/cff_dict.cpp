#include "optimizer/font/cff_dict.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "optimizer/base/reader.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxOperands = 513;

// A real number: nibbles 0-9, a '.', b 'E', c 'E-', e '-', f end.
double readReal(Reader& in) {
  std::string text;
  for (bool done = false; !done && in.ok() && text.size() < 64;) {
    const std::uint8_t byte = in.u8();
    for (const int nibble : {byte >> 4, byte & 15}) {
      if (nibble == 15) {
        done = true;
        break;
      }
      static constexpr const char* kText[] = {"0", "1", "2", "3", "4",  "5", "6", "7",
                                              "8", "9", ".", "E", "E-", "",  "-"};
      text += kText[nibble];
    }
  }
  const double value = std::strtod(text.c_str(), nullptr);
  return std::isfinite(value) ? value : 0;
}

void writeReal(Writer& out, double value) {
  char text[32];
  for (int digits = 1; digits <= 12; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  std::vector<int> nibbles;
  for (const char* c = text; *c != 0; ++c) {
    if (*c == 'e') {
      const bool negative = c[1] == '-';
      nibbles.push_back(negative ? 12 : 11);
      ++c;  // the sign is always there
      while (c[1] == '0') ++c;
    } else if (*c == '.') {
      nibbles.push_back(10);
    } else if (*c == '-') {
      nibbles.push_back(14);
    } else if (*c == '0' && c[1] == '.') {
      continue;  // ".5" for "0.5"
    } else {
      nibbles.push_back(*c - '0');
    }
  }
  nibbles.push_back(15);
  if (nibbles.size() % 2 != 0) nibbles.push_back(15);
  out.u8(30);
  for (std::size_t i = 0; i < nibbles.size(); i += 2) {
    out.u8(static_cast<std::uint32_t>(nibbles[i] << 4 | nibbles[i + 1]));
  }
}

void writeNumber(Writer& out, double value) {
  if (value != std::floor(value) || std::abs(value) > 2147483647.0) {
    writeReal(out, value);
    return;
  }
  const auto whole = static_cast<std::int32_t>(value);
  if (whole >= -107 && whole <= 107) {
    out.u8(static_cast<std::uint32_t>(whole + 139));
  } else if (whole >= 108 && whole <= 1131) {
    out.u8(static_cast<std::uint32_t>(247 + (whole - 108) / 256));
    out.u8(static_cast<std::uint32_t>((whole - 108) % 256));
  } else if (whole <= -108 && whole >= -1131) {
    out.u8(static_cast<std::uint32_t>(251 + (-whole - 108) / 256));
    out.u8(static_cast<std::uint32_t>((-whole - 108) % 256));
  } else if (whole >= -32768 && whole <= 32767) {
    out.u8(28);
    out.u16(static_cast<std::uint16_t>(whole));
  } else {
    out.u8(29);
    out.u32(static_cast<std::uint32_t>(whole));
  }
}

}  // namespace

Result<DictEntries> readDict(ByteView data) {
  DictEntries entries;
  std::vector<double> operands;
  Reader in(data);
  while (!in.atEnd()) {
    const std::uint8_t b = in.u8();
    if (b <= 21) {
      const auto op = static_cast<std::uint16_t>(b == 12 ? 0x0c00 | in.u8() : b);
      entries[op] = std::move(operands);
      operands.clear();
    } else if (operands.size() >= kMaxOperands) {
      return Error{ErrorKind::damaged, "CFF: a dictionary entry has too many numbers"};
    } else if (b == 28) {
      operands.push_back(in.i16());
    } else if (b == 29) {
      operands.push_back(in.i32());
    } else if (b == 30) {
      operands.push_back(readReal(in));
    } else if (b >= 32 && b <= 246) {
      operands.push_back(b - 139);
    } else if (b >= 247 && b <= 250) {
      operands.push_back((b - 247) * 256 + in.u8() + 108);
    } else if (b >= 251 && b <= 254) {
      operands.push_back(-(b - 251) * 256 - in.u8() - 108);
    }
  }
  if (!in.ok()) return Error{ErrorKind::damaged, "CFF: a dictionary is cut off"};
  return entries;
}

void writeDictEntry(Writer& out, std::uint16_t op, const std::vector<double>& numbers) {
  for (const double number : numbers) writeNumber(out, number);
  if (op >= 0x0c00) out.u8(12);
  out.u8(op & 0xff);
}

}  // namespace optimizer::font
