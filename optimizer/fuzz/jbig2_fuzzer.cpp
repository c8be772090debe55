// JBIG2 streams as a hostile file holds them: the decoder returns, in bounds of time and memory. The first
// byte says how much of the rest is global segments.
#include <cstddef>
#include <cstdint>

#include "optimizer/codec/jbig2_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const optimizer::ByteView rest(data + 1, size - 1);
  const std::size_t globals = rest.size() * data[0] / 512;
  const auto page = optimizer::decodeJbig2(rest.subspan(globals), rest.first(globals), 1 << 20);
  if (page.ok() && page->bits.size() != page->stride * static_cast<std::size_t>(page->height))
    __builtin_trap();
  return 0;
}
