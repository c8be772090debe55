// The command line's own state, made by the entry and read by every later step.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kelv/compressor/pdf_compressor.h"
#include "platform/services.h"

namespace kelv {

struct FrontEnd {
  platform::Services& services;
  std::vector<std::string> processArguments;  // all of them, the program's own path first
  std::vector<std::string> arguments;         // without the program's own path
  std::string baseFolder;  // from PWD: what relative input, output and profile files count from
  bool verbose = false;
  // Makes the one compressor of the process, and with it the engine, at its first call.
  std::function<std::shared_ptr<PDFCompressor>()> sharedCompressor;
};

// Whether an argument is exactly this flag.
bool hasFlag(const std::vector<std::string>& arguments, const std::string& flag);
// Case-sensitive substring test.
bool contains(const std::string& text, const char* part);

}  // namespace kelv
