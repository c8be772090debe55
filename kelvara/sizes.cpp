#include "kelvara/sizes.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace kelvara {
namespace {

std::string oneDecimal(double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.1f", value);
  return buffer;
}

}  // namespace

std::string readableSize(std::int64_t bytes) {
  const double size = static_cast<double>(bytes);
  if (std::abs(size) < 1000) return std::to_string(bytes) + (bytes == 1 ? " byte" : " bytes");
  constexpr std::array units = {"kB", "MB", "GB", "TB", "PB", "EB"};
  double scaled = size / 1000;
  std::size_t unit = 0;
  // What would be shown as "1000.0" goes to the next unit.
  while (std::abs(scaled) >= 999.95 && unit + 1 < units.size()) {
    scaled /= 1000;
    ++unit;
  }
  return oneDecimal(scaled) + " " + units[unit];
}

std::string readableShare(double share) { return oneDecimal(share * 100) + " %"; }

}  // namespace kelvara
