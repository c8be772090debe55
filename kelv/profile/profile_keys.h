// Every key of a compression profile, with its type and what stands in for it when it is not usable.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace kelv {

enum class ValueType { real, int32, uint32, flag, text };

struct ProfileKey {
  const char* name;
  ValueType type;
  std::int32_t defaultNumber;  // of integers and flags
  const char* defaultText;     // of texts
  bool required;               // a profile with entries has to hold it
};

// In the order in which a profile is applied.
std::span<const ProfileKey> profileKeys();
// Null for a name that is no key.
const ProfileKey* findProfileKey(std::string_view name);

// The information entries that a profile can overwrite, in order. Producer, the last, has rules of its own.
struct InformationKeys {
  const char* entry;
  const char* removeKey;
  const char* customKey;
};
std::span<const InformationKeys> informationKeys();

// What the engine strips, as bits of one mask.
struct StripKey {
  const char* name;
  std::uint32_t bit;
};
std::span<const StripKey> stripKeys();

}  // namespace kelv
