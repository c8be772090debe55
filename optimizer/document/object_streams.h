// Object streams before anything is read out of them (ISO 32000-1, 7.5.7): the PDF library builds every
// object of one at once, and each value takes some two hundred bytes then, however short it was written.
#pragma once

#include <cstdint>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

class QPDF;

namespace optimizer {

// How many values the object streams of a file of so many bytes may hold.
std::uint64_t valuesAllowed(std::uint64_t fileBytes);

// The values of the object at the beginning of the bytes, itself and what is in it; counted up to a limit.
std::uint64_t countValues(ByteView object, std::uint64_t most);

// Refuses a document whose object streams hold more values than are allowed, or whose cross-reference table
// has far more entries than its file could have objects. The table must have been read, and no object.
// Errors: limit.
Status checkObjectStreams(QPDF& pdf, std::uint64_t fileBytes);

}  // namespace optimizer
