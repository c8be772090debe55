#include "optimizer/image/pixels.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"

namespace optimizer {

Pixels expandTo8Bits(const Pixels& pixels) {
  if (pixels.bits() == 8) return pixels;
  using Eight = std::array<std::uint8_t, 8>;
  static const std::array<Eight, 256> samplesOf = [] {
    std::array<Eight, 256> table{};
    for (unsigned byte = 0; byte < 256; ++byte)
      for (unsigned x = 0; x < 8; ++x) table[byte][x] = byte >> (7 - x) & 1 ? 255 : 0;
    return table;
  }();
  Pixels grey(pixels.width(), pixels.height(), 1, ColorKind::grey);
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    const std::uint8_t* in = pixels.row(y);
    std::uint8_t* out = grey.row(y);
    for (std::uint32_t x = 0; x < pixels.width(); x += 8)
      std::copy_n(samplesOf[in[x >> 3]].data(), std::min(8u, pixels.width() - x), out + x);
  }
  return grey;
}

Pixels thresholdTo1Bit(const Pixels& grey, unsigned threshold) {
  Pixels bitonal(grey.width(), grey.height(), 1, ColorKind::grey, 1);
  for (std::uint32_t y = 0; y < grey.height(); ++y) {
    const std::uint8_t* in = grey.row(y);
    std::uint8_t* out = bitonal.row(y);
    for (std::uint32_t x = 0; x < grey.width(); ++x) {
      out[x >> 3] = static_cast<std::uint8_t>(out[x >> 3] | ((in[x] >= threshold) << (7 - (x & 7))));
    }
  }
  return bitonal;
}

Pixels lumaOf(const Pixels& pixels) {
  if (pixels.bits() == 1) return expandTo8Bits(pixels);
  if (pixels.kind() == ColorKind::grey || pixels.kind() == ColorKind::indexed) return pixels;
  Pixels luma(pixels.width(), pixels.height(), 1, ColorKind::grey);
  const unsigned channels = pixels.channels();
  if (pixels.kind() == ColorKind::rgb) {
    constexpr std::size_t enough = 256 << 10;  // to be worth a thread's while
    inParts(0, luma.samples().size(), enough, [&](std::size_t begin, std::size_t end) {
      vectorised([&]() OPTIMIZER_LOOP {
        const std::uint8_t* in = pixels.samples().data();
        std::uint8_t* out = luma.samples().data();
        for (std::size_t i = begin, n = end; i < n; ++i) {
          out[i] = static_cast<std::uint8_t>(
              (77u * in[3 * i] + 150u * in[3 * i + 1] + 29u * in[3 * i + 2] + 128) >> 8);
        }
      });
    });
    return luma;
  }
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    const std::uint8_t* in = pixels.row(y);
    std::uint8_t* out = luma.row(y);
    for (std::uint32_t x = 0; x < pixels.width(); ++x, in += channels) {
      if (pixels.kind() == ColorKind::cmyk) {
        const unsigned light =
            (77u * (255u - in[0]) + 150u * (255u - in[1]) + 29u * (255u - in[2]) + 128) >> 8;
        out[x] = static_cast<std::uint8_t>(light * (255u - in[3]) / 255);
      } else {
        unsigned sum = 0;
        for (unsigned c = 0; c < channels; ++c) sum += in[c];
        out[x] = static_cast<std::uint8_t>(255 - sum / channels);
      }
    }
  }
  return luma;
}

Pixels inverted(Pixels bitonal) {
  const std::uint32_t spare = bitonal.width() % 8;
  const auto tail = static_cast<std::uint8_t>(spare == 0 ? 0xFF : 0xFF << (8 - spare));
  for (std::uint32_t y = 0; y < bitonal.height(); ++y) {
    std::uint8_t* row = bitonal.row(y);
    for (std::size_t i = 0; i < bitonal.stride(); ++i) row[i] = static_cast<std::uint8_t>(~row[i]);
    row[bitonal.stride() - 1] &= tail;
  }
  return bitonal;
}

Pixels crop(const Pixels& pixels, std::uint32_t left, std::uint32_t top, std::uint32_t width,
            std::uint32_t height) {
  Pixels part(width, height, pixels.channels(), pixels.kind(), pixels.bits());
  for (std::uint32_t y = 0; y < height; ++y) {
    if (pixels.bits() == 8) {
      std::memcpy(part.row(y), pixels.row(top + y) + std::size_t{left} * pixels.channels(), part.stride());
    } else {
      for (std::uint32_t x = 0; x < width; ++x) part.setBit(x, y, pixels.bit(left + x, top + y));
    }
  }
  return part;
}

}  // namespace optimizer
