// Text that an annotation holds and that has no appearance, set as viewers set it (ISO
// 32000-1, 12.5.6.6, 12.7.3.3).
#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <string>
#include <vector>

namespace optimizer {

// How text is set: a default appearance string, with what a default style string says over it.
struct TextStyle {
  std::string font = "Helvetica";   // one of the standard Latin fonts
  double size = 12;                 // in points, above 0
  std::string color = "0 g\n";      // operators that set the fill colour of the text
  std::string lineColor = "0 G\n";  // operators that set the stroke colour of border and callout
  int quadding = 0;                 // 0 left, 1 centred, 2 right
};

// annotation: a dictionary with DA and perhaps DS and Q. fonts: the Font resources of the form, or null. What
// is missing or cannot be read stays as the defaults above have it; a size of 0 in the string is read as 12.
TextStyle textStyleOf(QPDFObjectHandle annotation, QPDFObjectHandle fonts);

// Lines of text in WinAnsi, wrapped at blanks, or inside words that are too long, to a width in points.
// Characters that WinAnsi has not become question marks. utf8: lines end in CR, LF or both.
std::vector<std::string> wrapText(const std::string& utf8, const TextStyle& style, double width);

// Width in points of WinAnsi text.
double textWidth(const std::string& text, const TextStyle& style);

// Operators that show utf8 from the top of the box down, clipped to it, with the font resource /F; "" for
// text without characters. All in default user space; width and height in points.
std::string textInBox(const std::string& utf8, const TextStyle& style, double left, double bottom,
                      double width, double height);

// The Font resource dictionary, "<< /F … >>".
std::string fontResource(const TextStyle& style);

}  // namespace optimizer
