#include "platform/linux/access_scope.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/descriptor.h"
#include "platform/linux/environment.h"
#include "platform/linux/gio_library.h"
#include "platform/linux/landlock.h"
#include "platform/linux/system_call_filter.h"
#include "platform/path.h"

namespace platform {
namespace {

// The real path of what path leads to, in the kernel's own words; empty when nothing is there or it cannot be told.
std::string realPathOfExisting(const std::string& path) {
  const Descriptor item(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!item) return "";
  char real[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(item.get());
  const ssize_t length = readlink(link.c_str(), real, sizeof real);
  return length > 0 && length < PATH_MAX && real[0] == '/' ? std::string(real, static_cast<std::size_t>(length)) : "";
}

// The real path of what exists of path, and the rest of it behind that; empty when it cannot be told.
std::string realPath(const std::string& path) {
  std::string existing = realPathOfExisting(path);
  if (!existing.empty()) return existing;
  // Most often just the last component is missing: a result that is still to come.
  struct stat info;
  const std::string name = lastPathComponent(path);
  if (name != "." && name != ".." && lstat(path.c_str(), &info) != 0) {
    existing = realPathOfExisting(deletingLastPathComponent(path));
    if (!existing.empty()) return appendingPathComponent(existing, name);
  }
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

// What programs and libraries read while they run: data of libraries, fonts, time zones, what the process is told about itself.
constexpr const char* systemReadable[] = {
    "/usr/lib", "/usr/lib64", "/usr/local/lib", "/lib", "/lib64", "/usr/share", "/usr/local/share", "/etc/localtime",
    "/etc/timezone", "/etc/fonts", "/etc/ld.so.cache", "/etc/fstab", "/proc/self", "/proc/meminfo", "/proc/cpuinfo", "/proc/stat",
    "/proc/sys/vm", "/sys/devices/system", "/sys/fs/cgroup", "/var/cache/fontconfig"};
constexpr const char* systemUsable[] = {"/dev/null", "/dev/zero", "/dev/full", "/dev/random", "/dev/urandom", "/dev/tty"};

// A folder that only the user can enter. A failure shows when something is to be written there.
void makeOwnFolder(const std::string& path) {
  const std::string parent = deletingLastPathComponent(path);
  struct stat info;
  if (!parent.empty() && parent != path && stat(parent.c_str(), &info) != 0) makeOwnFolder(parent);
  (void)mkdir(path.c_str(), 0700);
}

// The topmost folder of the volume that holds the existing folder or file at path.
std::string volumeTop(std::string path) {
  struct stat here, above;
  if (stat(path.c_str(), &here) != 0) return "";
  while (path != "/") {
    const std::string parent = deletingLastPathComponent(path);
    if (stat(parent.c_str(), &above) != 0 || above.st_dev != here.st_dev) break;
    path = parent;
  }
  return path;
}

// Whether the file system that path is on can have a Trash at all.
bool canHaveTrash(const std::string& path) {
  const GioLibrary* gio = GioLibrary::shared();
  if (!gio) return false;
  GFile* file = gio->localFile(path);
  GFileInfo* info = gio->fileQueryInfo(file, G_FILE_ATTRIBUTE_ACCESS_CAN_TRASH, G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
  const bool can = info && gio->infoBoolean(info, G_FILE_ATTRIBUTE_ACCESS_CAN_TRASH);
  if (info) gio->unref(info);
  gio->unref(file);
  return can;
}

}  // namespace

std::vector<std::string> trashFolders(const std::string& granted) {
  std::vector<std::string> folders = {appendingPathComponent(dataFolder(), "Trash")};
  makeOwnFolder(folders.front());
  const std::string location = realPath(granted);
  const std::string top = volumeTop(location);
  // A volume as a whole holds its Trash.
  if (top.empty() || isWithin(top, location) || top == volumeTop(realPath(dataFolder()))) return folders;
  if (!canHaveTrash(location)) return folders;
  // A Trash that the administrator made for all is taken only with the sticky bit, and never through a link.
  const std::string user = std::to_string(getuid());
  const std::string common = appendingPathComponent(top, ".Trash");
  struct stat info;
  const bool isShared = lstat(common.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && (info.st_mode & S_ISVTX);
  folders.push_back(isShared ? appendingPathComponent(common, user) : appendingPathComponent(top, ".Trash-" + user));
  (void)mkdir(folders.back().c_str(), 0700);
  return folders;
}

AccessScope& AccessScope::shared() {
  static AccessScope scope;
  return scope;
}

std::vector<std::string> AccessScope::limit(const std::string& path) {
  const std::string granted = realPath(path);
  if (limited_) {
    if (!granted.empty()) roots_.push_back(granted);
    return {};
  }
  limited_ = true;
  // The limits name folders by what they are and not by their names, so these have to be there.
  std::vector<std::string> folders = trashFolders(path);
  folders.push_back(temporaryFolder());
  folders.push_back(preferencesFolder());
  for (const std::string& folder : folders) {
    makeOwnFolder(folder);
    roots_.push_back(realPath(folder));
  }
  roots_.push_back(granted);
  std::erase(roots_, "");

  LandlockRules rules;
  rules.readable.assign(std::begin(systemReadable), std::end(systemReadable));
  rules.usable.assign(std::begin(systemUsable), std::end(systemUsable));
  rules.writable = roots_;
  std::vector<std::string> complaints = {limitWithLandlock(rules), limitSystemCalls()};
  std::erase(complaints, "");
  return complaints;
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
