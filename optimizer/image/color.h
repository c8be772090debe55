// What colour profiles mean for an image's samples.
#pragma once

#include "optimizer/image/source.h"

namespace optimizer {

// True where samples of the (base) space look the same when read as DeviceGray or DeviceRGB: no profile, or
// one that says what the device space says to viewers (sRGB, or grey with its curve). CMYK profiles are not.
// tolerance: levels of 255 by which a colour may move; the default is what nobody sees, even side by side.
bool looksLikeDevice(const ImageColorSpace& space, int tolerance = 5);

}  // namespace optimizer
