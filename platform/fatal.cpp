#include <cstdio>
#include <cstdlib>

#include "platform/error.h"

namespace platform {

void fatalError(const std::string& reason, const char* file, int line) {
  std::fflush(stdout);
  std::fprintf(stderr, "Fatal error: %s: file %s, line %d\n", reason.c_str(), file, line);
  std::abort();
}

}  // namespace platform
