// A profile as engine settings. Every call's order and value is fixed; what the engine answers is ignored.
#pragma once

#include "kelv/engine/PdfOptimizeAPI.h"
#include "kelv/profile/compression_profile.h"

namespace kelv {

// Colours, resolutions, quality, the image and font switches, and the codecs, which are the same for every
// profile. A profile without the numbers imageQuality and imageResolution, or with a quality that is no
// 32-bit integer when multiplied by 100, is a fatal error.
void applyImageAndFontSettings(const CompressionProfile& profile, OptimizerHandle handle);

// What is stripped from the document, and the removal of all its images.
void applyRemovals(const CompressionProfile& profile, OptimizerHandle handle);

}  // namespace kelv
