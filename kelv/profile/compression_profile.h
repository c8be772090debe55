// A compression profile and the exact conversions of its values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/property_list.h"

namespace kelv {

// From text key to value, keys matched exactly. One without entries stands for no profile at all.
using CompressionProfile = platform::PropertyListDictionary;

// Each is nothing when the key is absent or its value is of another type.

// A number rounded to the nearest 32-bit float; a Boolean as 1 or 0.
std::optional<float> floatValue(const CompressionProfile& profile, const std::string& key);
// A number whose value is whole and inside the range; a Boolean as 1 or 0.
std::optional<std::int32_t> int32Value(const CompressionProfile& profile, const std::string& key);
std::optional<std::uint32_t> uint32Value(const CompressionProfile& profile, const std::string& key);
// A Boolean, or a number that equals 0 or 1.
std::optional<bool> flagValue(const CompressionProfile& profile, const std::string& key);
std::optional<std::string> textValue(const CompressionProfile& profile, const std::string& key);

}  // namespace kelv
