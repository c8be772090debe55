// Whether the strokes of a page are still there: what lettering, pencil and stamps need and a mean similarity
// over the page does not show.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/image/cells.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// The reference, prepared once for many comparisons. A stroke is structure that stands out of the page's own
// grain, however faint; it is lost where the candidate follows less than half of its contrast. Sharper edges
// and smoother paper are no loss.
class StrokeReference {
 public:
  // Side of a cell in pixels: an eighth of an inch at reading resolution.
  static constexpr std::uint32_t cell = 24;

  // grey: 8-bit, at the resolution at which pages are read; at least 16 pixels each way.
  explicit StrokeReference(const Pixels& grey);

  // shown: of the same size. The cells in which strokes have been lost.
  CellGrid compare(const Pixels& shown) const;

 private:
  Pixels smooth_;
  std::size_t across_ = 0;       // places in a row
  std::vector<float> variance_;  // of strokes at each place; 0 where there is none
};

}  // namespace optimizer
