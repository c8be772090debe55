// Lossy coding to a look: the lowest quality whose picture, decoded again, still passes for the original.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/score.h"

namespace optimizer {

// What a lossy candidate must keep. Viewed at normal size (see viewingDpi): `structure`, `busy` and `worst`
// are the least allowed, `chroma` the most. `shown` is the least structure as common viewers show it, which
// is where their coarse reduction adds to the loss. At its own size the candidate must keep `closeUp` of its
// structure.
struct LookFloor {
  double structure, busy, worst, chroma, shown, closeUp;
};

// Normal viewing is a page at this resolution.
constexpr double viewingDpi = 100;

// Everything but `shown` and `closeUp`.
bool passes(const Look& look, const LookFloor& floor);

struct LookTarget {
  const LookReference& view;     // the original as it is looked at
  const LookReference& shown;    // the same, reduced as common viewers do
  const LookReference& closeUp;  // the pixels to be coded, at their own size
  LookFloor floor;
};

struct LookResult {
  std::optional<EncodedImage> image;
  bool tooLarge = false;  // there is none because of its size, not of its look
};

// JPEG of pixels at the lowest quality, not above `highest`, that passes the target and takes less than
// toBeat bytes.
LookResult encodeJpegForLook(const Pixels& pixels, const LookTarget& target, int highest, std::size_t toBeat);

}  // namespace optimizer
