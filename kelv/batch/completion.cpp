#include "kelv/batch/completion.h"

#include "kelv/shared/error_report.h"

namespace kelv {

BatchCompletion reportingCompletion(platform::Process& process) {
  return [&process](const std::vector<std::string>&, const std::optional<platform::PlatformError>& error) {
    if (error) reportCompressionError(process, *error);
  };
}

}  // namespace kelv
