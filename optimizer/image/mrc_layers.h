// Layered coding of a scanned page (mixed raster content, ITU-T T.44): the paper and its pictures at a low
// resolution, the colours of the ink at a very low one, and a sharp bitonal mask that says where ink is.
#pragma once

#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

// Background and foreground have the colour kind of the page. The mask is 1 bit, 0 where the foreground is
// painted.
struct LayeredImage {
  EncodedImage background, foreground, mask;

  // What the layers cost in the file, their dictionaries and the form that draws them included.
  std::size_t cost() const;
};

// pixels: 8-bit grey or RGB of a page drawn at dpiX by dpiY. Returns layers that together look like the page
// at normal viewing size and cost less than `toBeat` bytes; nothing where the page is no such page.
std::optional<LayeredImage> codeInLayers(const Pixels& pixels, double dpiX, double dpiY,
                                         const Settings& settings, std::size_t toBeat);

}  // namespace optimizer
