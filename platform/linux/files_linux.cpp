#include "platform/linux/files_linux.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/linux/access_scope.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/file_errors.h"
#include "platform/path.h"

namespace platform {
namespace {

constexpr std::size_t readLimit = std::size_t{256} << 20;  // profiles are small; a larger file is no profile

bool allowed(const std::string& path) { return AccessScope::shared().allows(path); }

TimePoint timePoint(std::int64_t seconds, std::uint32_t nanoseconds) {
  return TimePoint(std::chrono::seconds(seconds) + std::chrono::nanoseconds(nanoseconds));
}

timespec timeSpec(std::optional<TimePoint> time) {
  if (!time) return {0, UTIME_OMIT};
  const auto since = time->time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(since);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((since - seconds).count())};
}

}  // namespace

Result<std::vector<std::uint8_t>> LinuxFileManager::readFile(const std::string& path) {
  if (!allowed(path)) return readError(EACCES, path);
  // Opening without blocking, so that a pipe put in a file's place cannot hang the program.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info;
  if (!file || fstat(file.get(), &info) != 0) return readError(errno, path);
  if (S_ISDIR(info.st_mode)) return readError(EISDIR, path);
  if (!S_ISREG(info.st_mode)) return readError(EINVAL, path);
  std::vector<std::uint8_t> bytes;
  std::uint8_t buffer[65536];
  for (;;) {
    const ssize_t count = read(file.get(), buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return readError(errno, path);
    if (count == 0) return bytes;
    if (bytes.size() + static_cast<std::size_t>(count) > readLimit) return readError(EFBIG, path);
    bytes.insert(bytes.end(), buffer, buffer + count);
  }
}

Result<FileAttributes> LinuxFileManager::attributesOfItem(const std::string& path) {
  if (!allowed(path)) return readError(EACCES, path);
  struct statx info;
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &info) != 0) return readError(errno, path);
  FileAttributes attributes;
  attributes.size = static_cast<std::int64_t>(info.stx_size);
  attributes.modificationDate = timePoint(info.stx_mtime.tv_sec, info.stx_mtime.tv_nsec);
  if (info.stx_mask & STATX_BTIME) attributes.creationDate = timePoint(info.stx_btime.tv_sec, info.stx_btime.tv_nsec);
  return attributes;
}

Status LinuxFileManager::setAttributes(const FileAttributeChanges& changes, const std::string& path) {
  if (!allowed(path)) return writeError(EACCES, path);
  const timespec times[2] = {{0, UTIME_OMIT}, timeSpec(changes.modificationDate)};
  if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) return writeError(errno, path);
  return Done{};
}

bool LinuxFileManager::fileExists(const std::string& path) {
  struct stat info;
  return allowed(path) && stat(path.c_str(), &info) == 0;
}

Status LinuxFileManager::createDirectory(const std::string& path) {
  if (path.empty()) return writeError(ENOENT, path);
  if (!allowed(path)) return writeError(EACCES, path);
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return Done{};
  const std::string parent = deletingLastPathComponent(path);
  if (!parent.empty() && parent != path && stat(parent.c_str(), &info) != 0) {
    if (Status made = createDirectory(parent); !made) return made;
  }
  if (mkdir(path.c_str(), 0777) == 0) return Done{};
  const int error = errno;
  // Another process may have made it meanwhile.
  if (error == EEXIST && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return Done{};
  return writeError(error, path);
}

Status LinuxFileManager::moveItem(const std::string& from, const std::string& to) {
  if (!allowed(from) || !allowed(to)) return moveError(EACCES, from, to);
  struct stat info;
  if (lstat(to.c_str(), &info) == 0) return moveError(EEXIST, from, to);
  int error = renameNoReplace(from, to);
  if (error == EXDEV) error = copyAcross(from, to);
  if (error != 0) return moveError(error, from, to);
  return Done{};
}

Status LinuxFileManager::removeItem(const std::string& path) {
  if (!allowed(path)) return removeError(EACCES, path);
  std::error_code error;
  const std::uintmax_t count = std::filesystem::remove_all(path, error);
  if (error) return removeError(error.value(), path);
  if (count == 0) return removeError(ENOENT, path);
  return Done{};
}

}  // namespace platform
