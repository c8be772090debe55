// Text that an annotation holds and that has no appearance, set as viewers set it (ISO
// 32000-1, 12.5.6.6, 12.7.3.3).
#pragma once

#include <map>
#include <qpdf/QPDFObjectHandle.hh>
#include <string>
#include <vector>

#include "optimizer/font/typing_glyphs.h"

namespace optimizer {

// How text is set: a default appearance string, with what a default style string says over it.
struct TextStyle {
  std::string font = "Helvetica";   // one of the standard Latin fonts
  double size = 12;                 // in points, above 0
  std::string color = "0 g\n";      // operators that set the fill colour of the text
  std::string lineColor = "0 G\n";  // operators that set the stroke colour of border and callout
  int quadding = 0;                 // 0 left, 1 centred, 2 right
  // The document's own font that the default appearance names; not set where there is none.
  QPDFObjectHandle resource;
  // Its characters for the text to be set, where the standard font would not do (chooseFont).
  std::map<char32_t, TypingGlyph> glyphs;
};

// annotation: a dictionary with DA and perhaps DS and Q. fonts: the Font resources of the form, or null. What
// is missing or cannot be read stays as the defaults above have it; a size of 0 in the string is read as 12.
TextStyle textStyleOf(QPDFObjectHandle annotation, QPDFObjectHandle fonts);

// Text that WinAnsi does not have is set in the document's own font where that shows more of it.
void chooseFont(TextStyle& style, const std::string& utf8);
// True where the font of the style has every character.
bool canShow(const TextStyle& style, const std::string& utf8);

struct TextLine {
  std::string codes;  // the bytes of a shown string: WinAnsi, or those of the document's own font
  double width = 0;   // in points
};

// Lines of text, wrapped at blanks, or inside words that are too long, to a width in points. Characters that the font
// has not become question marks. utf8: lines end in CR, LF or both.
std::vector<TextLine> wrapText(const std::string& utf8, const TextStyle& style, double width);

// The characters of one line, each by itself, without those that control.
std::vector<TextLine> characters(const std::string& utf8, const TextStyle& style);

// Width in points of the longest line.
double textWidth(const std::string& utf8, const TextStyle& style);

// A shown string as PDF syntax.
std::string shownString(const std::string& codes);

// Operators that show utf8 from the top of the box down, clipped to it, with the font resource /F; "" for
// text without characters. All in default user space; width and height in points.
std::string textInBox(const std::string& utf8, const TextStyle& style, double left, double bottom,
                      double width, double height);

// The Font resource dictionary, "<< /F … >>".
std::string fontResource(const TextStyle& style);

}  // namespace optimizer
