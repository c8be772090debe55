// What an image is, measured on its pixels.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "optimizer/image/pixels.h"

namespace optimizer {

enum class ImageClass : std::uint8_t {
  bitonal,     // two levels, black and white
  synthetic,   // screenshots, charts, text rendered to pixels: flat areas, hard edges
  continuous,  // photographs, scans with paper and noise
};

// Thresholds of the classes, as shares of all pixels.
// A pixel is flat when it equals its left and its upper neighbour exactly: noise has hardly any such pixels.
constexpr double syntheticFlatShare = 0.35;
// Or when few colours make up everything; a dithered photograph takes all 256 of a palette.
constexpr std::size_t syntheticColors = 48;

struct ImageFacts {
  ImageClass kind = ImageClass::continuous;
  bool grey = false;     // RGB with equal channels everywhere, or grey
  bool uniform = false;  // one colour only
  double flatShare = 0;
  // Colours in order of first appearance, when there are 256 or fewer: channels bytes each.
  std::optional<Bytes> palette;
  std::size_t colors = 0;  // number of palette entries; 0 when there are more than 256
};

// pixels: 1 bit, or 8 bits of 1, 3 or 4 channels (other counts are continuous without a palette).
ImageFacts measureImage(const Pixels& pixels);

// False where colours change so sharply that a JPEG of half the colour resolution would bleed them into one another:
// coloured letters, not photographs. RGB of 8 bits; others survive.
bool chromaSurvivesHalving(const Pixels& pixels);
// The root mean square error, in levels of 255, that the colours may get by halving in any cell of 16 by 16 pixels.
constexpr double mostHalvingError = 9;

// The pixels as indexes of palette, which holds every colour that occurs.
Pixels indexByPalette(const Pixels& pixels, const Bytes& palette);

// The first channel of each pixel as grey.
Pixels firstChannel(const Pixels& pixels);

}  // namespace optimizer
