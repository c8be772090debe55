// The bookmarks that carry the user's grant: the main application's hand-over, and the tool's stored
// bookmark.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/bookmarks.h"
#include "platform/preferences.h"

namespace kelv {

using BookmarkData = std::vector<std::uint8_t>;

// The hand-over that waits in SharedDefaults; nothing when there is none or the value is no data.
std::optional<BookmarkData> pendingHandOver(platform::Preferences& sharedDefaults);

// Takes the hand-over out of SharedDefaults, unless another one was put there in the meantime.
platform::Status clearHandOver(platform::Preferences& sharedDefaults, const BookmarkData& taken);

platform::Result<BookmarkData> makeScopedBookmark(platform::Bookmarks& bookmarks, const std::string& path);
platform::Result<platform::ResolvedBookmark> resolveHandOver(platform::Bookmarks& bookmarks,
                                                             const BookmarkData& data);
platform::Result<platform::ResolvedBookmark> resolveScopedBookmark(platform::Bookmarks& bookmarks,
                                                                   const BookmarkData& data);

}  // namespace kelv
