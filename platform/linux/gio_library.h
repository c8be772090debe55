// The functions of GIO that we call, loaded with the first call: only the Trash needs them, and GIO with the
// libraries below it is a good part of a program's start. The limits of the access scope leave the system's
// libraries readable.
#pragma once

#include <gio/gio.h>

#include <string>

namespace platform {

struct GioLibrary {
  decltype(&g_vfs_get_local) vfsLocal = nullptr;
  decltype(&g_vfs_get_file_for_path) vfsFileForPath = nullptr;
  decltype(&g_file_trash) fileTrash = nullptr;
  decltype(&g_file_query_info) fileQueryInfo = nullptr;
  decltype(&g_file_info_get_attribute_boolean) infoBoolean = nullptr;
  decltype(&g_object_unref) unref = nullptr;
  decltype(&g_io_error_quark) errorQuark = nullptr;

  // Null when the system has no such library.
  static const GioLibrary* shared();

  // Of the local file system: the default would load modules and ask other programs. Released with unref.
  GFile* localFile(const std::string& path) const { return vfsFileForPath(vfsLocal(), path.c_str()); }
};

}  // namespace platform
