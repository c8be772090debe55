// Looks a profile over before kelv meets it: kelv itself takes defaults for what it cannot use, without a
// word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kelv/profile/compression_profile.h"
#include "platform/error.h"

namespace kelvara {

enum class Severity {
  note,     // has no effect
  warning,  // is not taken as it stands
  error,    // stops kelv
};

struct Finding {
  Severity severity;
  std::string text;  // one sentence that names the key
};

std::vector<Finding> checkProfile(const kelv::CompressionProfile& profile);

// The key that a misspelled name most likely means; empty when none is near.
std::string nearestKey(std::string_view name);

// KEY=VALUE taken apart, with the value in the type of its key. The error says what is wrong.
struct Assignment {
  std::string key;
  platform::PropertyList value;
};
platform::Result<Assignment> parseAssignment(const std::string& text);

}  // namespace kelvara
