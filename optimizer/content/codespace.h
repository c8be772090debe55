// How the strings shown with a composite font split into character codes (ISO 32000-1, 9.7.6.2): the codespace ranges
// of its CMap, predefined or embedded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"

namespace optimizer::content {

// Codes of `length` bytes, each byte between its two limits.
struct CodespaceRange {
  int length = 1;  // 1 to 4
  std::array<std::uint8_t, 4> low{};
  std::array<std::uint8_t, 4> high{};
};

// Larger CMaps are not read: every font that has one reads it. Those of whole scripts take half a megabyte.
inline constexpr std::size_t kMaxCMapBytes = std::size_t{4} << 20;

class Codespace {
 public:
  // One code, and how many bytes it took.
  struct Code {
    std::uint32_t value = 0;
    int length = 0;
  };

  void add(const CodespaceRange& range) { ranges_.push_back(range); }
  bool empty() const { return ranges_.empty(); }
  // Every two bytes are a code: the two Identity CMaps and most embedded ones.
  bool twoByte() const;
  // The code at the start of a non-empty string, the shortest that a range holds; nothing when none does.
  std::optional<Code> split(ByteView string) const;

 private:
  std::vector<CodespaceRange> ranges_;
};

// By the name of a predefined CMap (ISO 32000-1, table 118), without slash; nothing when it is not one of them.
std::optional<Codespace> predefinedCodespace(std::string_view name);

// By a font's Encoding: a name or an embedded CMap, with the CMaps that it builds on. Nothing when it cannot be told.
std::optional<Codespace> readCodespace(QPDFObjectHandle encoding);

}  // namespace optimizer::content
