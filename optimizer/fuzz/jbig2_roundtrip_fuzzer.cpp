// Whatever the picture, the JBIG2 and CCITT encoders' streams decode to it bit for bit.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/jbig2_decoder.h"
#include "optimizer/codec/jbig2_encoder.h"

namespace {

void check(const optimizer::Bitonal& picture, const optimizer::Result<optimizer::Bitonal>& read) {
  if (!read.ok() || read->width != picture.width || read->height != picture.height) __builtin_trap();
  for (int y = 0; y < picture.height; ++y)
    for (int x = 0; x < picture.width; ++x)
      if (picture.at(x, y) != read->at(x, y)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  // Two bytes choose the width, the rest are pixels; the last row repeats what there is.
  const int width = 1 + (data[0] | data[1] << 8) % 700;
  optimizer::Bitonal picture(width, 1);
  const std::size_t pixels = size - 2;
  const int height = static_cast<int>(std::clamp<std::size_t>(pixels / picture.stride, 1, 300));
  picture = optimizer::Bitonal(width, height);
  for (std::size_t i = 0; i < picture.bits.size(); ++i) picture.bits[i] = data[2 + i % pixels];
  check(picture, optimizer::decodeJbig2(optimizer::encodeJbig2(picture), {}, 1 << 20));
  check(picture, optimizer::decodeCcitt(optimizer::encodeCcittG4(picture),
                                        {.k = -1, .columns = width, .rows = height}, 1 << 20));
  return 0;
}
