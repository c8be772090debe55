// Check boxes and radio buttons that have no appearance, drawn as viewers draw them (ISO 32000-1, 12.7.4.2).
#pragma once

#include <qpdf/QPDFObjectHandle.hh>
#include <string>

namespace optimizer {

struct FieldButton {
  bool radio = false;
  bool on = false;
  std::string defaultAppearance;  // DA, with what the field inherits
};

// A form XObject of `pdf` with background and border, and where the button is on, its mark in ZapfDingbats.
// Null where the widget's box is not known or shows nothing.
QPDFObjectHandle drawFieldButton(QPDF& pdf, QPDFObjectHandle widget, const FieldButton& button);

}  // namespace optimizer
