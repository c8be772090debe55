#include "kelv/testing/fake_services.h"

#include <cmath>
#include <cstdio>

namespace kelv::testing {

using platform::Done;
using platform::PlatformError;
using platform::Result;
using platform::Status;

PlatformError testError(const std::string& description, long code) {
  return {"Test", code, {{platform::localizedDescriptionKey, description}}, nullptr};
}

std::optional<PlatformError> FakeFiles::failure(const std::string& name) const {
  const auto found = failing.find(name);
  if (found == failing.end()) return std::nullopt;
  return found->second;
}

Status FakeFiles::event(const std::string& name, const std::string& arguments) {
  events.push_back(name + " " + arguments);
  if (const auto error = failure(name)) return *error;
  return Done{};
}

Result<std::vector<std::uint8_t>> FakeFiles::readFile(const std::string& path) {
  const auto found = files.find(path);
  if (found == files.end()) return testError("no file " + path, 260);
  return found->second.content;
}

Result<platform::FileAttributes> FakeFiles::attributesOfItem(const std::string& path) {
  if (const auto error = failure("attributes")) return *error;
  const auto found = files.find(path);
  if (found == files.end()) return testError("no file " + path, 260);
  return platform::FileAttributes{found->second.size, found->second.creationDate,
                                  found->second.modificationDate};
}

Status FakeFiles::setAttributes(const platform::FileAttributeChanges& changes, const std::string& path) {
  const auto seconds = [](const std::optional<platform::TimePoint>& time) {
    if (!time) return std::string("none");
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time->time_since_epoch()).count());
  };
  return event("dates", path + " " + seconds(changes.creationDate) + " " + seconds(changes.modificationDate));
}

Status FakeFiles::moveItem(const std::string& from, const std::string& to) {
  Status moved = event("move", from + " " + to);
  if (!moved.ok()) return moved;
  if (files.contains(to)) return testError(to + " exists", 516);
  files[to] = files[from];
  files.erase(from);
  return moved;
}

Status FakeFiles::trashItem(const std::string& path) {
  Status trashed = event("trash", path);
  if (trashed.ok()) files.erase(path);
  return trashed;
}

Status FakeFiles::removeItem(const std::string& path) {
  Status removed = event("remove", path);
  if (removed.ok()) files.erase(path);
  return removed;
}

Result<std::vector<std::string>> FakeFiles::tagNames(const std::string& path) {
  if (const auto error = failure("tags")) return *error;
  return files[path].tagNames;
}

Status FakeFiles::setTagNames(const std::vector<std::string>& names, const std::string& path) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return event("tag", path + " " + list);
}

void FakeFiles::copyDocumentMetadata(const std::string& from, const std::string& to) {
  events.push_back("metadata " + from + " " + to);
}

bool FakeFiles::enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                          const EnumerationErrorHandler& onError) {
  events.push_back("enumerate " + folder);
  enumerationOptions.push_back(options);
  for (const std::string& path : folderItems) item(path);
  if (enumerationError && !onError(folder, true, *enumerationError)) events.push_back("stopped");
  return canEnumerate;
}

std::optional<platform::PropertyList> FakePreferences::object(const std::string& key) {
  const auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

Status FakePreferences::set(const std::string& key, const platform::PropertyList& value) {
  if (failing) return testError("disk full");
  values_.insert_or_assign(key, value);
  return Done{};
}

Status FakePreferences::remove(const std::string& key) {
  if (failing) return testError("disk full");
  values_.erase(key);
  return Done{};
}

Status FakePreferences::update(const std::function<void(platform::Preferences&)>& body) {
  body(*this);
  return Done{};
}

std::unique_ptr<platform::Preferences> FakePreferencesStore::suite(const std::string&) {
  if (!sharedOpens) return nullptr;
  auto preferences = std::make_unique<FakePreferences>(shared);
  preferences->failing = writesFail;
  return preferences;
}

std::unique_ptr<platform::Preferences> FakePreferencesStore::standard() {
  if (!ownOpens) return nullptr;
  auto preferences = std::make_unique<FakePreferences>(own);
  preferences->failing = writesFail;
  return preferences;
}

Result<std::vector<std::uint8_t>> FakeBookmarks::create(const std::string& path, unsigned options) {
  events.push_back("create " + path + " " + std::to_string(options));
  if (createFails) return testError("no bookmark");
  return std::vector<std::uint8_t>(path.begin(), path.end());
}

Result<platform::ResolvedBookmark> FakeBookmarks::resolve(const std::vector<std::uint8_t>& data,
                                                          unsigned options) {
  const std::string path(data.begin(), data.end());
  events.push_back("resolve " + path + " " + std::to_string(options));
  if (resolveFails) return testError("gone", 4);
  return platform::ResolvedBookmark{path, true};
}

bool FakeBookmarks::startAccessing(const std::string& path) {
  events.push_back("start " + path);
  return !accessRefused;
}

std::string FakeFormatting::date(platform::TimePoint, const std::string& pattern) {
  return pattern == "YYYYMMddhhmmss" ? dateText : "wrong pattern";
}

// Rounds half to even, as the current rounding mode does.
std::optional<std::string> FakeFormatting::number(double value, const std::string& pattern) {
  if (numberFails || pattern != "00") return std::nullopt;
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%s%02.0f", std::signbit(value) ? "-" : "",
                std::abs(std::nearbyint(value)));
  return std::string(buffer);
}

std::optional<std::string> FakeProcess::environment(const std::string& name) {
  const auto found = variables.find(name);
  if (found == variables.end()) return std::nullopt;
  return found->second;
}

namespace {

class FakeOperationQueue : public platform::OperationQueue {
 public:
  explicit FakeOperationQueue(FakeQueues& queues) : queues_(queues) {}
  void setMaxConcurrentOperationCount(long count) override { queues_.limit = count; }
  long maxConcurrentOperationCount() const override { return queues_.limit; }
  void addOperation(std::function<void()> block) override { queues_.operations.push_back(std::move(block)); }

 private:
  FakeQueues& queues_;
};

}  // namespace

std::unique_ptr<platform::OperationQueue> FakeQueues::newOperationQueue() {
  return std::make_unique<FakeOperationQueue>(*this);
}

}  // namespace kelv::testing
