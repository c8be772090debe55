#include "platform/dynamic_library.h"

#include <dlfcn.h>

namespace platform {

Result<DynamicLibrary> DynamicLibrary::load(const std::string& name) {
  // Bound lazily, as at a program's start: a function that is missing matters only when it is called.
  void* handle = dlopen(name.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (handle != nullptr) return DynamicLibrary(handle);
  const char* reason = dlerror();
  return PlatformError{"", 1, {{localizedDescriptionKey, reason == nullptr ? name : reason}}, nullptr};
}

void* DynamicLibrary::symbol(const char* name) const { return dlsym(handle_, name); }

}  // namespace platform
