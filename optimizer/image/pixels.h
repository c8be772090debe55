// The pixel buffer that decoders fill, image work transforms and encoders read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "optimizer/base/bytes.h"

namespace optimizer {

// What the channels of a pixel mean. The samples are those of the PDF image after its Decode array, so 0 is
// black for grey and RGB, and no ink for CMYK. `other` stands for components that only their own colour space
// explains (Separation, DeviceN, Lab); they may be resampled, never converted.
enum class ColorKind : std::uint8_t { grey, rgb, cmyk, indexed, other };

// Rows of samples, top row first. 8 bits: channels interleaved, one byte each. 1 bit: one channel, packed
// with the leftmost pixel in the highest bit, 0 black and 1 white (ISO 32000-1, 8.9.5.2, DeviceGray); the
// unused bits at the end of a row are zero. A row takes stride() bytes, which has no padding beyond the last
// byte it needs.
class Pixels {
 public:
  Pixels() = default;
  // All samples zero. width, height: 1 or more; channels: 1 to 32; bits: 1 (one channel only) or 8. The
  // caller checks sizes against its limits first (see fitsPixelLimit).
  Pixels(std::uint32_t width, std::uint32_t height, unsigned channels, ColorKind kind, unsigned bits = 8)
      : width_(width),
        height_(height),
        channels_(channels),
        bits_(bits),
        kind_(kind),
        stride_(bits == 1 ? (std::size_t{width} + 7) / 8 : std::size_t{width} * channels),
        samples_(stride_ * height) {}

  std::uint32_t width() const { return width_; }
  std::uint32_t height() const { return height_; }
  unsigned channels() const { return channels_; }
  unsigned bits() const { return bits_; }
  ColorKind kind() const { return kind_; }
  void setKind(ColorKind kind) { kind_ = kind; }
  std::size_t stride() const { return stride_; }
  bool empty() const { return samples_.empty(); }
  std::uint64_t pixelCount() const { return std::uint64_t{width_} * height_; }

  std::uint8_t* row(std::uint32_t y) { return samples_.data() + stride_ * y; }
  const std::uint8_t* row(std::uint32_t y) const { return samples_.data() + stride_ * y; }
  Bytes& samples() { return samples_; }
  const Bytes& samples() const { return samples_; }

  // One pixel of a 1-bit buffer.
  bool bit(std::uint32_t x, std::uint32_t y) const { return (row(y)[x >> 3] >> (7 - (x & 7))) & 1; }
  void setBit(std::uint32_t x, std::uint32_t y, bool white) {
    const auto mask = static_cast<std::uint8_t>(0x80 >> (x & 7));
    std::uint8_t& byte = row(y)[x >> 3];
    byte = static_cast<std::uint8_t>(white ? byte | mask : byte & ~mask);
  }

  bool operator==(const Pixels&) const = default;

 private:
  std::uint32_t width_ = 0, height_ = 0;
  unsigned channels_ = 0, bits_ = 8;
  ColorKind kind_ = ColorKind::grey;
  std::size_t stride_ = 0;
  Bytes samples_;
};

// Beyond these an image is left as it is: no decoder is fed with it.
constexpr std::uint32_t maxImageSide = 65500;
constexpr std::uint64_t maxImageBytes = std::uint64_t{192} << 20;  // of decoded samples

constexpr bool fitsPixelLimit(std::uint64_t width, std::uint64_t height, unsigned channels, unsigned bits) {
  return width > 0 && height > 0 && channels > 0 && channels <= 32 && width <= maxImageSide &&
         height <= maxImageSide && (width * channels * bits + 7) / 8 * height <= maxImageBytes;
}

// 1 bit to 8 bits grey, 0 and 255. An 8-bit buffer comes back as it is.
Pixels expandTo8Bits(const Pixels& pixels);
// 8-bit grey to 1 bit: samples below threshold become black.
Pixels thresholdTo1Bit(const Pixels& grey, unsigned threshold = 128);
// 1 bit: black for white and white for black.
Pixels inverted(Pixels bitonal);
// The luma of each pixel as 8-bit grey: RGB by Rec. 601, CMYK as viewers without a profile show it, other
// kinds by the mean of their channels (inverted: more ink is darker).
Pixels lumaOf(const Pixels& pixels);
// The rectangle [left, left + width) x [top, top + height), which must lie inside.
Pixels crop(const Pixels& pixels, std::uint32_t left, std::uint32_t top, std::uint32_t width,
            std::uint32_t height);

}  // namespace optimizer
