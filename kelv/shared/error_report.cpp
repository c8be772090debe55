#include "kelv/shared/error_report.h"

namespace kelv {

void printAccessHint(platform::Process& process, const std::string& printedDescription) {
  if (printedDescription.find("permission") == std::string::npos) return;
  process.print("Did you grant access in the preferences of the main app?");
}

void reportCompressionError(platform::Process& process, const platform::PlatformError& error) {
  const std::string description = error.localizedDescription();
  process.print("ERROR: Unable to complete compression via comamnd line tool. " + description);
  printAccessHint(process, description);
}

}  // namespace kelv
