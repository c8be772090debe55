// The fonts that a reader of the document may type with.
#pragma once

#include <set>

#include <qpdf/QPDF.hh>

namespace optimizer {

// Fonts named by default appearances of form fields and free-text annotations (ISO 32000-1, 12.7.3.3 and 12.5.6.6),
// looked up where viewers look: in the form's default resources and in the appearances that stand there now. All fonts of
// the default resources where rich text or an XFA form may name any of them. Reads, changes nothing.
std::set<QPDFObjGen> typingFonts(QPDF& pdf);

}  // namespace optimizer
