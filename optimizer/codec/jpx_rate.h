// Which passes of which blocks a picture of a given size is worth: rate control of JPEG 2000 (ISO/IEC
// 15444-1, J.14).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/codec/jpx_packets.h"
#include "optimizer/codec/jpx_wavelet.h"

namespace optimizer::jpx {

// How much an error of one in a coefficient of the band is seen, as against one in the finest luma that
// matters fully.
double visibilityOf(const Band& band);
// The lowest bit-plane that is worth coding where the others go down to 0.
unsigned lowestPlaneOf(const Band& band);

// The base of a quantiser that leaves about so many coefficients that are not zero. components: transformed.
double baseFor(const Layout& layout, const std::vector<Samples>& components, double ones);

// The places at which each block is worth cutting.
class RateControl {
 public:
  explicit RateControl(const CodedPicture& picture);
  // The best that takes at most so many bytes; nothing of any block where even that takes more.
  Cuts cutsFor(std::size_t bytes) const;

 private:
  struct Place {
    float slope;  // error saved for each byte since the place before; falls from place to place
    std::uint16_t passes;
  };
  Cuts cutsAbove(float slope) const;

  const CodedPicture& picture_;
  std::vector<Place> places_;
  std::vector<std::size_t> first_;  // place of each block, and the end
  float steepest_ = 0, flattest_ = 0;
};

}  // namespace optimizer::jpx
