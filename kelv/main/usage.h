// The text that answers --help, and a call without input paths.
#pragma once

namespace kelv {

// Begins and ends with a line break.
extern const char* const usageText;

}  // namespace kelv
