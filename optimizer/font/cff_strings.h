// The fixed tables of the Compact Font Format (Adobe Technical Note 5176, appendices A and C).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace optimizer::font {

constexpr std::uint16_t kStandardStringCount = 391;

// The standard string of a SID below kStandardStringCount; empty above.
std::string_view standardString(std::uint16_t sid);
std::optional<std::uint16_t> standardSid(std::string_view name);

// SID of a glyph in the predefined charset 0 (ISOAdobe), 1 (Expert) or 2 (ExpertSubset); empty past its end.
std::optional<std::uint16_t> predefinedCharsetSid(int charset, std::size_t glyph);

}  // namespace optimizer::font
