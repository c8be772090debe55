// Taking away what an image never shows, without loss to the rest.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "optimizer/image/source.h"

namespace optimizer {

// A rectangle of pixels: [left, left + width) x [top, top + height), top row first.
struct PixelRegion {
  std::uint32_t left = 0, top = 0, width = 0, height = 0;
  std::uint64_t area() const { return std::uint64_t{width} * height; }
};

enum class Cut : std::uint8_t {
  away,   // the image becomes the region
  blank,  // the image keeps its size and is uniform around the region
};

struct CutImage {
  Bytes data;
  std::string filter, decodeParms;  // as in EncodedImage
};

// Left and top of a region to cut away to: multiples of this.
std::uint32_t cutGrid(const ImageSource& source);

// Codes what is left; the samples mean what they meant (Decode, ColorSpace and bits stay). Lossless within
// the region. Nothing where the image cannot be decoded, or the region does not lie on the grid.
std::optional<CutImage> cutImage(const ImageSource& source, const PixelRegion& region, Cut how);

}  // namespace optimizer
