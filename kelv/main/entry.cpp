#include "kelv/main/entry.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "kelv/main/access_grant.h"
#include "kelv/main/front_end.h"
#include "kelv/main/usage.h"
#include "platform/path.h"

namespace kelv {
namespace {

// From PWD and not from the system, so that a folder reached by a symbolic link keeps the name that the user
// sees.
std::string workingDirectory(platform::Process& process) {
  if (process.environmentIsEmpty()) platform::fatalError("the environment is empty", __FILE__, __LINE__);
  const std::optional<std::string> folder = process.environment("PWD");
  if (!folder) platform::fatalError("the environment has no PWD", __FILE__, __LINE__);
  if (!folder->empty() && folder->front() == '/') return *folder;
  std::error_code ignored;
  return platform::resolvePath(std::filesystem::current_path(ignored).string(), *folder);
}

}  // namespace

int enter(platform::Services& services, std::vector<std::string> processArguments, EngineAccess engine) {
  if (processArguments.empty()) platform::fatalError("there are no arguments", __FILE__, __LINE__);
  std::vector<std::string> arguments(processArguments.begin() + 1, processArguments.end());
  FrontEnd frontEnd{
      services, std::move(processArguments),       std::move(arguments), workingDirectory(services.process),
      false,    std::move(engine.sharedCompressor)};

  if (hasFlag(frontEnd.arguments, "--help") || hasFlag(frontEnd.arguments, "-help")) {
    services.process.print(usageText);
    return 0;
  }
  frontEnd.verbose = hasFlag(frontEnd.arguments, "--verbose") || hasFlag(frontEnd.arguments, "-verbose");
  engine.load();
  grantFileAccess(frontEnd);
  return 0;
}

}  // namespace kelv
