// Baseline and progressive JPEG through libjpeg-turbo (ISO/IEC 10918-1; ISO 32000-1, 7.4.8). Its longjmp ends
// here.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/codec.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

struct JpegInfo {
  std::uint32_t width = 0, height = 0;
  unsigned components = 0;  // 1, 3 or 4
  bool progressive = false;
  bool chromaSubsampled = false;
  // 1 to 100 on the scale of the IJG encoder, estimated from the luma quantisation table.
  int quality = 0;
};

// Reads the header only. Errors: damaged, unsupported (12 bits, lossless, 2 components), limit.
Result<JpegInfo> readJpegInfo(ByteView data);

// Decodes to 8-bit grey, RGB or CMYK samples exactly as a PDF reader gets them, before any Decode array.
// colorTransform is the value of /ColorTransform in the decode parameters, if any; an Adobe marker in the
// data overrides it. Truncated or corrupt data is an error (damaged), even where a viewer would show a part
// of it. reduce, 1, 2, 4 or 8: divides both sides, rounded up; far fewer bytes and less time than reducing
// afterwards.
Result<Pixels> decodeJpeg(ByteView data, std::optional<int> colorTransform = {}, unsigned reduce = 1);

struct JpegOptions {
  int quality = 75;              // 1 to 100, IJG scale
  bool subsampleChroma = false;  // 4:2:0; colour only
  // A quick sequential encoding with fixed Huffman tables, for judging a quality rather than for keeping.
  bool draft = false;
};

// Grey, RGB (coded as YCbCr) or CMYK (coded as YCCK), 8 bits, without markers that PDF does not need; other
// than as a draft by our own encoder (see jpeg_trellis.h), whose quality keeps about the same look.
Result<EncodedImage> encodeJpeg(const Pixels& pixels, const JpegOptions& options);

// The same coefficients in the fewest bytes: optimized Huffman tables, progressive where that is smaller, no
// application markers but Adobe's. Decodes to the very same samples.
Result<Bytes> optimizeJpeg(ByteView data);

// A rectangle of pixels: [left, left + width) x [top, top + height).
struct JpegRegion {
  std::uint32_t left = 0, top = 0, width = 0, height = 0;
};

// The same coefficients for a part of the picture only; its pixels decode to what they were, but for chroma
// at the new edges. region lies inside the picture, left and top on its grid of blocks (multiples of 8 times
// the largest sampling factors), else the error is unsupported.
Result<Bytes> cropJpeg(ByteView data, const JpegRegion& region);
// The picture in its size, with every block that has no pixel of region made uniform.
Result<Bytes> blankJpeg(ByteView data, const JpegRegion& region);

}  // namespace optimizer
