// Subroutines for Type 2 charstrings: bytes that charstrings share, written once.
#pragma once

#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer::font {

// Finds operator sequences that repeat in the charstrings, replaces them there by calls of global subroutines, and
// returns the subroutines in the order of their numbers. Bounded in time; without repeats it changes nothing.
std::vector<Bytes> buildSubroutines(std::vector<Bytes>& charstrings);

}  // namespace optimizer::font
