// The different colours of a picture, numbered as they come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace optimizer {

// A colour is its samples one after the other in the lower bits: 0xRRGGBB for RGB.
inline std::uint32_t colorKey(const std::uint8_t* sample, unsigned channels) {
  std::uint32_t key = 0;
  for (unsigned c = 0; c < channels; ++c) key = key << 8 | sample[c];
  return key;
}

class ColorTable {
 public:
  static constexpr std::uint32_t kNone = ~std::uint32_t{0};

  // The number of a colour; a new one where it is not known yet.
  std::uint32_t add(std::uint32_t color);
  // The number of a colour, or kNone.
  std::uint32_t find(std::uint32_t color) const;
  // All colours, by number.
  const std::vector<std::uint32_t>& colors() const { return colors_; }
  std::size_t size() const { return colors_.size(); }

 private:
  std::size_t placeOf(std::uint32_t color) const;

  std::vector<std::uint32_t> colors_;
  std::vector<std::uint32_t> slots_ = std::vector<std::uint32_t>(1024, kNone);  // numbers, by hash
};

}  // namespace optimizer
