// What content shows through one font dictionary, read out of the PDF for the workers.
#pragma once

#include <optional>

#include "optimizer/document/usage.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/used_glyphs.h"

namespace optimizer {

// Nothing where it is not known which codes are shown, or how they lead to glyphs: a CMap that is neither
// embedded nor predefined, an encoding that is not understood. A font that is never used shows no codes.
std::optional<font::ShownCodes> shownCodes(const FontUser& user, const DocumentUsage& usage);

// The Encoding entry of a simple font, which may be null.
font::SimpleEncoding simpleEncoding(QPDFObjectHandle entry);

}  // namespace optimizer
