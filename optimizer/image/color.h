// What colour profiles mean for an image's samples.
#pragma once

#include "optimizer/image/source.h"

namespace optimizer {

// True where samples of the (base) space look the same when read as DeviceGray or DeviceRGB: no profile, or
// one that says what the device space says to viewers (sRGB, or grey with its curve). Calibrated spaces and
// CMYK profiles are not.
bool looksLikeDevice(const ImageColorSpace& space);

}  // namespace optimizer
