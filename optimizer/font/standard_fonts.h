// The standard Latin fonts that every viewer brings (ISO 32000-1, 9.6.2.2): Helvetica, Times and Courier in four styles.
#pragma once

#include <optional>
#include <string_view>

namespace optimizer::font {

// The standard name that a font name without subset tag stands for; empty for other fonts. Symbol and ZapfDingbats are not
// among them: their glyphs go by codes of their own, in which embedded ones differ.
std::string_view standardFontName(std::string_view name);

// Width of a glyph of a standard font, in thousandths of an em; nothing for a glyph outside the Latin character sets.
std::optional<int> standardFontWidth(std::string_view font, std::string_view glyph);

}  // namespace optimizer::font
