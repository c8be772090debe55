// A JPEG encoder that takes fewer bytes than libjpeg's at the same look (ISO/IEC 10918-1). libjpeg only
// writes the coefficients; which ones, is decided here: quantisation tables of our own, and for every block
// the values that give the least of distortion plus price in bits, found by dynamic programming.
#pragma once

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

enum class ChromaSampling : std::uint8_t { full, half, quarter };  // 4:4:4, 4:2:2, 4:2:0

struct TrellisJpegOptions {
  int quality = 75;  // 1 to 100; near the look of libjpeg's encoder at the same number
  ChromaSampling chroma = ChromaSampling::full;
};

// Grey, RGB (coded as YCbCr) or CMYK (coded as YCCK with Adobe's marker, samples not inverted), 8 bits, sides
// up to 65500. Progressive or sequential by size, no JFIF marker. Deterministic. Errors: unsupported (other
// pixels), internal.
Result<Bytes> encodeTrellisJpeg(const Pixels& pixels, const TrellisJpegOptions& options);

}  // namespace optimizer
