#include "optimizer/image/press.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace optimizer {
namespace {

using Rgb = std::array<double, 3>;
using Inks = std::array<double, 4>;  // 0 to 1

// The sixteen overprints of full inks in sRGB (bit 0 cyan, 1 magenta, 2 yellow, 3 black). Between them a
// halftone shows each in the share of the paper that it covers (Neugebauer); mixing the coded values stands
// in for dot gain.
constexpr std::array<Rgb, 16> kOverprints = {{{255, 255, 255},
                                              {0, 174, 239},
                                              {236, 0, 140},
                                              {46, 49, 146},
                                              {255, 242, 0},
                                              {0, 166, 81},
                                              {237, 28, 36},
                                              {54, 54, 57},
                                              {35, 31, 32},
                                              {0, 18, 26},
                                              {34, 0, 9},
                                              {5, 3, 16},
                                              {29, 26, 0},
                                              {0, 17, 7},
                                              {32, 2, 2},
                                              {0, 0, 0}}};

Rgb printed(const Inks& inks) {
  Rgb color{};
  for (std::size_t overprint = 0; overprint < kOverprints.size(); ++overprint) {
    double share = 1;
    for (std::size_t ink = 0; ink < 4; ++ink) share *= overprint >> ink & 1 ? inks[ink] : 1 - inks[ink];
    for (std::size_t c = 0; c < 3; ++c) color[c] += share * kOverprints[overprint][c];
  }
  return color;
}

constexpr double kMostInk = 3.0;

// Each ink by itself acts linearly, so that its best amount beside the others follows directly; a few dozen
// rounds settle.
Inks separate(const Rgb& wanted) {
  const double common = 1 - std::max({wanted[0], wanted[1], wanted[2]}) / 255;
  // Black begins in the midtones: light colours stay free of its dots.
  Inks inks = {0, 0, 0, std::pow(std::clamp((common - 0.15) / 0.85, 0.0, 1.0), 1.3)};
  for (int round = 0; round < 60; ++round) {
    for (std::size_t ink = 0; ink < 3; ++ink) {
      Inks without = inks, with = inks;
      without[ink] = 0;
      with[ink] = 1;
      const Rgb from = printed(without), to = printed(with);
      double along = 0, length = 0;
      for (std::size_t c = 0; c < 3; ++c) {
        along += (wanted[c] - from[c]) * (to[c] - from[c]);
        length += (to[c] - from[c]) * (to[c] - from[c]);
      }
      inks[ink] = length > 0 ? std::clamp(along / length, 0.0, 1.0) : 0;
    }
  }
  const double colors = inks[0] + inks[1] + inks[2];
  if (colors + inks[3] > kMostInk) {
    for (std::size_t ink = 0; ink < 3; ++ink) inks[ink] *= (kMostInk - inks[3]) / colors;
  }
  return inks;
}

// Separations of a grid of colours.
constexpr int kSteps = 17;
constexpr double kStep = 255.0 / (kSteps - 1);

const std::vector<Inks>& separations() {
  static const std::vector<Inks> table = [] {
    std::vector<Inks> made;
    made.reserve(kSteps * kSteps * kSteps);
    for (int r = 0; r < kSteps; ++r) {
      for (int g = 0; g < kSteps; ++g) {
        for (int b = 0; b < kSteps; ++b) made.push_back(separate({r * kStep, g * kStep, b * kStep}));
      }
    }
    return made;
  }();
  return table;
}

std::uint8_t toByte(double value) {
  return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

}  // namespace

void pressToRgb(const std::uint8_t* cmyk, std::size_t count, std::uint8_t* rgb) {
  for (std::size_t i = 0; i < count; ++i) {
    const bool same = i > 0 && std::equal(cmyk + 4 * i, cmyk + 4 * i + 4, cmyk + 4 * i - 4);
    if (same) {
      std::copy_n(rgb + 3 * i - 3, 3, rgb + 3 * i);
      continue;
    }
    Inks inks;
    for (std::size_t ink = 0; ink < 4; ++ink) inks[ink] = cmyk[4 * i + ink] / 255.0;
    const Rgb color = printed(inks);
    for (std::size_t c = 0; c < 3; ++c) rgb[3 * i + c] = toByte(color[c]);
  }
}

void rgbToPress(const std::uint8_t* rgb, std::size_t count, std::uint8_t* cmyk) {
  const std::vector<Inks>& table = separations();
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0 && std::equal(rgb + 3 * i, rgb + 3 * i + 3, rgb + 3 * i - 3)) {
      std::copy_n(cmyk + 4 * i - 4, 4, cmyk + 4 * i);
      continue;
    }
    std::array<int, 3> cell{};
    std::array<double, 3> part{};
    for (std::size_t c = 0; c < 3; ++c) {
      const double at = rgb[3 * i + c] / kStep;
      cell[c] = std::min(static_cast<int>(at), kSteps - 2);
      part[c] = at - cell[c];
    }
    Inks inks{};
    for (int corner = 0; corner < 8; ++corner) {
      double share = 1;
      int index = 0;
      for (int c = 0; c < 3; ++c) {
        const int up = corner >> c & 1;
        const auto axis = static_cast<std::size_t>(c);
        share *= up != 0 ? part[axis] : 1 - part[axis];
        index = index * kSteps + cell[axis] + up;
      }
      if (share == 0) continue;
      for (std::size_t ink = 0; ink < 4; ++ink)
        inks[ink] += share * table[static_cast<std::size_t>(index)][ink];
    }
    for (std::size_t ink = 0; ink < 4; ++ink) cmyk[4 * i + ink] = toByte(255 * inks[ink]);
  }
}

}  // namespace optimizer
