// Small helpers for texts and dates in PDFs.
#pragma once

#include <ctime>
#include <string>
#include <string_view>

namespace optimizer {

// Whether bytes are well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view bytes);

// A point in time as a PDF date in local time, such as D:20240131235959+01'00' (ISO 32000-1, 7.9.4).
std::string pdfDate(std::time_t time);
// A PDF date as an XMP date (ISO 8601 profile), such as 2024-01-31T23:59:59+01:00; "" when it is none.
std::string xmpDate(std::string_view pdfDate);

}  // namespace optimizer
