// Profile files as kelvara reads and writes them: a property list, an array of dictionaries.
#pragma once

#include <string>
#include <vector>

#include "kelv/profile/compression_profile.h"
#include "platform/services.h"

namespace kelvara {

using Profiles = std::vector<kelv::CompressionProfile>;

// The profiles of a file, at least one; kelv uses the first. Errors are those of the platform, and one of our
// own for a file of another shape.
platform::Result<Profiles> readProfiles(platform::Services& services, const std::string& path);

// Writes an array of dictionaries. The file appears whole under its name, in one step; one that is there
// already is replaced only when overwrite says so.
platform::Status writeProfiles(platform::Services& services, const Profiles& profiles,
                               const std::string& path, bool overwrite);
platform::Status writeProfile(platform::Services& services, const kelv::CompressionProfile& profile,
                              const std::string& path, bool overwrite);

// A value as a reader sees it: true, 0.75, "text".
std::string readableValue(const platform::PropertyList& value);

}  // namespace kelvara
