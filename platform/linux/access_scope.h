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
  // preferences, Trash; made if need be) are allowed. The first call limits the process by the kernel too, as far as it can, and
  // gives a sentence for each limit that it cannot have; a second call adds its path to our own check only.
  std::vector<std::string> limit(const std::string& path);
  bool limited() const { return limited_; }
  // Whether the file that path names, links followed as far as they exist, lies within.
  bool allows(const std::string& path) const;

 private:
  std::vector<std::string> roots_;
  bool limited_ = false;
};

// The Trash folders that items of the granted location go to: that of the home volume, and that of the location's own volume where
// it is another one.
std::vector<std::string> trashFolders(const std::string& granted);

}  // namespace platform
