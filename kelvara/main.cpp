#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "kelvara/command.h"

namespace {

// PWD keeps the names that the user sees where symbolic links lead; it has to be the place where the process
// is.
std::string workingDirectory() {
  std::error_code ignored;
  const char* shown = std::getenv("PWD");
  if (shown != nullptr && *shown == '/' && std::filesystem::equivalent(shown, ".", ignored)) return shown;
  return std::filesystem::current_path(ignored).string();
}

}  // namespace

int main(int argc, char** argv) {
  const char* noColor = std::getenv("NO_COLOR");
  const bool color =
      isatty(STDOUT_FILENO) == 1 && isatty(STDERR_FILENO) == 1 && (noColor == nullptr || *noColor == '\0');
  kelvara::Context context{platform::systemServices(), std::cout, std::cerr,
                           workingDirectory(),         color,     isatty(STDERR_FILENO) == 1};
  const kelvara::ExitStatus status = kelvara::run(std::vector<std::string>(argv + 1, argv + argc), context);
  std::cout.flush();
  if (status == kelvara::exitOk && !std::cout) {
    return kelvara::failure(context, "the output could not be written.",
                            "Look at where the output goes to: is the disk full?");
  }
  return status;
}
