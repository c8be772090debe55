#include "platform/linux/preferences_linux.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

#include "platform/linux/descriptor.h"
#include "platform/linux/environment.h"
#include "platform/linux/file_errors.h"
#include "platform/path.h"

namespace platform {
namespace {

constexpr std::size_t sizeLimit = std::size_t{16} << 20;

// The bytes of the domain's file; nothing there is an empty domain.
Result<std::vector<std::uint8_t>> readDomain(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file && errno == ENOENT) return bytes;
  struct stat info;
  if (!file || fstat(file.get(), &info) != 0) return readError(errno, path);
  if (!S_ISREG(info.st_mode) || info.st_size > static_cast<off_t>(sizeLimit)) return readError(EINVAL, path);
  bytes.resize(static_cast<std::size_t>(info.st_size));
  std::size_t have = 0;
  while (have < bytes.size()) {
    const ssize_t count = read(file.get(), bytes.data() + have, bytes.size() - have);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return readError(errno, path);
    if (count == 0) break;
    have += static_cast<std::size_t>(count);
  }
  bytes.resize(have);
  // An empty file is damaged, not an empty domain: there was something to lose.
  if (bytes.empty()) return propertyListError("The preferences file holds nothing");
  return bytes;
}

Result<PropertyListDictionary> readDictionary(const std::string& path) {
  Result<std::vector<std::uint8_t>> bytes = readDomain(path);
  if (!bytes) return bytes.error();
  if (bytes->empty()) return PropertyListDictionary{};
  Result<PropertyList> list = parsePropertyList(*bytes);
  if (!list) return list.error();
  const PropertyListDictionary* entries = list->dictionaryEntries();
  if (!entries) return propertyListError("The preferences file holds no dictionary");
  return *entries;
}

// Waiting for the disk takes longer than compressing a small file, so within a second only the first write waits, and the
// last ones wait when the process ends. Other programs see every write at once, and a killed process loses none.
class DiskSync {
 public:
  static DiskSync& shared() {
    static DiskSync sync;
    return sync;
  }

  ~DiskSync() {
    for (const std::string& path : behind_) {
      const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
      if (file) (void)fsync(file.get());
      syncFolder(path);
    }
  }

  // Whether a write to path waits for the disk.
  bool begins(const std::string& path) {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (last_ && now - *last_ < std::chrono::seconds(1)) {
      behind_.insert(path);
      return false;
    }
    last_ = now;
    behind_.erase(path);
    return true;
  }

  static void syncFolder(const std::string& path) {
    const Descriptor folder(open(deletingLastPathComponent(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) (void)fsync(folder.get());
  }

 private:
  std::mutex mutex_;
  std::optional<std::chrono::steady_clock::time_point> last_;
  std::set<std::string> behind_;
};

int writeAll(int file, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(file, text.data() + done, text.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    done += static_cast<std::size_t>(count);
  }
  return 0;
}

// Where a file that may be a link is kept.
std::string keptAt(const std::string& path) {
  char* real = realpath(path.c_str(), nullptr);
  std::string result = real ? real : path;
  std::free(real);
  return result;
}

// Whole or not at all: a neighbour takes the name. The lock is held, so the neighbour's name is ours: one that a killed program
// left is written over.
Status writeDictionary(const std::string& link, const PropertyListDictionary& entries) {
  Result<std::string> text = writeXmlPropertyList(PropertyList::dictionary(entries));
  if (!text) return text.error();
  const std::string path = keptAt(link);
  const std::string neighbour = path + ".new";
  const Descriptor file(open(neighbour.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return writeError(errno, path);
  struct stat before;
  // The file stays the user's when a program of the user's runs as somebody else.
  if (stat(path.c_str(), &before) == 0) (void)!fchown(file.get(), before.st_uid, before.st_gid);
  const bool waits = DiskSync::shared().begins(path);
  int error = writeAll(file.get(), *text);
  if (error == 0 && waits && fsync(file.get()) != 0) error = errno;
  if (error == 0 && rename(neighbour.c_str(), path.c_str()) != 0) error = errno;
  if (error != 0) {
    unlink(neighbour.c_str());
    return writeError(error, path);
  }
  if (waits) DiskSync::syncFolder(path);
  return Done{};
}

// errno, or 0 when the lock is held.
int lockWithin(int file, std::chrono::milliseconds longestWait) {
  const auto end = std::chrono::steady_clock::now() + longestWait;
  while (flock(file, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR && errno != EWOULDBLOCK) return errno;
    if (std::chrono::steady_clock::now() >= end) return ETIMEDOUT;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return 0;
}

// The folder of the preferences is the user's alone.
int makeFolders(const std::string& folder) {
  if (mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) return 0;
  if (errno != ENOENT || folder.size() < 2) return errno;
  if (const int error = makeFolders(deletingLastPathComponent(folder)); error != 0) return error;
  return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST ? 0 : errno;
}

class FilePreferences : public Preferences {
 public:
  FilePreferences(std::string path, std::chrono::milliseconds longestWait)
      : path_(std::move(path)), longestWait_(longestWait) {}

  std::optional<PropertyList> object(const std::string& key) override {
    if (!pending_) {
      Result<PropertyListDictionary> entries = readDictionary(path_);
      return entries ? find(*entries, key) : std::nullopt;
    }
    return find(*pending_, key);
  }

  Status set(const std::string& key, const PropertyList& value) override {
    return update([&](Preferences&) { pending_->insert_or_assign(key, value); });
  }

  Status remove(const std::string& key) override {
    return update([&](Preferences&) { pending_->erase(key); });
  }

  // Nested calls, as from a body's set, join the update under way.
  Status update(const std::function<void(Preferences&)>& body) override {
    if (pending_) {
      body(*this);
      return Done{};
    }
    if (const int error = makeFolders(deletingLastPathComponent(path_)); error != 0) return writeError(error, path_);
    const std::string lockPath = path_ + ".lock";
    const Descriptor lock(open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock) return writeError(errno, lockPath);
    if (const int error = lockWithin(lock.get(), longestWait_); error != 0) return writeError(error, lockPath);
    Result<PropertyListDictionary> entries = readDictionary(path_);
    if (!entries) return entries.error();
    pending_ = *entries;
    body(*this);
    const PropertyListDictionary changed = std::move(*pending_);
    pending_.reset();
    return writeDictionary(path_, changed);
  }

  Status synchronize() override { return Done{}; }

  bool canBeOpened() const { return readDictionary(path_).ok(); }

 private:
  static std::optional<PropertyList> find(const PropertyListDictionary& entries, const std::string& key) {
    const auto found = entries.find(key);
    if (found == entries.end()) return std::nullopt;
    return found->second;
  }

  std::string path_;
  std::chrono::milliseconds longestWait_;
  std::optional<PropertyListDictionary> pending_;  // the state inside update
};

}  // namespace

std::unique_ptr<Preferences> LinuxPreferencesStore::suite(const std::string& groupIdentifier) {
  if (groupIdentifier.find('/') != std::string::npos) return nullptr;
  auto preferences =
      std::make_unique<FilePreferences>(preferencesFolder() + "/" + groupIdentifier + ".plist", longestWait_);
  if (!preferences->canBeOpened()) return nullptr;
  return preferences;
}

std::unique_ptr<Preferences> LinuxPreferencesStore::standard() {
  return std::make_unique<FilePreferences>(preferencesFolder() + "/kelv.plist", longestWait_);
}

}  // namespace platform
