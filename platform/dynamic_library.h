// Libraries that are loaded when they are wanted, and found like those that a program is linked with.
#pragma once

#include <string>

#include "platform/error.h"

namespace platform {

// Stays loaded until the process ends.
class DynamicLibrary {
 public:
  // By its file name, from where the system looks for this program's own libraries.
  static Result<DynamicLibrary> load(const std::string& name);

  // The address of a function or variable; null when the library has none of that name.
  void* symbol(const char* name) const;

 private:
  explicit DynamicLibrary(void* handle) : handle_(handle) {}
  void* handle_;
};

}  // namespace platform
