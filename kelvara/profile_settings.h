// A profile as settings of the engine: what kelv asks of it, without kelv.
#pragma once

#include <optional>

#include "kelv/profile/compression_profile.h"
#include "optimizer/document/document.h"
#include "optimizer/settings/settings.h"

namespace kelvara {

// Of a profile with entries. Nothing where imageQuality or imageResolution is missing or no usable number:
// kelv stops there.
std::optional<optimizer::Settings> settingsOf(const kelv::CompressionProfile& profile);

// The document information that the profile writes. Dates stay as they are: they do not change a size.
optimizer::Status applyInformation(const kelv::CompressionProfile& profile, optimizer::Document& document);

}  // namespace kelvara
