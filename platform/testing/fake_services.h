// All services as recording fakes, for tests of the tool.
#pragma once

#include <deque>
#include <map>
#include <set>

#include "platform/services.h"
#include "platform/testing/fake_files.h"

namespace platform {

// Domains in memory: "standard" and each suite by its identifier.
class FakePreferencesStore : public PreferencesStore {
 public:
  std::map<std::string, PropertyListDictionary> domains;
  std::set<std::string> closed;   // domains that cannot be opened
  std::set<std::string> failing;  // domains in which every write fails
  std::vector<std::string> calls;  // "set standard KEY", "remove …", "update …", "synchronize …", in order

  std::unique_ptr<Preferences> suite(const std::string& groupIdentifier) override;
  std::unique_ptr<Preferences> standard() override;
};

// A bookmark's data is its path as bytes, unless resolutions says otherwise.
class FakeBookmarks : public Bookmarks {
 public:
  std::optional<PlatformError> creationError;
  std::map<std::string, Result<ResolvedBookmark>> resolutions;  // by data as text
  bool accessIsRefused = false;
  std::vector<std::string> calls;  // "create /a 2048", "resolve /a 256", "start /a", "stop /a", "limit /a", in order

  Result<std::vector<std::uint8_t>> create(const std::string& path, unsigned options) override;
  Result<ResolvedBookmark> resolve(const std::vector<std::uint8_t>& data, unsigned options) override;
  bool startAccessing(const std::string& path) override;
  void stopAccessing(const std::string& path) override;
  void limitAccess(const std::string& path) override;
};

// A clock that stands still, in a zone of a fixed offset. Dates are "PATTERN@seconds", numbers "PATTERN@value" unless texts are set.
class FakeFormatting : public Formatting {
 public:
  TimePoint time{std::chrono::seconds(1794841445)};  // 2026-11-16 15:04:05 UTC
  int offset = 0;
  std::string dateText;                        // what every date is formatted as
  std::map<double, std::string> numberTexts;   // by value
  bool numbersFail = false;

  TimePoint now() override { return time; }
  std::string date(TimePoint time, const std::string& pattern) override;
  std::optional<std::string> number(double value, const std::string& pattern) override;
  int secondsFromGmt(TimePoint) override { return offset; }
};

class FakeProcess : public Process {
 public:
  std::map<std::string, std::string> variables = {{"PWD", "/base"}};
  std::vector<std::string> printed, logged;
  int beeps = 0;
  int processors = 4;

  bool environmentIsEmpty() override { return variables.empty(); }
  std::optional<std::string> environment(const std::string& name) override;
  std::string temporaryDirectory() override { return "/tmp/"; }
  std::string newUuidText() override;  // 00000000-0000-4000-8000-000000000001, …2, …
  int processorCount() override { return processors; }
  void log(const std::string& line) override { logged.push_back(line); }
  void beep() override { ++beeps; }
  void print(const std::string& line) override { printed.push_back(line); }

 private:
  int uuids_ = 0;
};

// Runs nothing by itself: a test runs what was added, on its own thread.
class FakeQueues : public Queues {
 public:
  struct State {
    std::deque<std::function<void()>> operations;
    std::vector<long> limits;  // each that was set, in order
  };
  struct Main : MainQueue {
    std::deque<std::pair<std::chrono::nanoseconds, std::function<void()>>> blocks;  // with their delays, in order
    void asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) override;
    void service(const std::function<bool()>& done) override;  // without waiting
  };

  std::shared_ptr<State> state = std::make_shared<State>();  // of all operation queues
  Main main;

  void runOperations();  // those that are waiting and those that they add
  std::unique_ptr<OperationQueue> newOperationQueue() override;
  MainQueue& mainQueue() override { return main; }
};

struct FakeServices {
  FakeFileManager files;
  FakePreferencesStore preferences;
  FakeBookmarks bookmarks;
  FakeFormatting formatting;
  FakeProcess process;
  FakeQueues queues;
  Services services{files, preferences, bookmarks, formatting, process, queues};
};

}  // namespace platform
