// JPEG 2000 where it does clearly better than JPEG.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// JPEG 2000 in about so many bytes that passes the target; nothing where it does not. pixels: grey or RGB, 8
// bits.
std::optional<EncodedImage> encodeJpxForLook(const Pixels& pixels, const LookTarget& target,
                                             std::size_t bytes);

// JPEG 2000 in about so many bytes that looks no worse than the JPEG of the same pixels does, at their own
// size.
std::optional<EncodedImage> encodeJpxLike(const Pixels& pixels, const EncodedImage& jpeg, std::size_t bytes);

// The same whatever it looks like.
std::optional<EncodedImage> encodeJpxOf(const Pixels& pixels, std::size_t bytes);

}  // namespace optimizer
