// CMYK without a profile: an average press on coated paper, as viewers show DeviceCMYK.
#pragma once

#include <cstddef>
#include <cstdint>

namespace optimizer {

// count pixels, 4 bytes each (0 no ink, 255 full), to sRGB, 3 bytes each.
void pressToRgb(const std::uint8_t* cmyk, std::size_t count, std::uint8_t* rgb);

// The inks that come closest to an sRGB colour; black ink takes over what the three colours have in common,
// and the four together are at most 300 percent.
void rgbToPress(const std::uint8_t* rgb, std::size_t count, std::uint8_t* cmyk);

}  // namespace optimizer
