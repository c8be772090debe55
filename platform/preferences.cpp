#include "platform/preferences.h"

#include <cmath>
#include <cstdlib>

namespace platform {
namespace {

// Blanks, then t, T, y or Y; or a sign and zeros, then 1 to 9.
bool textIsTrue(const std::string& text) {
  std::size_t at = text.find_first_not_of(" \t\n\v\f\r");
  if (at == std::string::npos) return false;
  if (std::string("tTyY").find(text[at]) != std::string::npos) return true;
  if (text[at] == '+' || text[at] == '-') ++at;
  at = text.find_first_not_of('0', at);
  return at != std::string::npos && text[at] >= '1' && text[at] <= '9';
}

std::int64_t truncated(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 0x1p63) return INT64_MAX;
  if (value < -0x1p63) return INT64_MIN;
  return static_cast<std::int64_t>(value);
}

}  // namespace

bool Preferences::boolean(const std::string& key) {
  const std::optional<PropertyList> value = object(key);
  if (!value) return false;
  double number = 0;
  if (value->number(number)) return number != 0;
  return value->text() && textIsTrue(*value->text());
}

std::int64_t Preferences::integer(const std::string& key) {
  const std::optional<PropertyList> value = object(key);
  if (!value) return 0;
  std::int64_t whole = 0;
  if (value->integer(whole)) return whole;
  double number = 0;
  if (value->number(number)) return truncated(number);
  return value->text() ? std::strtoll(value->text()->c_str(), nullptr, 10) : 0;
}

std::optional<std::vector<std::uint8_t>> Preferences::data(const std::string& key) {
  const std::optional<PropertyList> value = object(key);
  if (!value || !value->data()) return std::nullopt;
  return value->data()->bytes;
}

}  // namespace platform
