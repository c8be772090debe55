// The freedesktop Trash, through GIO.
#include <cerrno>

#include "platform/linux/access_scope.h"
#include "platform/linux/file_errors.h"
#include "platform/linux/files_linux.h"
#include "platform/linux/gio_library.h"

namespace platform {

Status LinuxFileManager::trashItem(const std::string& path) {
  if (!AccessScope::shared().allows(path)) return trashError(EACCES, path, "");
  const GioLibrary* gio = GioLibrary::shared();
  if (!gio) return noTrashError(path);
  GFile* file = gio->localFile(path);
  GError* failure = nullptr;
  const bool done = gio->fileTrash(file, nullptr, &failure);
  gio->unref(file);
  if (done) return Done{};
  PlatformError error = noTrashError(path);
  if (failure && failure->domain == gio->errorQuark()) {
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
