#include "platform/linux/gio_library.h"

#include <optional>

#include "platform/dynamic_library.h"

namespace platform {
namespace {

template <typename Function>
bool find(const DynamicLibrary& library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(library.symbol(name));
  return function != nullptr;
}

std::optional<GioLibrary> load() {
  const Result<DynamicLibrary> library = DynamicLibrary::load("libgio-2.0.so.0");
  if (!library) return std::nullopt;
  GioLibrary gio;
  // What GIO is linked with is found through it.
  const bool isWhole = find(*library, "g_vfs_get_local", gio.vfsLocal) &&
                       find(*library, "g_vfs_get_file_for_path", gio.vfsFileForPath) &&
                       find(*library, "g_file_trash", gio.fileTrash) &&
                       find(*library, "g_file_query_info", gio.fileQueryInfo) &&
                       find(*library, "g_file_info_get_attribute_boolean", gio.infoBoolean) &&
                       find(*library, "g_object_unref", gio.unref) &&
                       find(*library, "g_io_error_quark", gio.errorQuark);
  return isWhole ? std::optional(gio) : std::nullopt;
}

}  // namespace

const GioLibrary* GioLibrary::shared() {
  static const std::optional<GioLibrary> library = load();
  return library ? &*library : nullptr;
}

}  // namespace platform
