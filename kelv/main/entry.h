// The tool's top level.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kelv/compressor/pdf_compressor.h"
#include "platform/services.h"

namespace kelv {

// Answers a call for help, or obtains access to the user's files and compresses what the arguments name, all
// before it returns. processArguments begins with the program's own path. Returns the exit status, which is
// always 0; no arguments at all, an empty environment and one without PWD are fatal errors. sharedCompressor
// is called when there is something to compress.
int enter(platform::Services& services, std::vector<std::string> processArguments,
          std::function<std::shared_ptr<PDFCompressor>()> sharedCompressor);

}  // namespace kelv
