#include "kelvara/history.h"

#include <memory>
#include <optional>

namespace kelvara {
namespace {

constexpr const char* domain = "kelvara";
constexpr const char* historyKey = "StatisticsHistory";  // array of dictionaries of integers
constexpr std::size_t longestHistory = 2000;

std::vector<Snapshot> decode(platform::Preferences& preferences) {
  std::vector<Snapshot> history;
  const auto stored = preferences.object(historyKey);
  if (!stored || stored->arrayItems() == nullptr) return history;
  for (const platform::PropertyList& item : *stored->arrayItems()) {
    const platform::PropertyListDictionary* entries = item.dictionaryEntries();
    if (entries == nullptr) continue;
    Snapshot snapshot;
    const auto read = [entries](const char* key, std::int64_t& value) {
      const auto entry = entries->find(key);
      return entry != entries->end() && entry->second.integer(value);
    };
    if (read("Time", snapshot.time) && read("OriginalSize", snapshot.totals.originalSize) &&
        read("CompressedSize", snapshot.totals.compressedSize)) {
      history.push_back(snapshot);
    }
  }
  return history;
}

platform::PropertyList encode(const std::vector<Snapshot>& history) {
  platform::PropertyListArray items;
  for (const Snapshot& snapshot : history) {
    items.push_back(platform::PropertyList::dictionary(
        {{"Time", platform::PropertyList(snapshot.time)},
         {"OriginalSize", platform::PropertyList(snapshot.totals.originalSize)},
         {"CompressedSize", platform::PropertyList(snapshot.totals.compressedSize)}}));
  }
  return platform::PropertyList::array(std::move(items));
}

// Drops every second snapshot of the older half.
void thin(std::vector<Snapshot>& history) {
  if (history.size() <= longestHistory) return;
  std::vector<Snapshot> kept;
  for (std::size_t index = 0; index < history.size(); ++index) {
    if (index >= history.size() / 2 || index % 2 == 0) kept.push_back(history[index]);
  }
  history = std::move(kept);
}

std::int64_t secondsNow(platform::Formatting& formatting) {
  return std::chrono::duration_cast<std::chrono::seconds>(formatting.now().time_since_epoch()).count();
}

}  // namespace

std::vector<Snapshot> readHistory(platform::PreferencesStore& store) {
  const std::unique_ptr<platform::Preferences> preferences = store.suite(domain);
  return preferences ? decode(*preferences) : std::vector<Snapshot>();
}

platform::Status noteTotals(platform::Services& services, const kelv::StatisticsTotals& totals) {
  const std::unique_ptr<platform::Preferences> preferences = services.preferences.suite(domain);
  if (!preferences) {
    return platform::PlatformError{
        "", 1, {{platform::localizedDescriptionKey, "kelvara's own preferences cannot be opened."}}, nullptr};
  }
  const std::vector<Snapshot> known = decode(*preferences);
  if (!known.empty() && known.back().totals == totals) return platform::Done{};

  const Snapshot snapshot{secondsNow(services.formatting), totals};
  std::optional<platform::PlatformError> problem;
  const platform::Status updated = preferences->update([&](platform::Preferences& locked) {
    std::vector<Snapshot> history = decode(locked);
    history.push_back(snapshot);
    thin(history);
    const platform::Status set = locked.set(historyKey, encode(history));
    if (!set.ok()) problem = set.error();
  });
  if (!updated.ok()) return updated;
  if (problem) return *problem;
  return platform::Done{};
}

}  // namespace kelvara
