// Tags and the other metadata that go with a document: extended attributes of the user namespace.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>

#include "platform/linux/access_scope.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/file_errors.h"
#include "platform/linux/files_linux.h"

namespace platform {
namespace {

// A comma-separated list, UTF-8, without escapes.
constexpr const char* tagsName = "user.xdg.tags";

bool hasNoPlaceForTags(int error) { return error == ENOTSUP || error == EOPNOTSUPP; }

}  // namespace

Result<std::vector<std::string>> LinuxFileManager::tagNames(const std::string& path) {
  if (!AccessScope::shared().allows(path)) return readError(EACCES, path);
  std::string value(1 << 16, '\0');
  const ssize_t size = getxattr(path.c_str(), tagsName, value.data(), value.size());
  std::vector<std::string> names;
  if (size < 0) {
    if (errno == ENODATA || hasNoPlaceForTags(errno)) return names;
    return readError(errno, path);
  }
  value.resize(static_cast<std::size_t>(size));
  for (std::size_t at = 0; at < value.size();) {
    const std::size_t end = std::min(value.find(',', at), value.size());
    if (end > at) names.push_back(value.substr(at, end - at));
    at = end + 1;
  }
  return names;
}

Status LinuxFileManager::setTagNames(const std::vector<std::string>& names, const std::string& path) {
  if (!AccessScope::shared().allows(path)) return writeError(EACCES, path);
  if (names.empty()) {
    if (removexattr(path.c_str(), tagsName) != 0 && errno != ENODATA && !hasNoPlaceForTags(errno))
      return writeError(errno, path);
    return Done{};
  }
  std::string value;
  for (const std::string& name : names) {
    // A comma cannot be stored: it would come back as two tags.
    if (name.find(',') != std::string::npos) return writeError(EINVAL, path);
    value += (value.empty() ? "" : ",") + name;
  }
  if (setxattr(path.c_str(), tagsName, value.data(), value.size(), 0) != 0) return writeError(errno, path);
  return Done{};
}

void LinuxFileManager::copyDocumentMetadata(const std::string& from, const std::string& to) {
  AccessScope& scope = AccessScope::shared();
  if (!scope.allows(from) || !scope.allows(to)) return;
  const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  const Descriptor target(open(to.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
  struct stat info;
  if (!source || !target || fstat(source.get(), &info) != 0) return;
  copyUserMetadata(source.get(), target.get(), false);
  // Not set-user-id and the like: a copy of a document has no business with them.
  (void)fchmod(target.get(), info.st_mode & 0777);
}

}  // namespace platform
