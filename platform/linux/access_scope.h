// What the process may touch once access to a granted location has started: our own check, which every file operation asks first.
#pragma once

#include <string>
#include <vector>

namespace platform {

// Before limit() everything is allowed: then the file system alone decides.
class AccessScope {
 public:
  static AccessScope& shared();

  // From now on only the item at path, or what is below it when it is a folder, and the process's own folders (temporary,
  // preferences, Trash) are allowed. A second call adds its path.
  void limit(const std::string& path);
  bool limited() const { return limited_; }
  // Whether the file that path names, links followed as far as they exist, lies within.
  bool allows(const std::string& path) const;

 private:
  std::vector<std::string> roots_;
  bool limited_ = false;
};

// Folders that the process always needs, whether they exist yet or not: temporary, preferences, Trash of the home volume.
std::vector<std::string> ownFolders();

}  // namespace platform
