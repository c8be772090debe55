// Enumeration of folders: in the file system's order, parents before children, links never followed.
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <memory>

#include "platform/linux/access_scope.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/file_errors.h"
#include "platform/linux/files_linux.h"
#include "platform/path.h"

namespace platform {
namespace {

// Extensions of folders that are shown as one document.
constexpr std::array packageExtensions = {
    "app", "bundle", "plugin", "kext", "appex", "xpc", "prefpane", "qlgenerator", "mdimporter", "saver", "wdgt", "rtfd",
    "photoslibrary", "photolibrary", "imovielibrary", "fcpbundle", "tvlibrary", "musiclibrary", "sparsebundle",
    "playground", "playgroundbook", "xcodeproj", "xcworkspace", "xcarchive", "pkg", "mpkg", "pages", "numbers", "key",
    "band", "logicx", "download", "scptd", "workflow", "action", "docset", "dsym", "lpdf", "graffle"};

bool isPackage(const std::string& name) {
  const std::string extension = pathExtension(name);
  for (const char* known : packageExtensions) {
    if (strcasecmp(extension.c_str(), known) == 0) return true;
  }
  return false;
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

class Walk {
 public:
  Walk(unsigned options, const FileManager::ItemHandler& item, const FileManager::EnumerationErrorHandler& onError)
      : options_(options), item_(item), onError_(onError) {}

  // Depth is bounded by the length of a path that the system opens; each level holds one descriptor.
  bool folder(const std::string& path) {
    if (!AccessScope::shared().allows(path)) return onError_(path, true, readError(EACCES, path));
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return onError_(path, true, readError(errno, path));
    const Folder entries(fdopendir(descriptor));
    if (!entries) return onError_(path, true, readError(errno, path));
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(entries.get());
      if (!entry) return errno == 0 || onError_(path, true, readError(errno, path));
      const std::string name = entry->d_name;
      if (name == "." || name == ".." || (name.front() == '.' && (options_ & skipHiddenFiles))) continue;
      const std::string child = appendingPathComponent(path, name);
      item_(child);
      if (descends(child, name) && !folder(child)) return false;
    }
  }

 private:
  bool descends(const std::string& path, const std::string& name) const {
    if (options_ & skipSubdirectoryDescendants) return false;
    struct stat info;
    if (lstat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return false;
    return !((options_ & skipPackageDescendants) && isPackage(name));
  }

  unsigned options_;
  const FileManager::ItemHandler& item_;
  const FileManager::EnumerationErrorHandler& onError_;
};

}  // namespace

bool LinuxFileManager::enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                                 const EnumerationErrorHandler& onError) {
  struct stat info;
  // A file holds nothing, which is no error.
  if (AccessScope::shared().allows(folder) && stat(folder.c_str(), &info) == 0 && !S_ISDIR(info.st_mode)) return true;
  Walk(options, item, onError).folder(folder);
  return true;
}

}  // namespace platform
