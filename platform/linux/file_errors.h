// The errors of file operations: from an errno to domain, code and the sentence a user reads.
#pragma once

#include <string>

#include "platform/error.h"

namespace platform {

// Domain NSCocoaErrorDomain, the POSIX error underneath. Reading: 260 missing, 257 not allowed, 256 otherwise.
PlatformError readError(int error, const std::string& path);
// Writing, creating or changing the item at path: 4 missing, 513 not allowed, 516 taken, 640 out of space, 642 read-only, 512.
PlatformError writeError(int error, const std::string& path);
PlatformError moveError(int error, const std::string& from, const std::string& to);
PlatformError removeError(int error, const std::string& path);
PlatformError noTrashError(const std::string& path);
// 4 missing, 513 not allowed, 640 out of space, 642 read-only, 512 for another reason, which may be given in the Trash's words.
PlatformError trashError(int error, const std::string& path, const std::string& reason);

PlatformError propertyListError(const std::string& debugText);                          // 3840
PlatformError bookmarkCorruptError();                                                   // 259
PlatformError bookmarkGoneError(const std::string& path);                               // 4

}  // namespace platform
