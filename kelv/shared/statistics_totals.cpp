#include "kelv/shared/statistics_totals.h"

#include <memory>
#include <optional>
#include <string>

#include "kelv/shared/shared_preferences.h"

namespace kelv {
namespace {

// Truncates toward zero. Not-a-number fails both comparisons.
std::int64_t checkedInteger(double size) {
  const bool inRange = size >= -9223372036854775808.0 && size < 9223372036854775808.0;
  if (!inRange) platform::fatalError("a file size is not a 64-bit integer", __FILE__, __LINE__);
  return static_cast<std::int64_t>(size);
}

std::int64_t checkedSum(std::int64_t total, std::int64_t size) {
  std::int64_t sum = 0;
  if (__builtin_add_overflow(total, size, &sum)) {
    platform::fatalError("a statistics total overflows", __FILE__, __LINE__);
  }
  return sum;
}

}  // namespace

StatisticsTotals readStatisticsTotals(platform::Preferences& sharedDefaults) {
  return {sharedDefaults.integer(originalTotalKey), sharedDefaults.integer(compressedTotalKey)};
}

void addStatisticsTotals(platform::Services& services, double originalSize, double compressedSize) {
  const std::unique_ptr<platform::Preferences> sharedDefaults = openSharedDefaults(services.preferences);
  if (!sharedDefaults) return;

  const std::int64_t original = checkedInteger(originalSize);
  const std::int64_t compressed = checkedInteger(compressedSize);
  std::optional<platform::PlatformError> failure;
  const auto keep = [&failure](const platform::Status& status) {
    if (!status.ok() && !failure) failure = status.error();
  };
  keep(sharedDefaults->update([&](platform::Preferences& locked) {
    const StatisticsTotals totals = readStatisticsTotals(locked);
    // Both sums are checked before the first write, so that a stop never leaves one total without the other.
    const std::int64_t originalTotal = checkedSum(totals.originalSize, original);
    const std::int64_t compressedTotal = checkedSum(totals.compressedSize, compressed);
    keep(locked.set(originalTotalKey, platform::PropertyList(originalTotal)));
    keep(locked.set(compressedTotalKey, platform::PropertyList(compressedTotal)));
  }));
  keep(sharedDefaults->synchronize());
  if (failure) services.process.log("The statistics totals could not be saved: " + failure->description());
}

}  // namespace kelv
