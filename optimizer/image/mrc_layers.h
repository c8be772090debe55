// Layered coding of a scanned page (mixed raster content, ITU-T T.44): the paper at a low resolution,
// pictures on it at a better one, the colours of the ink at a very low one, and a sharp bitonal mask that
// says where ink is.
#pragma once

#include <optional>
#include <vector>

#include "optimizer/codec/codec.h"
#include "optimizer/image/convert.h"
#include "optimizer/image/mrc_compose.h"
#include "optimizer/image/pixels.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

struct LayeredPicture {
  PagePart part;
  EncodedImage image;
};

// Background, pictures and foreground have the colour kind of the page. The mask is 1 bit, 0 where the
// foreground is painted. Pictures lie on the background, below the foreground; they do not meet.
struct LayeredImage {
  EncodedImage background, foreground, mask;
  std::vector<LayeredPicture> pictures;

  // What the layers cost in the file, their dictionaries and the form that draws them included.
  std::size_t cost() const;
};

// pixels: 8-bit grey or RGB of a page drawn at dpiX by dpiY. shown: what viewers make of such samples, where
// that is far from the device's colours; null where it is not. Returns layers that together look like the
// page at normal viewing size, keep its strokes as it is read, and cost less than `toBeat` bytes; nothing
// where the page is no such page.
std::optional<LayeredImage> codeInLayers(const Pixels& pixels, double dpiX, double dpiY,
                                         const Settings& settings, std::size_t toBeat,
                                         const ColorConverter* shown = nullptr);

}  // namespace optimizer
