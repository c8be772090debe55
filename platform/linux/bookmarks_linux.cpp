#include "platform/linux/bookmarks_linux.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <deque>
#include <memory>

#include "platform/linux/access_scope.h"
#include "platform/linux/environment.h"
#include "platform/linux/file_errors.h"
#include "platform/linux/process_linux.h"
#include "platform/path.h"
#include "platform/property_list.h"

namespace platform {
namespace {

// Bounds of the search for a moved location.
constexpr std::size_t mostSearchedFolders = 20000;
constexpr auto longestSearch = std::chrono::seconds(5);

// What stays with a file when its name changes. The birth time tells a reused inode number apart, and stands in for the device's
// number, which may be another one after a restart.
struct Identity {
  std::int64_t device = 0, inode = 0, born = 0;
  bool operator==(const Identity& other) const {
    return inode == other.inode && born == other.born && (born != 0 || device == other.device);
  }
};

bool identify(const std::string& path, Identity& identity) {
  struct statx info;
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &info) != 0) return false;
  identity.device = static_cast<std::int64_t>(info.stx_dev_major) << 32 | info.stx_dev_minor;
  identity.inode = static_cast<std::int64_t>(info.stx_ino);
  identity.born = info.stx_mask & STATX_BTIME ? info.stx_btime.tv_sec * 1000000000LL + info.stx_btime.tv_nsec : 0;
  return true;
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Breadth first from start, on its file system; links are not followed.
std::string search(const std::string& start, const Identity& wanted, std::size_t mostFolders) {
  const auto end = std::chrono::steady_clock::now() + longestSearch;
  std::deque<std::string> folders = {start};
  struct stat top, info;
  if (stat(start.c_str(), &top) != 0) return "";
  for (std::size_t visited = 0; !folders.empty() && visited < mostFolders; ++visited) {
    if (std::chrono::steady_clock::now() > end) break;
    const std::string folder = std::move(folders.front());
    folders.pop_front();
    const std::unique_ptr<DIR, CloseFolder> entries(opendir(folder.c_str()));
    if (!entries || fstat(dirfd(entries.get()), &info) != 0 || info.st_dev != top.st_dev) continue;
    while (const dirent* entry = readdir(entries.get())) {
      const std::string name = entry->d_name;
      if (name == "." || name == "..") continue;
      const std::string path = appendingPathComponent(folder, name);
      Identity identity;
      if (static_cast<std::int64_t>(entry->d_ino) == wanted.inode && identify(path, identity) && identity == wanted)
        return path;
      if (entry->d_type == DT_DIR ||
          (entry->d_type == DT_UNKNOWN && lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)))
        folders.push_back(path);
    }
  }
  return "";
}

std::int64_t integerEntry(const PropertyListDictionary& entries, const char* key) {
  const auto found = entries.find(key);
  std::int64_t value = 0;
  return found != entries.end() && found->second.integer(value) ? value : 0;
}

}  // namespace

Result<std::vector<std::uint8_t>> LinuxBookmarks::create(const std::string& path, unsigned options) {
  Identity identity;
  if (!identify(path, identity)) return readError(errno, path);
  if (access(path.c_str(), R_OK) != 0) return readError(errno, path);
  char* real = realpath(path.c_str(), nullptr);
  const std::string location = real ? real : path;
  free(real);
  using Value = PropertyList::Value;
  const auto number = [](std::int64_t value) { return PropertyList(Value(value)); };
  const PropertyList list = PropertyList::dictionary(
      {{"Bookmark", number(1)},
       {"SecurityScope", PropertyList(Value((options & withSecurityScope) != 0))},
       // As data: a path is bytes, and a property list's text is Unicode.
       {"Path", PropertyList(Value(PropertyListData{{location.begin(), location.end()}}))},
       {"Device", number(identity.device)},
       {"Inode", number(identity.inode)},
       {"Born", number(identity.born)}});
  Result<std::string> text = writeXmlPropertyList(list);
  if (!text) return text.error();
  return std::vector<std::uint8_t>(text->begin(), text->end());
}

Result<ResolvedBookmark> LinuxBookmarks::resolve(const std::vector<std::uint8_t>& data, unsigned options) {
  const Result<PropertyList> list = parsePropertyList(data);
  if (!list || !list->dictionaryEntries()) return bookmarkCorruptError();
  const PropertyListDictionary& entries = *list->dictionaryEntries();
  const auto stored = entries.find("Path");
  if (integerEntry(entries, "Bookmark") != 1 || stored == entries.end() || !stored->second.data())
    return bookmarkCorruptError();
  if ((options & resolveWithSecurityScope) && integerEntry(entries, "SecurityScope") != 1) return bookmarkCorruptError();
  const std::vector<std::uint8_t>& bytes = stored->second.data()->bytes;
  const std::string path(bytes.begin(), bytes.end());
  if (path.empty() || path.front() != '/' || path.find('\0') != std::string::npos) return bookmarkCorruptError();
  const Identity wanted = {integerEntry(entries, "Device"), integerEntry(entries, "Inode"), integerEntry(entries, "Born")};

  Identity identity;
  const bool present = identify(path, identity);
  if (present && identity == wanted) return ResolvedBookmark{path, false};
  // Renamed in its folder, then moved nearby, then anywhere at home.
  std::string found = search(deletingLastPathComponent(path), wanted, 1);
  if (found.empty()) found = search(deletingLastPathComponent(deletingLastPathComponent(path)), wanted, mostSearchedFolders);
  if (found.empty()) found = search(homeFolder(), wanted, mostSearchedFolders);
  if (!found.empty()) return ResolvedBookmark{found, true};
  // A folder made anew under the old name is what the user means by that name.
  if (present) return ResolvedBookmark{path, true};
  return bookmarkGoneError(path);
}

bool LinuxBookmarks::startAccessing(const std::string& path) {
  if (access(path.c_str(), R_OK) != 0) return false;
  limitAccess(path);
  return true;
}

// The limit stays: what the kernel was told cannot be taken back, and nothing is done after it.
void LinuxBookmarks::stopAccessing(const std::string&) {}

void LinuxBookmarks::limitAccess(const std::string& path) {
  for (const std::string& complaint : AccessScope::shared().limit(path)) writeLogLine(complaint);
}

}  // namespace platform
