#include "kelvara/temporary_folder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace kelvara {

TemporaryFolder::TemporaryFolder() {
  std::error_code failed;
  const std::filesystem::path parent = std::filesystem::temp_directory_path(failed);
  if (failed) return;
  std::string name = (parent / "kelvara-XXXXXX").string();
  if (mkdtemp(name.data()) != nullptr) path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace kelvara
