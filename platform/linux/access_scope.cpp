#include "platform/linux/access_scope.h"

#include <cstdlib>
#include <filesystem>

#include "platform/linux/environment.h"
#include "platform/path.h"

namespace platform {
namespace {

// The real path of what exists of path, and the rest of it behind that; empty when it cannot be told.
std::string realPath(const std::string& path) {
  std::error_code error;
  // Made absolute first: a relative path of which nothing exists yet would stay relative.
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) return "";
  const std::filesystem::path real = std::filesystem::weakly_canonical(absolute, error);
  if (error) return "";
  std::string text = real.string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  return text;
}

bool isWithin(const std::string& path, const std::string& root) {
  if (root == "/") return true;
  return path.compare(0, root.size(), root) == 0 && (path.size() == root.size() || path[root.size()] == '/');
}

}  // namespace

std::vector<std::string> ownFolders() {
  return {temporaryFolder(), preferencesFolder(), appendingPathComponent(dataFolder(), "Trash")};
}

AccessScope& AccessScope::shared() {
  static AccessScope scope;
  return scope;
}

void AccessScope::limit(const std::string& path) {
  if (!limited_) {
    for (const std::string& folder : ownFolders()) roots_.push_back(realPath(folder));
  }
  limited_ = true;
  roots_.push_back(realPath(path));
  std::erase(roots_, "");
}

bool AccessScope::allows(const std::string& path) const {
  if (!limited_) return true;
  const std::string real = realPath(path);
  if (real.empty()) return false;
  for (const std::string& root : roots_) {
    if (isWithin(real, root)) return true;
  }
  return false;
}

}  // namespace platform
