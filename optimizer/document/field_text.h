// Text fields that have a value and no appearance, set as viewers set them (ISO 32000-1, 12.7.4.3).
#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <string>

namespace optimizer {

struct FieldText {
  std::string value;              // UTF-8
  std::string defaultAppearance;  // DA, with what the field inherits
  int quadding = 0;               // 0 left, 1 centred, 2 right
  bool multiline = false;
  int cells = 0;                  // of a comb, whose characters each have one; 0 for none
};

// A form XObject of `pdf` with background, border and text, in a standard font, or the document's own where that shows
// more. Null where the value has characters that neither has, or where the widget's box is not known.
QPDFObjectHandle drawFieldText(QPDF& pdf, QPDFObjectHandle widget, const FieldText& text,
                               QPDFObjectHandle fonts);

// True of a default appearance that says how large the text is.
bool namesSize(const std::string& appearance);

}  // namespace optimizer
