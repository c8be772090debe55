// The end of a batch as the command line reports it.
#pragma once

#include "kelv/compressor/handlers.h"
#include "platform/process.h"

namespace kelv {

// Reports every error; a good end needs no word.
BatchCompletion reportingCompletion(platform::Process& process);

}  // namespace kelv
