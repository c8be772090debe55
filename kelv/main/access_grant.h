// Access to the user's files, which only the main application can grant.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "kelv/main/front_end.h"

namespace kelv {

// Uses up the location that the main application handed over: its path, or nothing when there is none. Before
// other runs find the hand-over gone, store is called with the path. A hand-over that cannot be resolved is a
// fatal error.
std::optional<std::string> takeSharedURLFromMainApp(platform::Services& services,
                                                    const std::function<void(const std::string&)>& store);

// Obtains access, by a hand-over or by the bookmark stored at an earlier one, and collects the input files
// under it; says why when there is none. Access is given back when everything is done.
void grantFileAccess(FrontEnd& frontEnd);

}  // namespace kelv
