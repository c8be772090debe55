// ICC profiles through lcms2 (ISO 15076-1), for the colour work on images.
#pragma once

#include <array>

#include "optimizer/base/bytes.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// What viewers take device RGB for, and grey with the same curve.
Bytes srgbProfile();
Bytes greyProfile();

// CalGray and CalRGB of ISO 32000-1, 8.6.5.2 and 8.6.5.3, as profiles. matrix: X, Y, Z of the three
// components. Empty where the numbers describe no colours.
Bytes calibratedGrey(const std::array<double, 3>& whitePoint, double gamma);
Bytes calibratedRgb(const std::array<double, 3>& whitePoint, const std::array<double, 3>& gamma,
                    const std::array<double, 9>& matrix);

// Whether the profile can be read and is for colours of this kind: grey, rgb or cmyk.
bool profileIsFor(const Bytes& profile, ColorKind kind);

}  // namespace optimizer
