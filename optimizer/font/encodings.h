// Character encodings and glyph names (ISO 32000-1, annex D; Adobe Glyph List).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace optimizer::font {

enum class BaseEncoding { standard, winAnsi, macRoman };

// Glyph name of a code; empty where the encoding has none.
std::string_view encodingName(BaseEncoding encoding, std::uint8_t code);

// Unicode value that a glyph name stands for: the names in use for Latin, Greek, Cyrillic and symbols, and the forms
// uniXXXX and uXXXX to uXXXXXX; a suffix after a full stop is left out. Empty for other names.
std::optional<std::uint32_t> unicodeOfName(std::string_view name);

}  // namespace optimizer::font
