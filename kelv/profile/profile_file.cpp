#include "kelv/profile/profile_file.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "kelv/shared/error_report.h"
#include "platform/path.h"

namespace kelv {
namespace {

std::nullopt_t reportUnreadable(platform::Process& process, const std::string& argument,
                                const platform::PlatformError& error) {
  const std::string description = error.description();
  process.print("ERROR: Failed to read profile at " + argument + ". " + description);
  printAccessHint(process, description);
  return std::nullopt;
}

bool isArrayOfDictionaries(const platform::PropertyList& list) {
  const platform::PropertyListArray* items = list.arrayItems();
  if (items == nullptr) return false;
  return std::all_of(items->begin(), items->end(),
                     [](const platform::PropertyList& item) { return item.dictionaryEntries() != nullptr; });
}

}  // namespace

std::optional<CompressionProfile> readProfileFile(platform::Services& services, const std::string& argument,
                                                  const std::string& baseFolder, bool verbose) {
  const std::string path = platform::resolvePath(baseFolder, argument);
  const platform::Result<std::vector<std::uint8_t>> bytes = services.files.readFile(path);
  if (!bytes.ok()) return reportUnreadable(services.process, argument, bytes.error());
  const platform::Result<platform::PropertyList> list = platform::parsePropertyList(*bytes);
  if (!list.ok()) return reportUnreadable(services.process, argument, list.error());

  // A lone dictionary is ignored on purpose: only what the main application exports, an array, is a profile
  // file.
  if (!isArrayOfDictionaries(*list) || list->arrayItems()->empty()) return CompressionProfile();
  if (verbose) {
    services.process.print("Using profile first profile found in " + platform::lastPathComponent(path) + ".");
  }
  return *list->arrayItems()->front().dictionaryEntries();
}

}  // namespace kelv
