#include "kelv/main/statistics_handler.h"

#include "kelv/shared/statistics_totals.h"

namespace kelv {

StatisticsHandler totalsHandler(platform::Services& services) {
  return [&services](double, double originalSize, double compressedSize) {
    if (originalSize > compressedSize) addStatisticsTotals(services, originalSize, compressedSize);
  };
}

}  // namespace kelv
