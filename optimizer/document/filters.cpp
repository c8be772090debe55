#include "optimizer/document/filters.h"

#include <array>
#include <cstdint>

namespace optimizer {
namespace {

bool isBlank(std::uint8_t c) { return c == 0 || c == '\t' || c == '\n' || c == '\f' || c == '\r' || c == ' '; }

int hexDigit(std::uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

Error damaged(const char* filter) {
  return {ErrorKind::damaged, std::string("The ") + filter + " data is damaged"};
}

Error tooLarge() { return {ErrorKind::limit, "A stream expands beyond what can be handled"}; }

}  // namespace

Result<Bytes> decodeAsciiHex(ByteView coded, std::size_t limit) {
  Bytes out;
  int high = -1;
  for (std::uint8_t c : coded) {
    if (isBlank(c)) continue;
    if (c == '>') break;
    const int digit = hexDigit(c);
    if (digit < 0) return damaged("ASCIIHex");
    if (high < 0) {
      high = digit;
      continue;
    }
    if (out.size() >= limit) return tooLarge();
    out.push_back(static_cast<std::uint8_t>(high << 4 | digit));
    high = -1;
  }
  if (high >= 0) out.push_back(static_cast<std::uint8_t>(high << 4));
  return out;
}

Result<Bytes> decodeAscii85(ByteView coded, std::size_t limit) {
  Bytes out;
  std::uint64_t group = 0;
  int digits = 0;
  const auto put = [&](int count) {
    for (int i = 0; i < count; ++i) out.push_back(static_cast<std::uint8_t>(group >> (24 - 8 * i)));
  };
  std::size_t i = 0;
  // Some writers begin as the PostScript filter does.
  if (coded.size() >= 2 && coded[0] == '<' && coded[1] == '~') i = 2;
  for (; i < coded.size(); ++i) {
    const std::uint8_t c = coded[i];
    if (isBlank(c)) continue;
    if (c == '~') break;
    if (out.size() + 4 > limit) return tooLarge();
    if (c == 'z' && digits == 0) {
      out.insert(out.end(), 4, 0);
      continue;
    }
    if (c < '!' || c > 'u') return damaged("ASCII85");
    group = group * 85 + (c - '!');
    if (++digits < 5) continue;
    if (group > 0xFFFFFFFF) return damaged("ASCII85");
    put(4);
    group = 0;
    digits = 0;
  }
  if (digits == 1) return damaged("ASCII85");
  if (digits > 1) {
    const int bytes = digits - 1;
    for (; digits < 5; ++digits) group = group * 85 + 84;
    if (group > 0xFFFFFFFF) return damaged("ASCII85");
    put(bytes);
  }
  return out;
}

Result<Bytes> decodeRunLength(ByteView coded, std::size_t limit) {
  Bytes out;
  std::size_t i = 0;
  while (i < coded.size() && coded[i] != 128) {
    const std::size_t length = coded[i] < 128 ? coded[i] + 1u : 257u - coded[i];
    if (out.size() + length > limit) return tooLarge();
    if (coded[i] < 128) {
      if (coded.size() - i - 1 < length) return damaged("RunLength");
      out.insert(out.end(), coded.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                 coded.begin() + static_cast<std::ptrdiff_t>(i + 1 + length));
      i += 1 + length;
    } else {
      if (coded.size() - i < 2) return damaged("RunLength");
      out.insert(out.end(), length, coded[i + 1]);
      i += 2;
    }
  }
  return out;
}

// ISO 32000-1, 7.4.4: codes of 9 to 12 bits, most significant bit first; 256 clears the table, 257 ends the data.
Result<Bytes> decodeLzw(ByteView coded, bool earlyChange, std::size_t limit) {
  constexpr std::uint32_t kClear = 256, kEnd = 257, kCodes = 4096;
  // A code stands for the bytes out[start, start + length), which the output already holds.
  struct Entry {
    std::size_t start, length;
  };
  std::array<Entry, kCodes> table{};
  Bytes out;
  std::uint32_t next = 258, width = 9, pending = 0, bits = 0;
  const std::uint32_t early = earlyChange ? 1 : 0;
  bool fresh = true;
  Entry previous{};
  for (std::uint8_t byte : coded) {
    pending = pending << 8 | byte;
    bits += 8;
    if (bits < width) continue;
    bits -= width;
    const std::uint32_t code = pending >> bits & ((1u << width) - 1);
    if (code == kEnd) return out;
    if (code == kClear) {
      next = 258;
      width = 9;
      fresh = true;
      continue;
    }
    const std::size_t start = out.size();
    if (code < 256) {
      if (start >= limit) return tooLarge();
      out.push_back(static_cast<std::uint8_t>(code));
    } else {
      // The code that is just being made is the previous string and its own first byte.
      Entry entry{};
      if (code < next) {
        entry = table[code];
      } else if (code == next && !fresh) {
        entry = {previous.start, previous.length + 1};
      } else {
        return damaged("LZW");
      }
      if (start + entry.length > limit) return tooLarge();
      for (std::size_t k = 0; k < entry.length; ++k) out.push_back(out[entry.start + k]);
    }
    const Entry current{start, out.size() - start};
    if (!fresh && next < kCodes) table[next++] = {previous.start, previous.length + 1};
    fresh = false;
    previous = current;
    if (next + early >= 2048) {
      width = 12;
    } else if (next + early >= 1024) {
      width = 11;
    } else if (next + early >= 512) {
      width = 10;
    }
  }
  return out;
}

}  // namespace optimizer
