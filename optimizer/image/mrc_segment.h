// Finding the ink on a scanned page.
#pragma once

#include "optimizer/codec/bitonal.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

struct InkMask {
  Bitonal ink;              // black where text and line art are, whatever their colour
  double inkShare = 0;      // of all pixels
  double pictureShare = 0;  // of the page: photographs and the like, where no ink is sought
};

// page: its luma, 8-bit grey. dpi: its resolution, at least 1. picturesApart: photographs are
// recognised and left without ink; otherwise they are taken apart like everything else.
InkMask findInk(const Pixels& page, double dpi, bool picturesApart);

}  // namespace optimizer
