// What a file would become under a profile: the engine does its work on a copy that nobody gets to see.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "kelv/profile/compression_profile.h"
#include "optimizer/audit/audit.h"

namespace kelvara {

struct EstimateProfile {
  std::string name;                                // as shown
  std::optional<kelv::CompressionProfile> values;  // nothing: what kelv does without a profile
};

struct Estimate {
  std::string profile;
  std::string problem;     // why there is no result, such as a signature; empty when there is one
  optimizer::Audit after;  // of the result, whether it is smaller or not
};

// "Reading", "images" …: what is being done.
using Saying = std::function<void(const std::string&)>;

// Opens the file anew. Writes below $TMPDIR only, and takes it away again.
Estimate estimate(const std::string& path, const std::string& password, const EstimateProfile& profile,
                  const Saying& say);

// Errors are the engine's: damaged, password, limit, io, unsupported.
optimizer::Result<optimizer::Audit> auditFile(const std::string& path, const std::string& password);

}  // namespace kelvara
