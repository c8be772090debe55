// Moving files so that no reader ever sees half of one and a killed process leaves the original.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "platform/linux/descriptor.h"
#include "platform/linux/files_linux.h"
#include "platform/path.h"

namespace platform {
namespace {

constexpr const char* tagsName = "user.xdg.tags";

int copyBytes(int from, int to) {
  char buffer[1 << 16];
  for (;;) {
    const ssize_t count = read(from, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return 0;
    for (ssize_t done = 0; done < count;) {
      const ssize_t written = write(to, buffer + done, static_cast<std::size_t>(count - done));
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) return errno;
      done += written;
    }
  }
}

std::string hiddenNameBeside(const std::string& path) {
  std::random_device random;
  char suffix[20];
  std::snprintf(suffix, sizeof suffix, ".%08x%08x", random(), random());
  return appendingPathComponent(deletingLastPathComponent(path), std::string(suffix) + ".kelv-part");
}

int syncFolder(const std::string& folder) {
  const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor) return errno;
  // Some file systems cannot sync a folder and say EINVAL: then there is nothing more to do.
  return fsync(descriptor.get()) == 0 || errno == EINVAL ? 0 : errno;
}

int writeCopy(int from, const std::string& part) {
  struct stat info;
  if (fstat(from, &info) != 0) return errno;
  const Descriptor to(open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!to) return errno;
  if (const int error = copyBytes(from, to.get()); error != 0) return error;
  copyUserMetadata(from, to.get(), true);
  const timespec times[2] = {info.st_atim, info.st_mtim};
  if (fchmod(to.get(), info.st_mode & 07777) != 0 || futimens(to.get(), times) != 0) return errno;
  return fsync(to.get()) == 0 ? 0 : errno;
}

}  // namespace

void copyUserMetadata(int from, int to, bool withTags) {
  std::vector<char> names(1 << 16);
  const ssize_t size = flistxattr(from, names.data(), names.size());
  std::vector<char> value(1 << 16);
  for (ssize_t at = 0; at < size;) {
    const std::string name(names.data() + at);
    at += static_cast<ssize_t>(name.size()) + 1;
    if (name.compare(0, 5, "user.") != 0 || (name == tagsName && !withTags)) continue;
    const ssize_t length = fgetxattr(from, name.c_str(), value.data(), value.size());
    if (length >= 0) (void)fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(length), XATTR_CREATE);
  }
}

int renameNoReplace(const std::string& from, const std::string& to) {
  if (syscall(SYS_renameat2, AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that promise: a link does not replace either.
  if (link(from.c_str(), to.c_str()) != 0) return errno;
  return unlink(from.c_str()) == 0 ? 0 : errno;
}

int copyAcross(const std::string& from, const std::string& to) {
  const Descriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (!source) return errno;
  const std::string part = hiddenNameBeside(to);
  int error = writeCopy(source.get(), part);
  if (error == 0) error = renameNoReplace(part, to);
  if (error != 0) {
    unlink(part.c_str());
    return error;
  }
  // From here on the result stands under its name; that the copy's source goes too is wanted, not needed.
  (void)syncFolder(deletingLastPathComponent(to));
  unlink(from.c_str());
  return 0;
}

}  // namespace platform
