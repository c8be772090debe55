#include "optimizer/image/color_key.h"

#include <algorithm>
#include <functional>

#include "optimizer/image/decode.h"

namespace optimizer {
namespace {

// The i-th sample of a row.
unsigned sampleAt(const std::uint8_t* row, std::size_t i, unsigned bits) {
  if (bits == 8) return row[i];
  if (bits == 16) return static_cast<unsigned>(row[2 * i] << 8 | row[2 * i + 1]);
  const std::size_t at = i * bits;
  return (row[at >> 3] >> (8 - bits - (at & 7))) & ((1u << bits) - 1);
}

}  // namespace

std::optional<Pixels> stencilOfColorKey(const ImageSource& source, const std::vector<int>& ranges) {
  const unsigned components = source.color.components;
  if (ranges.size() != std::size_t{components} * 2 ||
      std::any_of(ranges.begin(), ranges.end(), [](int bound) { return bound < 0; })) {
    return std::nullopt;
  }
  Bytes samples;
  std::size_t stride = 0;
  unsigned bits = 8;
  if (source.coding == ImageCoding::raw || source.coding == ImageCoding::flate) {
    Result<PackedSamples> packed = decodeSamples(source);
    if (!packed) return std::nullopt;
    samples = std::move(packed->samples);
    stride = packed->stride;
    bits = packed->bits;
  } else {
    ImageSource stored = source;
    stored.decode.clear();
    Result<Pixels> pixels = decodeImage(stored);
    if (!pixels || pixels->bits() != 8 || pixels->channels() != components) return std::nullopt;
    stride = pixels->stride();
    samples = std::move(pixels->samples());
  }
  Pixels stencil(source.width, source.height, 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < source.height; ++y) {
    const std::uint8_t* row = samples.data() + stride * y;
    for (std::uint32_t x = 0; x < source.width; ++x) {
      bool hidden = true;
      for (unsigned c = 0; c < components && hidden; ++c) {
        const unsigned sample = sampleAt(row, std::size_t{x} * components + c, bits);
        hidden = sample >= static_cast<unsigned>(ranges[2 * c]) &&
                 sample <= static_cast<unsigned>(ranges[2 * c + 1]);
      }
      if (hidden) stencil.setBit(x, y, true);
    }
  }
  return stencil;
}

}  // namespace optimizer
