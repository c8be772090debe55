// From the stored bytes of an image to its pixels.
#pragma once

#include <cstdint>

#include "optimizer/base/result.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/source.h"

namespace optimizer {

// The pixels after the Decode array: 1 bit for bitonal grey and stencils, 8 bits otherwise (16 bits lose
// their lower byte, 2 and 4 bits are spread to 0…255), palette indexes for indexed images. reduce: the
// largest whole factor by which both sides may be divided while decoding, by averaging; it is used only where
// the whole image would be large; a JPEG is then divided by the largest power of two up to 8 in it. Errors:
// damaged, unsupported, limit.
Result<Pixels> decodeImage(const ImageSource& source, std::uint32_t reduce = 1);

// The stored samples of a raw or Flate image just as they are, whatever they mean.
Result<PackedSamples> decodeSamples(const ImageSource& source);

// Indexes to the colours of their palette. Indexes beyond it take the last colour.
Pixels applyPalette(const Pixels& indexes, const ImageColorSpace& space);

// What decoding this image takes at its peak, in bytes.
std::size_t decodedBytes(const ImageSource& source);

}  // namespace optimizer
