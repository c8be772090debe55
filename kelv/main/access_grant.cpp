#include "kelv/main/access_grant.h"

#include <memory>

#include "kelv/main/input_collection.h"
#include "kelv/shared/bookmarks.h"
#include "kelv/shared/shared_preferences.h"

namespace kelv {
namespace {

// The stored bookmark's twin that the next run uses. Its loss costs a new grant, not this run.
void storeBookmark(platform::Services& services, BookmarkData data) {
  const std::unique_ptr<platform::Preferences> standard = services.preferences.standard();
  if (!standard) {
    services.process.log("The access could not be stored for later runs: the preferences cannot be opened.");
    return;
  }
  const platform::Status stored =
      standard->set(localBookmarkKey, platform::PropertyList(platform::PropertyListData{std::move(data)}));
  if (!stored.ok()) {
    services.process.log("The access could not be stored for later runs: " + stored.error().description());
  }
}

// Nothing when there is none or the user withdrew the access.
std::optional<BookmarkData> storedBookmark(platform::Services& services) {
  const std::unique_ptr<platform::Preferences> sharedDefaults = openSharedDefaults(services.preferences);
  if (!sharedDefaults) platform::fatalError("the shared preferences cannot be opened", __FILE__, __LINE__);
  if (sharedDefaults->boolean(accessRemovedKey)) return std::nullopt;
  const std::unique_ptr<platform::Preferences> standard = services.preferences.standard();
  if (!standard) return std::nullopt;
  return standard->data(localBookmarkKey);
}

void useStoredBookmark(FrontEnd& frontEnd) {
  platform::Services& services = frontEnd.services;
  const std::optional<BookmarkData> bookmark = storedBookmark(services);
  if (!bookmark) {
    services.process.print("ERROR: #3fDD - Please grant access in the preferences of the main application.");
    return;
  }
  // A stale bookmark is as good as any, and is left as it is.
  const platform::Result<platform::ResolvedBookmark> location =
      resolveScopedBookmark(services.bookmarks, *bookmark);
  if (!location.ok()) {
    services.process.print(
        "ERROR: #4w5zF - Please grant access in the preferences of the main application. - " +
        location.error().description());
    return;
  }
  if (services.bookmarks.startAccessing(location->path)) {
    collectInputFiles(frontEnd);
  } else {
    services.process.print("ERROR: #hfs44 - Please grant access in the preferences of the main application.");
  }
  services.bookmarks.stopAccessing(location->path);
}

}  // namespace

std::optional<std::string> takeSharedURLFromMainApp(platform::Services& services,
                                                    const std::function<void(const std::string&)>& store) {
  const std::unique_ptr<platform::Preferences> sharedDefaults = openSharedDefaults(services.preferences);
  if (!sharedDefaults) return std::nullopt;
  const std::optional<BookmarkData> handOver = pendingHandOver(*sharedDefaults);
  if (!handOver) return std::nullopt;
  const platform::Result<platform::ResolvedBookmark> location =
      resolveHandOver(services.bookmarks, *handOver);
  if (!location.ok()) {
    // Support knows this place by its name and number.
    platform::fatalError("a handed-over location cannot be resolved: " + location.error().description(),
                         "kelv/main", 196);
  }
  const platform::Status cleared = clearHandOver(*sharedDefaults, *handOver, [&] { store(location->path); });
  if (!cleared.ok()) {
    services.process.log("The hand-over could not be cleared: " + cleared.error().description());
  }
  return location->path;
}

void grantFileAccess(FrontEnd& frontEnd) {
  platform::Services& services = frontEnd.services;
  std::optional<platform::PlatformError> failure;
  const auto store = [&](const std::string& path) {
    platform::Result<BookmarkData> bookmark = makeScopedBookmark(services.bookmarks, path);
    if (bookmark.ok()) {
      storeBookmark(services, std::move(*bookmark));
    } else {
      failure = bookmark.error();
    }
  };
  const std::optional<std::string> path = takeSharedURLFromMainApp(services, store);
  if (!path) {
    useStoredBookmark(frontEnd);
  } else if (failure) {
    services.process.print("ERROR: #34horu - " + failure->description());
  } else {
    services.bookmarks.limitAccess(*path);
    collectInputFiles(frontEnd);
  }
}

}  // namespace kelv
