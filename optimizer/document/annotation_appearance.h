// Appearances of annotations that have none of their own, drawn as viewers draw them (ISO 32000-1, 12.5.6).
#pragma once

#include <string>

#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

struct DrawnAppearance {
  std::string content;  // operators in the page's default user space; "" where nothing shows
  double opacity = 1;
  bool multiply = false;  // blended over the page as a highlighter is
  std::string fonts;      // the Font resources that content uses, as PDF syntax; "" for none
};

// For links (their border), highlights, underlines, squiggles, strike-outs, squares, circles, lines, polygons, polylines,
// ink and free text (fonts: the Font resources of the form, or null; other letters than Latin ones where one of them has
// them). Other kinds show nothing without an appearance of their own, or an icon of the viewer's choosing, which is no part
// of the document.
DrawnAppearance drawAnnotation(QPDFObjectHandle annotation, QPDFObjectHandle fonts);

}  // namespace optimizer
