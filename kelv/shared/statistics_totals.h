// The running totals of what compressions have saved, shared with the main application.
#pragma once

#include <cstdint>

#include "platform/services.h"

namespace kelv {

struct StatisticsTotals {
  std::int64_t originalSize = 0;    // bytes, of all files counted so far
  std::int64_t compressedSize = 0;  // bytes, of the same files

  bool operator==(const StatisticsTotals&) const = default;
};

// Absent totals read as 0.
StatisticsTotals readStatisticsTotals(platform::Preferences& sharedDefaults);

// Adds the sizes of one file, in bytes, truncated to whole ones. Both totals change or neither does, and what
// other processes add meanwhile is kept. Nothing is counted when SharedDefaults cannot be opened. A size that
// is not finite or not within the range of a signed 64-bit integer, or a sum that is not, is a fatal error.
void addStatisticsTotals(platform::Services& services, double originalSize, double compressedSize);

}  // namespace kelv
