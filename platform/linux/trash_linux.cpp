// The freedesktop Trash, through GIO.
#include <gio/gio.h>

#include <cerrno>

#include "platform/linux/access_scope.h"
#include "platform/linux/file_errors.h"
#include "platform/linux/files_linux.h"

namespace platform {

Status LinuxFileManager::trashItem(const std::string& path) {
  if (!AccessScope::shared().allows(path)) return trashError(EACCES, path, "");
  // The local file system's own files: the default would load modules and ask other programs.
  GFile* file = g_vfs_get_file_for_path(g_vfs_get_local(), path.c_str());
  GError* failure = nullptr;
  const bool done = g_file_trash(file, nullptr, &failure);
  g_object_unref(file);
  if (done) return Done{};
  PlatformError error = noTrashError(path);
  if (failure && failure->domain == G_IO_ERROR) {
    switch (failure->code) {
      case G_IO_ERROR_NOT_SUPPORTED: break;
      case G_IO_ERROR_NOT_FOUND: error = trashError(ENOENT, path, ""); break;
      case G_IO_ERROR_PERMISSION_DENIED: error = trashError(EACCES, path, ""); break;
      case G_IO_ERROR_NO_SPACE: error = trashError(ENOSPC, path, ""); break;
      case G_IO_ERROR_READ_ONLY: error = trashError(EROFS, path, ""); break;
      default: error = trashError(0, path, failure->message); break;
    }
  }
  g_clear_error(&failure);
  return error;
}

}  // namespace platform
