// Putting layers together, as viewers do: paper, and ink where the mask has it.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/codec/bitonal.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/score.h"

namespace optimizer {

// A part of a page, in shares of its sides from the left and from the top.
struct PagePart {
  double left = 0, top = 0, right = 1, bottom = 1;
};

// That part of the picture, grey or RGB, at the given size: bilinear, pixel centres aligned as renderers
// align them. where: of that size, or null; the places at which it is 0 are not wanted and left undefined.
Pixels enlargedPart(const Pixels& picture, const PagePart& part, std::uint32_t width, std::uint32_t height,
                    const Pixels* where = nullptr);

// Share of black in the area of each pixel of a width x height picture, 255 for all; sizes at most the
// picture's.
Pixels coverageIn(const Bitonal& picture, std::uint32_t width, std::uint32_t height,
                  Reduction reduction = Reduction::area);

// What lies under the ink: the paper that, mixed with the ink at its edges, gives the view; under the ink
// itself, and where `hidden` is set, whatever is smoothest. view: the page, or a part of it, reduced;
// coverage, and hidden where it is given: of its size. part: what the view is of the page that has the ink's
// colors.
Pixels paperUnder(const Pixels& view, const Pixels& coverage, const Pixels& colors, const PagePart& part = {},
                  const Pixels* hidden = nullptr);

class Composer {
 public:
  // width, height: of what is composed; at most the ink's. reduction: how ink, and what is kept, come to that
  // size.
  Composer(const Bitonal& ink, std::uint32_t width, std::uint32_t height,
           Reduction reduction = Reduction::area);

  std::uint32_t width() const { return coverage_.width(); }
  std::uint32_t height() const { return coverage_.height(); }

  // The colours of the ink over the whole page, at any size.
  void setInk(const Pixels& colors);
  // What is judged elsewhere: these parts stay as they are on the page.
  void keep(const Pixels& page, std::vector<PagePart> parts);
  // paper: of the colour kind of the ink, at most as large as what is composed.
  Pixels compose(const Pixels& paper) const;

 private:
  Reduction reduction_;
  Pixels coverage_, ink_, page_;
  std::vector<PagePart> kept_;
};

}  // namespace optimizer
