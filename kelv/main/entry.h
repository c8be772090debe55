// The tool's top level.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kelv/compressor/pdf_compressor.h"
#include "platform/services.h"

namespace kelv {

// How the tool gets hold of the engine.
struct EngineAccess {
  std::function<void()> load;  // called once, before access to files is limited
  std::function<std::shared_ptr<PDFCompressor>()>
      sharedCompressor;  // called when there is something to compress
};

// Answers a call for help, or obtains access to the user's files and compresses what the arguments name, all
// before it returns. processArguments begins with the program's own path. Returns the exit status, which is
// always 0; no arguments at all, an empty environment and one without PWD are fatal errors.
int enter(platform::Services& services, std::vector<std::string> processArguments, EngineAccess engine);

}  // namespace kelv
