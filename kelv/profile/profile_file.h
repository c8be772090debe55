// Reading a profile from a .kelvcp file.
#pragma once

#include <optional>
#include <string>

#include "kelv/profile/compression_profile.h"
#include "platform/services.h"

namespace kelv {

// The first profile of the file that argument names, relative to baseFolder. The file is a property list, an
// array of dictionaries; any other shape gives an empty profile without a word. Nothing when the file cannot
// be read or is no property list, which is printed with the argument as typed.
std::optional<CompressionProfile> readProfileFile(platform::Services& services, const std::string& argument,
                                                  const std::string& baseFolder, bool verbose);

}  // namespace kelv
