// The profiles that kelvara brings along.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "kelv/profile/compression_profile.h"

namespace kelvara {

struct ReadyProfile {
  const char* name;     // as typed: "web"
  const char* summary;  // one line
  const char* text;     // what it keeps and what it gives up
  kelv::CompressionProfile values;
};

std::span<const ReadyProfile> readyProfiles();
// Null when there is none of that name; "e-mail" and "email" are one.
const ReadyProfile* findReadyProfile(std::string_view name);

}  // namespace kelvara
