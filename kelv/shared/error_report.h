// What the user reads when a compression fails.
#pragma once

#include <string>

#include "platform/error.h"
#include "platform/process.h"

namespace kelv {

// Asks about the grant when the description of an error, just printed, speaks of a missing permission.
void printAccessHint(platform::Process& process, const std::string& printedDescription);

// The line for a compression that cannot be completed, with the hint where it helps.
void reportCompressionError(platform::Process& process, const platform::PlatformError& error);

}  // namespace kelv
