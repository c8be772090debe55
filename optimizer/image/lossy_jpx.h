// JPEG 2000 where it does clearly better than JPEG.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// The smallest JPEG 2000 that passes the target and takes at most so many bytes; nothing where none does.
// pixels: grey or RGB, 8 bits.
std::optional<EncodedImage> encodeJpxForLook(const Pixels& pixels, const LookTarget& target,
                                             std::size_t mostBytes);

// The smallest that looks no worse than the JPEG of the same pixels does, at their own size.
std::optional<EncodedImage> encodeJpxLike(const Pixels& pixels, const EncodedImage& jpeg,
                                          std::size_t mostBytes);

// One of at most so many bytes, whatever it looks like.
std::optional<EncodedImage> encodeJpxOf(const Pixels& pixels, std::size_t mostBytes);

// How many times the losses of a picture are above what may be lost, of its structure and of its colours: up
// to 1 they pass.
struct Loss {
  double structure = 0, chroma = 0;
  bool passes() const { return structure <= 1 && chroma <= 1; }
};
Loss lossOf(const Look& look, const LookFloor& floor);

// The smallest that passes, of at most so many bytes.
using LossJudge = std::function<Loss(const Pixels& shown)>;
std::optional<EncodedImage> smallestJpx(const Pixels& pixels, std::size_t mostBytes, const LossJudge& judge);

}  // namespace optimizer
