// The forms that an image could take, and the one that wins.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/codec/flate.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/recode.h"

namespace optimizer {

// One way to code an image. Flate is only drafted at first: its strongest level costs more than all else.
struct Candidate {
  EncodedImage image;     // complete, but for the data of a draft
  PackedSamples samples;  // of a draft
  std::optional<FlateDraft> draft;
  bool sameSamples = false;  // see RecodedImage

  std::size_t estimate() const;
  void finish(int effort);  // codes a draft in earnest; effort: see encodeFlate
};

// Candidates without loss. All are drafts of Flate.
Candidate plainCandidate(const PackedSamples& samples);
Candidate plainCandidate(const Pixels& pixels);
// Grey in the fewest bits that hold its levels exactly; levels: all that occur, where that is known.
Candidate greyCandidate(const Pixels& grey, const std::optional<Bytes>& levels);
// Indexes into palette, which has channels bytes a colour, in the fewest bits.
Candidate indexedCandidate(const Pixels& indexes, const Bytes& palette, unsigned channels,
                           ColorKind paletteKind);

// The depth, 1, 2, 4 or 8, in which grey levels can be told exactly.
unsigned bitsForLevels(const Bytes& levels);
// The same colours by brightness: neighbouring shades get neighbouring indexes, which codes better.
Bytes sortedPalette(const Bytes& palette, unsigned channels);

// Compares candidates as they come.
class Choice {
 public:
  // stored: what the image takes now. effort: for drafts that win, see encodeFlate.
  Choice(std::size_t stored, int effort) : stored_(stored), effort_(effort) {}

  // Ties go to the earlier one: callers offer the simpler coding first.
  void offer(Candidate candidate);

  // The smallest size known without loss, the present one included.
  std::size_t losslessSize() const;
  // The smallest size with loss; infinite where there is none.
  double lossySize() const;
  // What a lossy form must stay below to win, `advantage` as for take.
  std::size_t lossyBudget(double advantage) const;

  // The best of all: a lossy one only where it is below `advantage` times the best lossless size; nothing
  // where nothing is smaller than what is stored.
  std::optional<RecodedImage> take(double advantage);

 private:
  RecodedImage finished(Candidate candidate) const;

  std::size_t stored_;
  int effort_;
  std::optional<Candidate> lossless_, lossy_;
};

}  // namespace optimizer
