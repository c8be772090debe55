#include "platform/linux/file_errors.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/path.h"

namespace platform {
namespace {

bool notAllowed(int error) { return error == EACCES || error == EPERM; }

PlatformError cocoaError(long code, const std::string& text, const std::string& path, int error) {
  PlatformError result;
  result.domain = "NSCocoaErrorDomain";
  result.code = code;
  result.domainText = text;
  if (!path.empty()) result.userInfo.emplace_back(filePathKey, path);
  if (error != 0) {
    auto posix = std::make_shared<PlatformError>();
    posix->domain = "NSPOSIXErrorDomain";
    posix->code = error;
    posix->domainText = strerrordesc_np(error);  // in English whatever the locale, as all messages are
    result.underlying = posix;
  }
  return result;
}

std::string quoted(const std::string& path) { return "“" + lastPathComponent(path) + "”"; }
std::string folderOf(const std::string& path) { return quoted(deletingLastPathComponent(path)); }

// A volume goes by the name of the folder that it is mounted on: the topmost one with the item's file system.
std::string volumeOf(const std::string& path) {
  std::string folder = path;
  struct stat here, above;
  while (folder.size() > 1 && stat(folder.c_str(), &here) != 0) folder = deletingLastPathComponent(folder);
  if (folder.empty() || stat(folder.c_str(), &here) != 0) return quoted("/");
  while (folder != "/") {
    const std::string parent = deletingLastPathComponent(folder);
    if (parent.empty() || stat(parent.c_str(), &above) != 0 || above.st_dev != here.st_dev) break;
    folder = parent;
  }
  return quoted(folder);
}

std::string volumeText(const std::string& path, const char* what) {
  return "You can’t save the file " + quoted(path) + " because the volume " + volumeOf(path) + " " + what;
}

}  // namespace

PlatformError readError(int error, const std::string& path) {
  if (path.empty())
    return cocoaError(258, "The file couldn’t be opened because the specified name is invalid.", path, error);
  const std::string start = "The file " + quoted(path) + " couldn’t be opened";
  if (error == ENOENT) return cocoaError(260, start + " because there is no such file.", path, error);
  if (notAllowed(error))
    return cocoaError(257, start + " because you don’t have permission to view it.", path, error);
  if (error == EFBIG) return cocoaError(263, start + " because it is too large.", path, error);
  return cocoaError(256, start + ".", path, error);
}

PlatformError writeError(int error, const std::string& path) {
  const std::string saved = "couldn’t be saved in the folder " + folderOf(path);
  switch (error) {
    case ENOENT:
      return cocoaError(4, "The file " + quoted(path) + " doesn’t exist.", path, error);
    case EACCES:
    case EPERM:
      return cocoaError(
          513, "You don’t have permission to save the file " + quoted(path) + " in the folder " + folderOf(path) + ".",
          path, error);
    case EEXIST:
      return cocoaError(
          516, "The file " + quoted(path) + " " + saved + " because a file with the same name already exists.", path,
          error);
    case ENOSPC:
    case EDQUOT:
      return cocoaError(640, volumeText(path, "is out of space."), path, error);
    case EROFS:
      return cocoaError(642, volumeText(path, "is read only."), path, error);
    default:
      return cocoaError(512, "The file " + quoted(path) + " " + saved + ".", path, error);
  }
}

namespace {

PlatformError plainMoveError(int error, const std::string& from, const std::string& to) {
  const std::string start = quoted(from) + " couldn’t be moved ";
  switch (error) {
    case ENOENT:
      return cocoaError(4,
                        start + "to " + folderOf(to) +
                            " because either the former doesn’t exist, or the folder containing the latter doesn’t "
                            "exist.",
                        from, error);
    case EACCES:
    case EPERM:
      return cocoaError(513, start + "because you don’t have permission to access " + folderOf(to) + ".", from, error);
    case EEXIST:
      return cocoaError(
          516, start + "to " + folderOf(to) + " because an item with the same name already exists.", from, error);
    case ENOSPC:
    case EDQUOT:
    case EROFS:
      return writeError(error, to);
    default:
      return cocoaError(512, start + "to " + folderOf(to) + ".", from, error);
  }
}

// What the operation was and its two paths come before the path of the item.
void addVariant(PlatformError& error, const char* variant, const std::string& from, const std::string& to) {
  auto at = error.userInfo.begin();
  if (!to.empty()) at = error.userInfo.insert(at, {"NSSourceFilePathErrorKey", from}) + 1;
  at = error.userInfo.insert(at, {"NSUserStringVariant", variant}) + 1;
  if (!to.empty()) error.userInfo.insert(at, {"NSDestinationFilePath", to});
}

}  // namespace

PlatformError moveError(int error, const std::string& from, const std::string& to) {
  PlatformError result = plainMoveError(error, from, to);
  addVariant(result, "(Move)", from, to);
  return result;
}

PlatformError removeError(int error, const std::string& path) {
  const std::string start = quoted(path) + " couldn’t be removed";
  PlatformError result = cocoaError(512, start + ".", path, error);
  if (error == ENOENT) result.code = 4;
  if (notAllowed(error) || error == ENOTEMPTY)
    result = cocoaError(513, start + " because you don’t have permission to access it.", path, error);
  if (error == EROFS) result = cocoaError(642, volumeText(path, "is read only."), path, error);
  addVariant(result, "(Remove)", path, "");
  return result;
}

PlatformError noTrashError(const std::string& path) {
  return cocoaError(
      3328,
      quoted(path) + " couldn’t be moved to the trash because the volume " + volumeOf(path) + " doesn’t have one.", path,
      0);
}

PlatformError trashError(int error, const std::string& path, const std::string& reason) {
  const std::string start = quoted(path) + " couldn’t be moved to the trash";
  PlatformError result = cocoaError(512, start + ".", path, error);
  if (error == ENOENT) result = cocoaError(4, "The file " + quoted(path) + " doesn’t exist.", path, error);
  if (notAllowed(error)) result = cocoaError(513, start + " because you don’t have permission to access it.", path, error);
  if (error == ENOSPC) result = cocoaError(640, volumeText(path, "is out of space."), path, error);
  if (error == EROFS) result = cocoaError(642, volumeText(path, "is read only."), path, error);
  if (!reason.empty()) result.userInfo.emplace_back(failureReasonKey, reason);
  addVariant(result, "(Trash)", path, "");
  return result;
}

PlatformError propertyListError(const std::string& debugText) {
  PlatformError error = cocoaError(
      3840, "The data couldn’t be read because it isn’t in the correct format.", "", 0);
  error.userInfo.emplace_back(debugDescriptionKey, debugText);
  return error;
}

PlatformError bookmarkCorruptError() {
  return cocoaError(259, "The file couldn’t be opened because it isn’t in the correct format.", "", 0);
}

PlatformError bookmarkGoneError(const std::string& path) {
  return cocoaError(4, "The file doesn’t exist.", path, ENOENT);
}

}  // namespace platform
