// What all fields without an appearance of their own are drawn on: background and border of a widget (ISO
// 32000-1, 12.5.6.19).
#pragma once

#include <optional>
#include <qpdf/QPDFObjectHandle.hh>
#include <string>

namespace optimizer {

struct FieldBox {
  double width = 0, height = 0;  // of the widget as it is read, in points; above 0
  int turn = 0;                  // how far it is turned counterclockwise: 0, 90, 180 or 270 degrees
  double border = 0;             // the width of the line
  std::string fill, line;        // operators that set the colours of background and border; "" for none
};

// Empty where the widget is turned by less than a quarter or has no area: then nothing is known here of how
// it looks.
std::optional<FieldBox> fieldBoxOf(QPDFObjectHandle widget);

// Operators that draw background and border from (0, 0), as a circle where it is round.
std::string fieldBoxContent(const FieldBox& box, bool round = false);

// A form XObject of the widget's size, turned as the widget is; fonts: its Font resources.
QPDFObjectHandle fieldForm(QPDF& pdf, const FieldBox& box, const std::string& content,
                           const std::string& fonts);

}  // namespace optimizer
