// JPEG 2000 through OpenJPEG (ISO/IEC 15444-1; ISO 32000-1, 7.4.9).
#pragma once

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// Decodes a JP2 file or a bare codestream of 1, 3 or 4 unsigned components of at most 8 bits, equally
// sampled. Palettes, opacity channels, YCC and other depths are unsupported: such an image is better left
// alone. halvings: of the sides, rounded up, each of which leaves out three quarters of what is to be decoded; not more
// than the wavelet has levels. Errors: damaged, unsupported, limit.
Result<Pixels> decodeJpx(ByteView data, unsigned halvings = 0);

// Lossy coding (irreversible wavelet) of 8-bit grey or RGB in a JP2 file to about the given size in bytes, or
// lossless (reversible) where bytes is 0.
Result<EncodedImage> encodeJpx(const Pixels& pixels, std::size_t bytes);

}  // namespace optimizer
