// JPEG files as a hostile document holds them: read, re-optimised without loss, and coded again.
#include <cstddef>
#include <cstdint>

#include "optimizer/codec/jpeg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const optimizer::ByteView file(data, size);
  const auto info = optimizer::readJpegInfo(file);
  if (!info.ok() || std::uint64_t{info->width} * info->height > 1 << 20) return 0;
  const auto pixels = optimizer::decodeJpeg(file);
  const auto smaller = optimizer::optimizeJpeg(file);
  if (!pixels.ok()) return 0;
  if (smaller.ok()) {
    // What is called lossless is.
    const auto again = optimizer::decodeJpeg(*smaller);
    if (!again.ok() || *again != *pixels) __builtin_trap();
  }
  if (pixels->pixelCount() > 1 << 16) return 0;
  const auto coded = optimizer::encodeJpeg(
      *pixels, {.quality = 1 + static_cast<int>(size % 100), .subsampleChroma = size % 2 != 0});
  if (!coded.ok()) __builtin_trap();
  const auto shown = optimizer::decodeJpeg(coded->data);
  if (!shown.ok() || shown->width() != pixels->width() || shown->channels() != pixels->channels())
    __builtin_trap();
  return 0;
}
