// How the totals grew. kelv keeps totals only, so kelvara notes them down whenever it is asked for them.
#pragma once

#include <cstdint>
#include <vector>

#include "kelv/shared/statistics_totals.h"
#include "platform/services.h"

namespace kelvara {

struct Snapshot {
  std::int64_t time = 0;  // seconds since 1970-01-01T00:00:00Z
  kelv::StatisticsTotals totals;

  // Bytes; as a double, since other programs may have written totals whose difference is no 64-bit integer.
  double saved() const {
    return static_cast<double>(totals.originalSize) - static_cast<double>(totals.compressedSize);
  }
};

// Oldest first.
std::vector<Snapshot> readHistory(platform::PreferencesStore& store);

// Adds the totals as of now, unless they are those of the last snapshot. The older half of a long history is
// thinned.
platform::Status noteTotals(platform::Services& services, const kelv::StatisticsTotals& totals);

}  // namespace kelvara
