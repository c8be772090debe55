// Finding the ink on a scanned page.
#pragma once

#include "optimizer/codec/bitonal.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/strokes.h"

namespace optimizer {

struct InkMask {
  Bitonal ink;              // black where text and line art are, whatever their colour
  double inkShare = 0;      // of all pixels
  double pictureShare = 0;  // of the page: photographs and the like, where no ink is sought
  CellGrid pictures;        // where they are
  std::uint32_t cell = 1;   // side of a cell of that grid, in pixels of the page
};

// On dark paper the ink is light: such a page is turned over.
Pixels withDarkInk(Pixels luma);

// luma: of the page, 8-bit grey, dark ink. dpi: its resolution, at least 1. picturesApart: photographs are
// recognised and left without ink; otherwise they are taken apart like everything else.
InkMask findInk(const Pixels& luma, double dpi, bool picturesApart);

// The cells of that side that photographs and the like cover. ink: what has been found so far.
CellGrid findPictures(const Pixels& luma, const Bitonal& ink, std::uint32_t cell);

// Looks closer where strokes would be lost: takes as ink what stands out of the paper of those cells and
// their neighbours, however faint it is. lost: cells of the whole page.
void addFaintInk(const Pixels& luma, const CellGrid& lost, Bitonal& ink);

}  // namespace optimizer
