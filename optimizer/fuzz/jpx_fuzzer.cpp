// JPEG 2000 files as a hostile document holds them.
#include <cstddef>
#include <cstdint>

#include "optimizer/codec/jpx.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto pixels = optimizer::decodeJpx({data, size});
  if (pixels.ok() && pixels->samples().size() != pixels->stride() * pixels->height()) __builtin_trap();
  return 0;
}
