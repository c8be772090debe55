// CCITT data of every kind: the first bytes choose the decode parameters.
#include <cstddef>
#include <cstdint>

#include "optimizer/codec/ccitt.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  optimizer::CcittParams params;
  params.k = data[0] % 3 - 1;
  params.encodedByteAlign = data[0] & 4;
  params.endOfLine = data[0] & 8;
  params.endOfBlock = !(data[0] & 16);
  params.columns = 1 + (data[1] | data[2] << 8) % 6000;
  params.rows = data[3];
  const auto picture = optimizer::decodeCcitt({data + 4, size - 4}, params, 1 << 20);
  if (picture.ok() && picture->bits.size() != picture->stride * static_cast<std::size_t>(picture->height))
    __builtin_trap();
  return 0;
}
