// The preferences that the tool shares with the main application, and the tool's own.
#pragma once

#include <memory>

#include "platform/preferences.h"

namespace kelv {

// The application group of the two programs.
inline constexpr const char* groupIdentifier = "group.kelvara";

// Keys of SharedDefaults, the suite of the group.
inline constexpr const char* sharedUrlKey =
    "SharedURLDataFromMainApp";  // data: a one-time hand-over bookmark
inline constexpr const char* accessRemovedKey = "UserHasRemovedAccess";  // flag: the user withdrew the access
inline constexpr const char* originalTotalKey = "StatisticsOriginalFileSizeTotal";      // integer, bytes
inline constexpr const char* compressedTotalKey = "StatisticsCompressedFileSizeTotal";  // integer, bytes

// Key of the tool's own standard preferences.
inline constexpr const char* localBookmarkKey = "LocalGrantAccessBookmarkData";  // data: the stored bookmark
inline constexpr const char* toolDomain = "kelv";  // the tool's domain, as other programs name it

// SharedDefaults; nothing when it cannot be opened.
std::unique_ptr<platform::Preferences> openSharedDefaults(platform::PreferencesStore& store);

}  // namespace kelv
