// Whatever the picture and the size asked for, a decoder reads what the lossy encoder writes and shows what
// it foretold.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "optimizer/codec/jpx.h"
#include "optimizer/codec/jpx_coding.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 6) return 0;
  const auto width = static_cast<std::uint32_t>(1 + (data[0] | data[1] << 8) % 400);
  const unsigned channels = data[2] % 2 == 0 ? 1 : 3;
  const std::size_t most = std::size_t{data[3]} * data[3], bytes = most * data[4] / 255, samples = size - 5;
  const auto height =
      static_cast<std::uint32_t>(std::clamp<std::size_t>(samples / (width * channels), 1, 200));
  optimizer::Pixels pixels(width, height, channels,
                           channels == 1 ? optimizer::ColorKind::grey : optimizer::ColorKind::rgb);
  for (std::size_t i = 0; i < pixels.samples().size(); ++i) pixels.samples()[i] = data[5 + i % samples];
  auto coding = optimizer::JpxCoding::begin(pixels, most);
  if (!coding.ok()) __builtin_trap();
  const auto cuts = coding->cutTo(bytes);
  const auto image = coding->encoded(cuts);
  if (image.data.size() > std::max<std::size_t>(bytes, 250)) __builtin_trap();
  const auto read = optimizer::decodeJpx(image.data);
  const auto shown = coding->shown(cuts);
  if (!read.ok() || read->samples().size() != shown.samples().size()) __builtin_trap();
  for (std::size_t i = 0; i < shown.samples().size(); ++i)
    if (std::abs(int{shown.samples()[i]} - int{read->samples()[i]}) > 1) __builtin_trap();
  return 0;
}
