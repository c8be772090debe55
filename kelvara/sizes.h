// Sizes and shares as a reader wants them.
#pragma once

#include <string>

namespace kelvara {

// "0 bytes", "1 byte", "999 bytes", "1.5 kB", "12.3 MB": powers of 1000, three significant digits or more.
std::string readableSize(double bytes);
// "37.5 %", one decimal.
std::string readableShare(double share);

}  // namespace kelvara
