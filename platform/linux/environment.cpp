#include "platform/linux/environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace platform {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  std::string text = value ? value : "";
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

// The base directories of the XDG specification ignore relative values.
std::string baseFolder(const char* name, const char* below) {
  const std::string value = variable(name);
  return !value.empty() && value.front() == '/' ? value : homeFolder() + below;
}

}  // namespace

std::string homeFolder() {
  const std::string home = variable("HOME");
  if (!home.empty()) return home;
  const passwd* entry = getpwuid(getuid());
  return entry && entry->pw_dir ? entry->pw_dir : "/";
}

std::string preferencesFolder() { return baseFolder("XDG_CONFIG_HOME", "/.config") + "/kelvara"; }
std::string dataFolder() { return baseFolder("XDG_DATA_HOME", "/.local/share"); }

std::string temporaryFolder() {
  const std::string value = variable("TMPDIR");
  return value.empty() ? "/tmp" : value;
}

}  // namespace platform
