#include "kelvara/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/path.h"

namespace kelvara {
namespace {

platform::PlatformError fileError(const std::string& path, const std::string& reason) {
  return {"",
          1,
          {{platform::localizedDescriptionKey, "The file " + path + " cannot be written: " + reason + "."}},
          nullptr};
}

}  // namespace

platform::Status writeWholeFile(platform::Services& services, const std::string& text,
                                const std::string& path, bool overwrite) {
  const std::string folder = platform::deletingLastPathComponent(path);
  const std::string draft =
      platform::appendingPathComponent(folder, ".kelvara-" + services.process.newUuidText());
  std::ofstream file(draft, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  platform::Status written = platform::Done{};
  if (!file) {
    written = fileError(path, std::strerror(errno));
  } else if (!overwrite) {
    written = services.files.moveItem(draft, path);
  } else {
    std::error_code failed;
    std::filesystem::rename(draft, path, failed);
    if (failed) written = fileError(path, failed.message());
  }
  if (!written.ok()) std::remove(draft.c_str());
  return written;
}

}  // namespace kelvara
