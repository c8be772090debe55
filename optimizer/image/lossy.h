// Lossy coding to a look: the lowest quality whose picture, decoded again, still passes for the original.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/score.h"

namespace optimizer {

// What a lossy candidate must keep. Viewed at normal size (see viewingDpi): `structure`, `busy` and `worst`
// are the least allowed, `chroma` and `tone` the most. `shown` is the least structure as common viewers show it, which
// is where their coarse reduction adds to the loss. At its own size the candidate must keep `closeUp` of its
// structure.
struct LookFloor {
  double structure, busy, worst, chroma, shown, closeUp;
  double tone = 3;
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

// The lowest quality at which a JPEG of pixels keeps the look, found by drafts. What it is given must outlive it.
class JpegSearch {
 public:
  // highest: of the qualities to be tried. toBeat: bytes; what takes as many is of no use.
  JpegSearch(const Pixels& pixels, const LookTarget& target, int highest, std::size_t toBeat);

  bool found() const { return outcome_ == Outcome::found; }
  bool tooLarge() const { return outcome_ == Outcome::tooLarge; }
  // Once found: bounds of what the JPEG takes, which hold nearly always.
  std::size_t leastBytes() const;
  std::size_t mostBytes() const { return draftBytes_; }
  // Once found: the JPEG. The encoder that keeps is another than the draft's, so it may take a higher quality.
  LookResult encode() const;

 private:
  enum class Outcome : std::uint8_t { found, tooLarge, unlike };
  struct Trial {
    bool view = false, color = false, near = false;
    bool tooLarge = false;  // even where it passes
    double excess = 0;      // how many times the loss is above what the floor allows of it; 0 where it is not known
    bool passed() const { return view && color && near; }
  };
  static Trial judge(const EncodedImage& coded, const LookTarget& target);
  Trial attempt(std::size_t rung);
  Outcome descend();

  const Pixels& pixels_;
  const LookTarget& target_;
  const std::size_t toBeat_;
  std::size_t count_ = 0;  // of the rungs of qualities to be tried
  bool subsample_ = false;
  std::size_t rung_ = 0;        // the one found
  std::size_t draftBytes_ = 0;  // what its draft took
  Outcome outcome_;
};

// JPEG of pixels at the lowest quality, not above `highest`, that passes the target and takes less than
// toBeat bytes.
LookResult encodeJpegForLook(const Pixels& pixels, const LookTarget& target, int highest, std::size_t toBeat);

}  // namespace optimizer
