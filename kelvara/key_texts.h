// What each key of a profile does, in a sentence.
#pragma once

#include <string>

#include "kelv/profile/profile_keys.h"

namespace kelvara {

// Empty for a name that is no key.
std::string keyMeaning(const std::string& key);
// "number", "0 or 1", "true or false", "text"
const char* typeName(const kelv::ProfileKey& key);
// The value that stands in for an absent one: "1", "false", "\"\""; "required" where there is none.
std::string defaultValue(const kelv::ProfileKey& key);

}  // namespace kelvara
