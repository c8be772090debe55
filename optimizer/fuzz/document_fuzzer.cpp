// Opens any bytes as a PDF, optimizes it with settings that its first byte chooses, saves and reads back.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "optimizer/base/large_stack.h"
#include "optimizer/pipeline/optimize.h"

namespace {

std::string pathOf(const char* name) {
  const char* folder = std::getenv("TMPDIR");
  return std::string(folder != nullptr ? folder : "/tmp") + "/document_fuzzer-" + std::to_string(getpid()) + name;
}

void write(const std::string& path, const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();
  std::fwrite(data, 1, size, file);
  std::fclose(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  static const std::string input = pathOf(".in.pdf"), output = pathOf(".out.pdf");
  // Seeds are plain PDFs: their first byte, '%', asks for the web profile.
  optimizer::Settings settings = optimizer::webSettings();
  if (data[0] != '%') {
    settings.strip = (data[0] & 1) != 0 ? 0x7FF : 0x380;
    settings.removeImages = (data[0] & 2) != 0;
    settings.linearize = (data[0] & 4) != 0;
  }
  write(input, data, size);
  const optimizer::Status done = optimizer::runOnLargeStack([&]() -> optimizer::Status {
    auto document = optimizer::Document::open(input, "");
    if (!document.ok()) return document.error();
    optimizer::OptimizeOptions options;
    options.threads = 1;
    optimizer::Report report;
    return optimizer::optimizeToFile(**document, settings, output, options, report);
  });
  // A failure has a message, and no file is left.
  if (!done.ok() && done.error().message.empty()) std::abort();
  if (::access(output.c_str(), F_OK) == 0) {
    if (!done.ok()) std::abort();
    ::unlink(output.c_str());
  } else if (done.ok()) {
    std::abort();
  }
  return 0;
}
