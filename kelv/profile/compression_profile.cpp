#include "kelv/profile/compression_profile.h"

#include <limits>

namespace kelv {
namespace {

static_assert(std::numeric_limits<float>::is_iec559, "out-of-range numbers become infinities");

const platform::PropertyList* find(const CompressionProfile& profile, const std::string& key) {
  const auto entry = profile.find(key);
  return entry == profile.end() ? nullptr : &entry->second;
}

template <typename Integer>
std::optional<Integer> integerValue(const CompressionProfile& profile, const std::string& key) {
  const platform::PropertyList* value = find(profile, key);
  std::int64_t whole = 0;
  if (value == nullptr || !value->integer(whole)) return std::nullopt;
  if (whole < std::numeric_limits<Integer>::min() || whole > std::numeric_limits<Integer>::max()) {
    return std::nullopt;
  }
  return static_cast<Integer>(whole);
}

}  // namespace

std::optional<float> floatValue(const CompressionProfile& profile, const std::string& key) {
  const platform::PropertyList* value = find(profile, key);
  if (value == nullptr) return std::nullopt;
  // Integers go straight to a float: by way of a double they could be rounded twice.
  if (const auto* integer = std::get_if<std::int64_t>(&value->value())) return static_cast<float>(*integer);
  if (const auto* integer = std::get_if<std::uint64_t>(&value->value())) return static_cast<float>(*integer);
  double number = 0;
  if (!value->number(number)) return std::nullopt;
  return static_cast<float>(number);
}

std::optional<std::int32_t> int32Value(const CompressionProfile& profile, const std::string& key) {
  return integerValue<std::int32_t>(profile, key);
}

std::optional<std::uint32_t> uint32Value(const CompressionProfile& profile, const std::string& key) {
  return integerValue<std::uint32_t>(profile, key);
}

std::optional<bool> flagValue(const CompressionProfile& profile, const std::string& key) {
  const std::optional<std::int32_t> number = int32Value(profile, key);
  if (!number || *number < 0 || *number > 1) return std::nullopt;
  return *number == 1;
}

std::optional<std::string> textValue(const CompressionProfile& profile, const std::string& key) {
  const platform::PropertyList* value = find(profile, key);
  if (value == nullptr || value->text() == nullptr) return std::nullopt;
  return *value->text();
}

}  // namespace kelv
