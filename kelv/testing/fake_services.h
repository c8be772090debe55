// The platform services in memory, for tests: what they hold is set and read by the test, and every change to
// files is written down in order.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/services.h"

namespace kelv::testing {

platform::PlatformError testError(const std::string& description, long code = 1);

class FakeFiles : public platform::FileManager {
 public:
  struct File {
    std::optional<std::int64_t> size = 0;
    std::optional<platform::TimePoint> creationDate;
    std::optional<platform::TimePoint> modificationDate;
    std::vector<std::string> tagNames;
    std::vector<std::uint8_t> content;
  };
  std::map<std::string, File> files;
  std::vector<std::string> events;  // "move A B", "trash A", "remove A", "tag A red,blue", …
  std::map<std::string, platform::PlatformError>
      failing;                           // by an event's first word, or "attributes", "tags"
  std::vector<std::string> folderItems;  // what every enumeration yields
  std::vector<unsigned> enumerationOptions;
  std::optional<platform::PlatformError> enumerationError;  // given to the error handler, after the items
  bool canEnumerate = true;

  platform::Result<std::vector<std::uint8_t>> readFile(const std::string& path) override;
  platform::Result<platform::FileAttributes> attributesOfItem(const std::string& path) override;
  platform::Status setAttributes(const platform::FileAttributeChanges& changes,
                                 const std::string& path) override;
  bool fileExists(const std::string& path) override { return files.contains(path); }
  platform::Status createDirectory(const std::string& path) override { return event("create", path); }
  platform::Status moveItem(const std::string& from, const std::string& to) override;
  platform::Status trashItem(const std::string& path) override;
  platform::Status removeItem(const std::string& path) override;
  platform::Result<std::vector<std::string>> tagNames(const std::string& path) override;
  platform::Status setTagNames(const std::vector<std::string>& names, const std::string& path) override;
  void copyDocumentMetadata(const std::string& from, const std::string& to) override;
  bool enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                 const EnumerationErrorHandler& onError) override;

 private:
  platform::Status event(const std::string& name, const std::string& arguments);
  std::optional<platform::PlatformError> failure(const std::string& name) const;
};

class FakePreferences : public platform::Preferences {
 public:
  explicit FakePreferences(std::map<std::string, platform::PropertyList>& values) : values_(values) {}
  std::optional<platform::PropertyList> object(const std::string& key) override;
  platform::Status set(const std::string& key, const platform::PropertyList& value) override;
  platform::Status remove(const std::string& key) override;
  platform::Status update(const std::function<void(platform::Preferences&)>& body) override;
  platform::Status synchronize() override { return platform::Done{}; }
  bool failing = false;

 private:
  std::map<std::string, platform::PropertyList>& values_;
};

class FakePreferencesStore : public platform::PreferencesStore {
 public:
  std::map<std::string, platform::PropertyList> shared, own;
  bool sharedOpens = true;
  bool ownOpens = true;
  bool writesFail = false;

  std::unique_ptr<platform::Preferences> suite(const std::string& groupIdentifier) override;
  std::unique_ptr<platform::Preferences> standard() override;
};

// A bookmark's data is the path that it stands for.
class FakeBookmarks : public platform::Bookmarks {
 public:
  std::vector<std::string> events;  // "create /a 2048", "resolve /a 256", "start /a", "stop /a", "limit /a"
  bool createFails = false, resolveFails = false, accessRefused = false;

  platform::Result<std::vector<std::uint8_t>> create(const std::string& path, unsigned options) override;
  platform::Result<platform::ResolvedBookmark> resolve(const std::vector<std::uint8_t>& data,
                                                       unsigned options) override;
  bool startAccessing(const std::string& path) override;
  void stopAccessing(const std::string& path) override { events.push_back("stop " + path); }
  void limitAccess(const std::string& path) override { events.push_back("limit " + path); }
};

class FakeFormatting : public platform::Formatting {
 public:
  platform::TimePoint time{};
  std::string dateText = "20261116030405";
  int offset = 0;
  bool numberFails = false;
  platform::TimePoint now() override { return time; }
  std::string date(platform::TimePoint, const std::string& pattern) override;
  std::optional<std::string> number(double value, const std::string& pattern) override;
  int secondsFromGmt(platform::TimePoint) override { return offset; }
};

class FakeProcess : public platform::Process {
 public:
  std::map<std::string, std::string> variables = {{"PWD", "/base"}};
  std::vector<std::string> printed, logged;
  int beeps = 0;
  int processors = 8;
  int uuids = 0;

  bool environmentIsEmpty() override { return variables.empty(); }
  std::optional<std::string> environment(const std::string& name) override;
  std::string temporaryDirectory() override { return "/tmp/"; }
  std::string newUuidText() override { return "UUID-" + std::to_string(++uuids); }
  int processorCount() override { return processors; }
  void log(const std::string& line) override { logged.push_back(line); }
  void beep() override { ++beeps; }
  void print(const std::string& line) override { printed.push_back(line); }
};

// Holds what is put into it until the test runs it.
class FakeQueues : public platform::Queues, public platform::MainQueue {
 public:
  struct Delayed {
    std::chrono::nanoseconds delay;
    std::function<void()> block;
  };
  std::vector<std::function<void()>> operations;
  std::vector<Delayed> delayed;
  long limit = -1;

  std::unique_ptr<platform::OperationQueue> newOperationQueue() override;
  platform::MainQueue& mainQueue() override { return *this; }
  void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) override {
    delayed.push_back({delay, std::move(block)});
  }
  void service(const std::function<bool()>&) override {}
};

struct FakeServices {
  FakeFiles files;
  FakePreferencesStore preferences;
  FakeBookmarks bookmarks;
  FakeFormatting formatting;
  FakeProcess process;
  FakeQueues queues;
  platform::Services services{files, preferences, bookmarks, formatting, process, queues};
};

}  // namespace kelv::testing
