#include "kelvara/access.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <system_error>

#include "kelv/shared/bookmarks.h"
#include "kelv/shared/shared_preferences.h"
#include "kelvara/json.h"

namespace kelvara {
namespace {

constexpr const char* preferencesRemedy =
    "Look at group.kelvara.plist in ~/.config/kelvara (or $XDG_CONFIG_HOME/kelvara): it has to be a property "
    "list that "
    "you may write, with room on the disk. Move a damaged one away and try again.";
constexpr const char* grantRemedy = "Grant access to a folder with: kelvara grant FOLDER";

// "kelv may touch …", for one location.
std::string scopeSentence(const std::string& path) {
  if (path == "/") return "kelv may touch every file that you may touch yourself.";
  std::error_code ignored;
  const bool isFolder = std::filesystem::is_directory(path, ignored);
  return "kelv may touch " + path + (isFolder ? " and everything in it" : "") +
         ", and nothing else of yours.";
}

// Every change to the suite reaches the disk whole or not at all.
std::optional<platform::PlatformError> change(
    platform::Preferences& suite, const std::function<platform::Status(platform::Preferences&)>& body) {
  std::optional<platform::PlatformError> problem;
  const platform::Status updated = suite.update([&](platform::Preferences& locked) {
    const platform::Status changed = body(locked);
    if (!changed.ok()) problem = changed.error();
  });
  if (!updated.ok()) problem = updated.error();
  return problem;
}

struct Access {
  const char* state;  // for scripts: granted, pending, lost, revoked, none
  std::string location;
  bool moved = false;
  std::string sentence;
  std::string remedy;
};

Access lostAccess(const std::string& reason) {
  return {"lost", "", false,
          "kelv may touch none of your files: the location that it was granted cannot be found any more. " +
              reason,
          grantRemedy};
}

Access findAccess(Context& context, platform::Preferences& suite) {
  platform::Bookmarks& bookmarks = context.services.bookmarks;
  // A fresh hand-over wins over a withdrawal, as it does for kelv.
  if (const std::optional<kelv::BookmarkData> handOver = kelv::pendingHandOver(suite)) {
    const auto location = kelv::resolveHandOver(bookmarks, *handOver);
    if (!location.ok()) return lostAccess(location.error().localizedDescription());
    return {"pending", location->path, location->stale,
            scopeSentence(location->path) + " This begins with its next run.",
            "Withdraw it with: kelvara revoke"};
  }
  if (suite.boolean(kelv::accessRemovedKey)) {
    return {"revoked", "", false, "kelv may touch none of your files: you have withdrawn its access.",
            grantRemedy};
  }
  std::optional<kelv::BookmarkData> stored;
  if (const auto tool = context.services.preferences.suite(kelv::toolDomain))
    stored = tool->data(kelv::localBookmarkKey);
  if (!stored)
    return {"none", "", false, "kelv may touch none of your files: nothing has been granted yet.",
            grantRemedy};
  const auto location = kelv::resolveScopedBookmark(bookmarks, *stored);
  if (!location.ok()) return lostAccess(location.error().localizedDescription());
  Access access{"granted", location->path, location->stale, scopeSentence(location->path),
                "Withdraw it with: kelvara revoke"};
  if (location->stale) access.sentence += " (It was granted at another place and has moved here.)";
  return access;
}

}  // namespace

ExitStatus grantAccess(const Arguments& arguments, Context& context) {
  const std::string path = absolutePath(context, arguments.operands.front());
  const auto bookmark = context.services.bookmarks.create(path, 0);
  if (!bookmark.ok()) {
    return failure(context,
                   "access to " + path + " cannot be granted. " + bookmark.error().localizedDescription(),
                   "Name a folder (or a file) that exists and that you may open yourself.");
  }
  const std::unique_ptr<platform::Preferences> suite = kelv::openSharedDefaults(context.services.preferences);
  if (!suite) return failure(context, "the shared preferences cannot be opened.", preferencesRemedy);
  const auto problem = change(*suite, [&bookmark](platform::Preferences& locked) -> platform::Status {
    platform::Status handedOver =
        locked.set(kelv::sharedUrlKey, platform::PropertyList(platform::PropertyListData{*bookmark}));
    if (!handedOver.ok()) return handedOver;
    return locked.set(kelv::accessRemovedKey, platform::PropertyList(false));
  });
  if (problem) {
    return failure(context, "the grant cannot be saved. " + problem->localizedDescription(),
                   preferencesRemedy);
  }
  context.out << scopeSentence(path) << "\n";
  return exitOk;
}

ExitStatus revokeAccess(const Arguments&, Context& context) {
  const std::unique_ptr<platform::Preferences> suite = kelv::openSharedDefaults(context.services.preferences);
  if (!suite) return failure(context, "the shared preferences cannot be opened.", preferencesRemedy);
  const auto problem = change(*suite, [](platform::Preferences& locked) -> platform::Status {
    platform::Status withdrawn = locked.set(kelv::accessRemovedKey, platform::PropertyList(true));
    if (!withdrawn.ok()) return withdrawn;
    return locked.remove(kelv::sharedUrlKey);
  });
  if (problem) {
    return failure(context, "the withdrawal cannot be saved. " + problem->localizedDescription(),
                   preferencesRemedy);
  }
  context.out << "kelv may touch none of your files any more. A run that has begun still finishes.\n"
              << grantRemedy << "\n";
  return exitOk;
}

ExitStatus showAccess(const Arguments& arguments, Context& context) {
  const std::unique_ptr<platform::Preferences> suite = kelv::openSharedDefaults(context.services.preferences);
  if (!suite) return failure(context, "the shared preferences cannot be opened.", preferencesRemedy);
  const Access access = findAccess(context, *suite);
  if (arguments.has("--json")) {
    context.out << "{\"state\": " << jsonText(access.state)
                << ", \"location\": " << (access.location.empty() ? "null" : jsonText(access.location))
                << ", \"moved\": " << jsonBool(access.moved)
                << ", \"sentence\": " << jsonText(access.sentence) << "}\n";
  } else {
    context.out << access.sentence << "\n" << access.remedy << "\n";
  }
  return exitOk;
}

}  // namespace kelvara
