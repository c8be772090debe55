// Profile files as kelvara reads and writes them: a property list, an array of dictionaries.
#pragma once

#include <string>

#include "kelv/profile/compression_profile.h"
#include "platform/services.h"

namespace kelvara {

// The first profile of a file. Errors are those of the platform, and one of our own for a file of another
// shape.
platform::Result<kelv::CompressionProfile> readProfile(platform::Services& services, const std::string& path);

// Writes an array of one dictionary. The file appears whole under its name, in one step; one that is there
// already is replaced only when overwrite says so.
platform::Status writeProfile(platform::Services& services, const kelv::CompressionProfile& profile,
                              const std::string& path, bool overwrite);

// A value as a reader sees it: true, 0.75, "text".
std::string readableValue(const platform::PropertyList& value);

}  // namespace kelvara
