#include "kelvara/sizes.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace kelvara {
namespace {

std::string decimals(double value, int count) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", count, value);
  return buffer;
}

}  // namespace

std::string readableSize(double bytes) {
  if (std::abs(bytes) < 1000) return decimals(bytes, 0) + (bytes == 1 ? " byte" : " bytes");
  constexpr std::array units = {"kB", "MB", "GB", "TB", "PB", "EB"};
  double scaled = bytes / 1000;
  std::size_t unit = 0;
  // What would be shown as "1000.0" goes to the next unit.
  while (std::abs(scaled) >= 999.95 && unit + 1 < units.size()) {
    scaled /= 1000;
    ++unit;
  }
  return decimals(scaled, 1) + " " + units[unit];
}

std::string readableShare(double share) { return decimals(share * 100, 1) + " %"; }

}  // namespace kelvara
