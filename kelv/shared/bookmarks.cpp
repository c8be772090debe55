#include "kelv/shared/bookmarks.h"

#include "kelv/shared/shared_preferences.h"

namespace kelv {

using platform::Bookmarks;

std::optional<BookmarkData> pendingHandOver(platform::Preferences& sharedDefaults) {
  return sharedDefaults.data(sharedUrlKey);
}

platform::Status clearHandOver(platform::Preferences& sharedDefaults, const BookmarkData& taken,
                               const std::function<void()>& store) {
  std::optional<platform::PlatformError> failure;
  bool locked = false;
  platform::Status updated = sharedDefaults.update([&](platform::Preferences& current) {
    locked = true;
    if (current.data(sharedUrlKey) != taken) return;
    if (platform::Status removed = current.remove(sharedUrlKey); !removed.ok()) failure = removed.error();
    // Others see the removal when this returns: by then everything is stored.
    store();
  });
  if (!locked) store();
  if (!updated.ok()) return updated;
  if (failure) return *failure;
  return sharedDefaults.synchronize();
}

platform::Result<BookmarkData> makeScopedBookmark(Bookmarks& bookmarks, const std::string& path) {
  return bookmarks.create(path, Bookmarks::withSecurityScope);
}

platform::Result<platform::ResolvedBookmark> resolveHandOver(Bookmarks& bookmarks, const BookmarkData& data) {
  return bookmarks.resolve(data, Bookmarks::withoutUserInterface);
}

platform::Result<platform::ResolvedBookmark> resolveScopedBookmark(Bookmarks& bookmarks,
                                                                   const BookmarkData& data) {
  return bookmarks.resolve(data, Bookmarks::resolveWithSecurityScope | Bookmarks::withoutUserInterface);
}

}  // namespace kelv
