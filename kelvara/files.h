// Files that kelvara writes.
#pragma once

#include <string>

#include "platform/services.h"

namespace kelvara {

// The file appears whole under its name, in one step; one that is there already is replaced only when
// overwrite says so.
platform::Status writeWholeFile(platform::Services& services, const std::string& text,
                                const std::string& path, bool overwrite);

}  // namespace kelvara
