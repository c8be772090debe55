// PDF syntax in as few bytes as it allows (ISO 32000-1, 7.3).
#pragma once

#include <functional>
#include <string>

#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// The number that an indirect object has in the written file; 0 where it is not written: then null stands there.
using NumberOf = std::function<int(const QPDFObjectHandle&)>;

// Appends value; white space only where two tokens would run together. Entries that are null are left out.
void appendCompact(std::string& out, QPDFObjectHandle value, const NumberOf& numberOf);

// The dictionary of a stream with `length` coded bytes, "<<…>>".
void appendStreamDictionary(std::string& out, QPDFObjectHandle dictionary, std::size_t length,
                            const NumberOf& numberOf);

// A string as literal or hexadecimal, whichever is shorter.
std::string compactString(const std::string& bytes);
// A decimal number without zeros that say nothing: "-0.50" is "-.5".
std::string compactNumber(const std::string& text);

}  // namespace optimizer
