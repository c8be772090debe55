#include "platform/testing/fake_services.h"

#include <cstdio>

namespace platform {
namespace {

class FakePreferences : public Preferences {
 public:
  FakePreferences(FakePreferencesStore& store, std::string domain) : store_(store), domain_(std::move(domain)) {}

  std::optional<PropertyList> object(const std::string& key) override {
    const PropertyListDictionary& entries = store_.domains[domain_];
    const auto found = entries.find(key);
    if (found == entries.end()) return std::nullopt;
    return found->second;
  }

  Status set(const std::string& key, const PropertyList& value) override {
    Status status = write("set", " " + key);
    if (status) store_.domains[domain_].insert_or_assign(key, value);
    return status;
  }

  Status remove(const std::string& key) override {
    Status status = write("remove", " " + key);
    if (status) store_.domains[domain_].erase(key);
    return status;
  }

  Status update(const std::function<void(Preferences&)>& body) override {
    Status status = write("update", "");
    if (status) body(*this);
    return status;
  }

  Status synchronize() override { return write("synchronize", ""); }

 private:
  Status write(const std::string& call, const std::string& detail) {
    store_.calls.push_back(call + " " + domain_ + detail);
    if (store_.failing.count(domain_) > 0) return FakeFileManager::notAllowed("/preferences/" + domain_);
    return Done{};
  }

  FakePreferencesStore& store_;
  std::string domain_;
};

class FakeOperationQueue : public OperationQueue {
 public:
  explicit FakeOperationQueue(std::shared_ptr<FakeQueues::State> state) : state_(std::move(state)) {}
  void setMaxConcurrentOperationCount(long count) override {
    limit_ = count;
    state_->limits.push_back(count);
  }
  long maxConcurrentOperationCount() const override { return limit_; }
  void addOperation(std::function<void()> block) override { state_->operations.push_back(std::move(block)); }

 private:
  std::shared_ptr<FakeQueues::State> state_;
  long limit_ = -1;
};

}  // namespace

std::unique_ptr<Preferences> FakePreferencesStore::suite(const std::string& groupIdentifier) {
  if (closed.count(groupIdentifier) > 0) return nullptr;
  return std::make_unique<FakePreferences>(*this, groupIdentifier);
}

std::unique_ptr<Preferences> FakePreferencesStore::standard() { return suite("standard"); }

Result<std::vector<std::uint8_t>> FakeBookmarks::create(const std::string& path, unsigned options) {
  calls.push_back("create " + path + " " + std::to_string(options));
  if (creationError) return *creationError;
  return std::vector<std::uint8_t>(path.begin(), path.end());
}

Result<ResolvedBookmark> FakeBookmarks::resolve(const std::vector<std::uint8_t>& data, unsigned options) {
  const std::string text(data.begin(), data.end());
  calls.push_back("resolve " + text + " " + std::to_string(options));
  const auto found = resolutions.find(text);
  if (found != resolutions.end()) return found->second;
  return ResolvedBookmark{text, false};
}

bool FakeBookmarks::startAccessing(const std::string& path) {
  calls.push_back("start " + path);
  return !accessIsRefused;
}

void FakeBookmarks::stopAccessing(const std::string& path) { calls.push_back("stop " + path); }
void FakeBookmarks::limitAccess(const std::string& path) { calls.push_back("limit " + path); }

std::string FakeFormatting::date(TimePoint when, const std::string& pattern) {
  if (!dateText.empty()) return dateText;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(when.time_since_epoch()).count();
  return pattern + "@" + std::to_string(seconds);
}

std::optional<std::string> FakeFormatting::number(double value, const std::string& pattern) {
  if (numbersFail) return std::nullopt;
  const auto found = numberTexts.find(value);
  return found != numberTexts.end() ? found->second : pattern + "@" + shortestDecimalText(value);
}

std::optional<std::string> FakeProcess::environment(const std::string& name) {
  const auto found = variables.find(name);
  if (found == variables.end()) return std::nullopt;
  return found->second;
}

std::string FakeProcess::newUuidText() {
  char text[48];
  std::snprintf(text, sizeof text, "00000000-0000-4000-8000-%012X", static_cast<unsigned>(++uuids_));
  return text;
}

void FakeQueues::Main::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> block) {
  blocks.emplace_back(delay, std::move(block));
}

void FakeQueues::Main::service(const std::function<bool()>& done) {
  while (!done() && !blocks.empty()) {
    const std::function<void()> block = std::move(blocks.front().second);
    blocks.pop_front();
    block();
  }
}

void FakeQueues::runOperations() {
  while (!state->operations.empty()) {
    const std::function<void()> operation = std::move(state->operations.front());
    state->operations.pop_front();
    operation();
  }
}

std::unique_ptr<OperationQueue> FakeQueues::newOperationQueue() { return std::make_unique<FakeOperationQueue>(state); }

}  // namespace platform
