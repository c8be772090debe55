// Colour-key masks (ISO 32000-1, 8.9.6.4): pixels whose stored samples all lie in given ranges do not show.
#pragma once

#include <optional>
#include <vector>

#include "optimizer/image/source.h"

namespace optimizer {

// The same as a stencil mask: 1 bit a pixel, set where nothing shows. ranges: least and greatest stored
// sample of each component. Nothing where the samples cannot be had or the ranges do not fit them.
std::optional<Pixels> stencilOfColorKey(const ImageSource& source, const std::vector<int>& ranges);

}  // namespace optimizer
