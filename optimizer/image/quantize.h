// A palette for an image of many colours, for charts and screenshots whose colours are mostly shades of
// edges.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/image/color_table.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

struct QuantizedImage {
  Pixels indexes;  // kind indexed
  Bytes palette;   // channels bytes a colour
};

// The colours of a picture, counted once for palettes of any size. Grey or RGB, 8 bits. It refers to the
// picture.
class Quantizer {
 public:
  explicit Quantizer(const Pixels& pixels);

  // At most `colors` (2 to 256) colours, chosen by median cut over the colours that occur and refined by
  // k-means; each pixel takes the nearest, without dithering. Deterministic.
  QuantizedImage reduceTo(std::size_t colors) const;

 private:
  using Color = std::array<std::uint8_t, 3>;
  // Colours that occur or, where they are many, that stand for those that share their upper bits.
  struct Entry {
    Color color{};
    std::uint64_t count = 0;
  };
  struct Box;
  struct Centers;
  static void measure(const std::vector<Entry>& entries, Box& box);
  static Centers medianCut(std::vector<Entry> entries, std::size_t colors);
  void refine(Centers& centers) const;

  const Pixels& pixels_;
  ColorTable exact_;
  std::vector<Entry> entries_;
};

}  // namespace optimizer
