#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

#include "platform/formatting.h"

namespace platform {

std::string shortestDecimalText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  char buffer[40];
  char* const end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific).ptr;
  const std::string scientific(static_cast<const char*>(buffer), static_cast<const char*>(end));  // [-]d[.ddd]e±XX
  const double magnitude = std::fabs(value);
  if (magnitude != 0 && (magnitude < 0.0001 || magnitude > 9007199254740992.0)) return scientific;

  const std::size_t e = scientific.find('e');
  const int exponent = std::atoi(scientific.c_str() + e + 1);
  const bool negative = scientific.front() == '-';
  std::string digits;
  for (const char c : scientific.substr(0, e)) {
    if (c >= '0' && c <= '9') digits += c;
  }
  // Lays the digits out around the decimal point, with at least one on each side.
  std::string whole, fraction;
  if (exponent < 0) {
    whole = "0";
    fraction = std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  } else {
    const auto count = static_cast<std::size_t>(exponent) + 1;
    if (digits.size() < count) digits.append(count - digits.size(), '0');
    whole = digits.substr(0, count);
    fraction = digits.substr(count);
  }
  return (negative ? "-" : "") + whole + "." + (fraction.empty() ? "0" : fraction);
}

}  // namespace platform
