#include "optimizer/codec/jpx_picture.h"

#include <algorithm>
#include <cmath>

namespace optimizer::jpx {
namespace {

constexpr unsigned mostLevels = 5;
constexpr std::uint32_t leastSide = 16;  // of the lowest band, where the picture is larger
constexpr unsigned sampleBits = 8;

std::uint32_t lowSide(std::uint32_t side, unsigned level) {
  return static_cast<std::uint32_t>((std::uint64_t{side} + (std::uint64_t{1} << level) - 1) >> level);
}

}  // namespace

Layout layoutOf(std::uint32_t width, std::uint32_t height, unsigned components) {
  Layout layout{width, height, components, 0, {}, 0};
  while (layout.levels < mostLevels && std::max(width, height) >> layout.levels > leastSide) ++layout.levels;
  const auto add = [&](unsigned component, unsigned resolution, bool highAcross, bool highDown) {
    Band band{component, resolution};
    band.level = resolution == 0 ? layout.levels : layout.levels + 1 - resolution;
    band.highAcross = highAcross;
    band.highDown = highDown;
    const std::uint32_t lowWidth = lowSide(width, band.level), lowHeight = lowSide(height, band.level);
    band.left = highAcross ? lowWidth : 0;
    band.top = highDown ? lowHeight : 0;
    band.width = highAcross ? lowSide(width, band.level - 1) - lowWidth : lowWidth;
    band.height = highDown ? lowSide(height, band.level - 1) - lowHeight : lowHeight;
    band.firstBlock = layout.blocks;
    band.blocksAcross = (band.width + blockSide - 1) / blockSide;
    band.blocksDown = (band.height + blockSide - 1) / blockSide;
    layout.blocks += std::size_t{band.blocksAcross} * band.blocksDown;
    layout.bands.push_back(band);
  };
  for (unsigned resolution = 0; resolution <= layout.levels; ++resolution) {
    for (unsigned component = 0; component < components; ++component) {
      if (resolution == 0) {
        add(component, 0, false, false);
        continue;
      }
      add(component, resolution, true, false);
      add(component, resolution, false, true);
      add(component, resolution, true, true);
    }
  }
  return layout;
}

// Before any level a step is base = 2^(8 - exponent) (1 + mantissa / 2^11) (equation E-3). A level less makes
// it half, which is how the norms of the bands fall.
Quantiser::Quantiser(double base, unsigned levels) : levels_(levels) {
  const double bounded = std::clamp(base, 0x1p-8, 0x1p6);
  int power = std::ilogb(bounded);
  mantissa_ = static_cast<unsigned>(std::lround((std::ldexp(bounded, -power) - 1) * 2048));
  if (mantissa_ == 2048) {
    mantissa_ = 0;
    ++power;
  }
  exponent_ = static_cast<unsigned>(static_cast<int>(sampleBits) - power);
}

double Quantiser::base() const {
  return std::ldexp(1 + mantissa_ / 2048.0, static_cast<int>(sampleBits) - static_cast<int>(exponent_));
}

float Quantiser::stepOf(const Band& band) const {
  const int gain = (band.highAcross ? 1 : 0) + (band.highDown ? 1 : 0);
  return static_cast<float>(std::ldexp(base(), gain - static_cast<int>(band.level)));
}

}  // namespace optimizer::jpx
