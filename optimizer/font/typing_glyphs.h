// Characters that a font of the document can show in text that is set anew, as form fields and free text need it.
#pragma once

#include <map>
#include <string>

#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

struct TypingGlyph {
  std::string code;   // the bytes of a shown string
  double width = 0;   // in thousandths of the font size
};

// The glyphs that the font has for the characters of the text; those that it lacks are missing. font: a font dictionary; of
// simple fonts the encoding says which characters there are, of composite ones a CMap by Unicode, the ToUnicode map or the
// program's own table. Embedded programs are asked whether they have the glyph; others are what a viewer has in their place.
// Nothing for characters written from right to left, which would have to be put in order and joined.
std::map<char32_t, TypingGlyph> typingGlyphs(QPDFObjectHandle font, const std::u32string& text);

}  // namespace optimizer
