// Which passes of which blocks a picture of a given size is worth: rate control of JPEG 2000 (ISO/IEC
// 15444-1, J.14).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/codec/jpx_packets.h"
#include "optimizer/codec/jpx_wavelet.h"

namespace optimizer::jpx {

// The base of a quantiser that leaves about so many coefficients that are not zero. components: transformed.
// visibility: of each block.
double baseFor(const Layout& layout, const std::vector<Samples>& components,
               const std::vector<float>& visibility, double ones);

// Blocks are cut where a byte no longer saves so much of the error, in squared levels weighed by visibility:
// of the luma, and of the differences of colour.
struct Slopes {
  float luma = 0, chroma = 0;
};

// The places at which each block is worth cutting.
class RateControl {
 public:
  explicit RateControl(const CodedPicture& picture);
  Cuts cutsAt(const Slopes& slopes) const;
  // With both slopes the same, the lowest with which the picture takes at most so many bytes; where none
  // does, one that leaves nothing.
  Slopes slopesFor(std::size_t bytes) const;

 private:
  struct Place {
    float slope;  // error saved for each byte since the place before; falls from place to place
    std::uint16_t passes;
  };

  const CodedPicture& picture_;
  std::vector<Place> places_;
  std::vector<std::size_t> first_;  // place of each block, and the end
  float steepest_ = 0, flattest_ = 0;
};

}  // namespace optimizer::jpx
