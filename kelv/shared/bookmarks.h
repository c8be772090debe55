// The bookmarks that carry the user's grant: the main application's hand-over, and the tool's stored
// bookmark.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/bookmarks.h"
#include "platform/preferences.h"

namespace kelv {

using BookmarkData = std::vector<std::uint8_t>;

// The hand-over that waits in SharedDefaults; nothing when there is none or the value is no data.
std::optional<BookmarkData> pendingHandOver(platform::Preferences& sharedDefaults);

// Takes the hand-over out of SharedDefaults and has store keep what outlives it, unless another run did so or
// another hand-over was put there in the meantime. A run that begins beside this one and finds no hand-over
// finds what was stored. Where SharedDefaults cannot be written, store is called all the same.
platform::Status clearHandOver(platform::Preferences& sharedDefaults, const BookmarkData& taken,
                               const std::function<void()>& store);

platform::Result<BookmarkData> makeScopedBookmark(platform::Bookmarks& bookmarks, const std::string& path);
platform::Result<platform::ResolvedBookmark> resolveHandOver(platform::Bookmarks& bookmarks,
                                                             const BookmarkData& data);
platform::Result<platform::ResolvedBookmark> resolveScopedBookmark(platform::Bookmarks& bookmarks,
                                                                   const BookmarkData& data);

}  // namespace kelv
