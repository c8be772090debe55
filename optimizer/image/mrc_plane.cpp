#include "optimizer/image/mrc_plane.h"

#include <algorithm>
#include <cmath>

namespace optimizer {

Plane channelOf(const Pixels& pixels, unsigned channel) {
  Plane plane(pixels.width(), pixels.height());
  for (std::size_t i = 0; i < plane.values.size(); ++i)
    plane.values[i] = pixels.samples()[i * pixels.channels() + channel];
  return plane;
}

void putChannel(const Plane& plane, Pixels& pixels, unsigned channel) {
  for (std::size_t i = 0; i < plane.values.size(); ++i)
    pixels.samples()[i * pixels.channels() + channel] =
        static_cast<std::uint8_t>(std::clamp(plane.values[i] + 0.5f, 0.0f, 255.0f));
}

namespace {

// The target pixel of each source column or row; a source pixel on a border goes to the target that holds its
// centre.
std::vector<std::uint32_t> targets(std::uint32_t from, std::uint32_t to) {
  std::vector<std::uint32_t> map(from);
  for (std::uint32_t i = 0; i < from; ++i)
    map[i] = static_cast<std::uint32_t>((std::uint64_t{2} * i + 1) * to / (std::uint64_t{2} * from));
  return map;
}

// Where a value lies between two of another size.
struct Tap {
  std::size_t first, second;
  float share;  // of the second
};

std::vector<Tap> tapsOf(std::uint32_t from, std::uint32_t to) {
  std::vector<Tap> list(to);
  for (std::uint32_t i = 0; i < to; ++i) {
    const double place = std::clamp((i + 0.5) * from / to - 0.5, 0.0, static_cast<double>(from - 1));
    const auto first = static_cast<std::size_t>(place);
    list[i] = {first, std::min<std::size_t>(first + 1, from - 1),
               static_cast<float>(place - static_cast<double>(first))};
  }
  return list;
}

float valueAt(const Plane& plane, const Tap& column, const Tap& row) {
  const float* above = plane.values.data() + row.first * plane.width;
  const float* below = plane.values.data() + row.second * plane.width;
  const float top = above[column.first] + (above[column.second] - above[column.first]) * column.share;
  const float bottom = below[column.first] + (below[column.second] - below[column.first]) * column.share;
  return top + (bottom - top) * row.share;
}

// Means of what is known in two by two places.
WeightedPlane halved(const WeightedPlane& fine) {
  const std::uint32_t w = fine.values.width, h = fine.values.height;
  WeightedPlane coarse{Plane((w + 1) / 2, (h + 1) / 2), Plane((w + 1) / 2, (h + 1) / 2)};
  float *value = coarse.values.values.data(), *weight = coarse.weights.values.data();
  for (std::uint32_t y = 0; y < h; y += 2)
    for (std::uint32_t x = 0; x < w; x += 2, ++value, ++weight) {
      float sum = 0, weights = 0;
      for (std::uint32_t row = y; row < std::min(y + 2, h); ++row)
        for (std::size_t i = std::size_t{row} * w + x; i < std::size_t{row} * w + std::min(x + 2, w); ++i) {
          sum += fine.values.values[i] * fine.weights.values[i];
          weights += fine.weights.values[i];
        }
      if (weights <= 0) continue;
      *value = sum / weights;
      *weight = std::min(weights, 1.0f);
    }
  return coarse;
}

// Gives the target's gaps the values of a coarser level.
void fillFrom(const Plane& coarse, WeightedPlane& target) {
  const std::uint32_t width = target.values.width, height = target.values.height;
  const std::vector<Tap> columns = tapsOf(coarse.width, width), rows = tapsOf(coarse.height, height);
  for (std::uint32_t y = 0; y < height; ++y) {
    float* values = target.values.values.data() + std::size_t{y} * width;
    const float* weights = target.weights.values.data() + std::size_t{y} * width;
    for (std::uint32_t x = 0; x < width; ++x)
      if (weights[x] <= 0) values[x] = valueAt(coarse, columns[x], rows[y]);
  }
}

}  // namespace

WeightedPlane meanOfInk(const Pixels& pixels, unsigned channel, const Bitonal& ink, std::uint32_t width,
                        std::uint32_t height) {
  WeightedPlane mean{Plane(width, height), Plane(width, height)};
  const auto columns = targets(pixels.width(), width), rows = targets(pixels.height(), height);
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    const std::uint8_t* bits = ink.row(static_cast<int>(y));
    const std::uint8_t* samples = pixels.row(y);
    const std::size_t base = std::size_t{rows[y]} * width;
    for (std::uint32_t x = 0; x < pixels.width(); ++x) {
      if (bits[x >> 3] == 0) {
        x |= 7;
        continue;
      }
      if (!(bits[x >> 3] >> (7 - (x & 7)) & 1)) continue;
      mean.values.values[base + columns[x]] += samples[std::size_t{x} * pixels.channels() + channel];
      mean.weights.values[base + columns[x]] += 1;
    }
  }
  for (std::size_t i = 0; i < mean.values.values.size(); ++i) {
    float& weight = mean.weights.values[i];
    if (weight <= 0) continue;
    mean.values.values[i] /= weight;
    weight = 1;
  }
  return mean;
}

void fillGaps(WeightedPlane& plane) {
  // Down: each coarser level holds the means of what is known; up: gaps take the coarser level's values,
  // smoothly.
  std::vector<WeightedPlane> levels;
  const WeightedPlane* fine = &plane;
  while (fine->values.width > 1 || fine->values.height > 1) {
    levels.push_back(halved(*fine));
    fine = &levels.back();
  }
  for (std::size_t i = levels.size(); i-- > 0;) {
    WeightedPlane& target = i == 0 ? plane : levels[i - 1];
    fillFrom(levels[i].values, target);
  }
}

Bitonal eroded(const Bitonal& picture) {
  Bitonal inside(picture.width, picture.height);
  for (int y = 1; y + 1 < picture.height; ++y) {
    const std::uint8_t *above = picture.row(y - 1), *row = picture.row(y), *below = picture.row(y + 1);
    for (std::size_t i = 0; i < picture.stride; ++i) {
      const unsigned before = i > 0 ? row[i - 1] & 1u : 0u;
      const unsigned after = i + 1 < picture.stride ? row[i + 1] >> 7 : 0u;
      inside.row(y)[i] = static_cast<std::uint8_t>(row[i] & above[i] & below[i] &
                                                   (row[i] >> 1 | before << 7) & (row[i] << 1 | after));
    }
  }
  return inside;
}

Bitonal grown(const Bitonal& picture, int by) {
  Bitonal out(picture.width, picture.height);
  Bytes tall(picture.stride);
  const auto last = static_cast<std::uint8_t>(0xFF << (-picture.width & 7));
  for (int y = 0; y < picture.height; ++y) {
    std::fill(tall.begin(), tall.end(), std::uint8_t{0});
    for (int near = std::max(0, y - by); near <= std::min(picture.height - 1, y + by); ++near)
      for (std::size_t i = 0; i < tall.size(); ++i) tall[i] |= picture.row(near)[i];
    tall.back() &= last;
    for (std::size_t i = 0; i < tall.size(); ++i) {
      const unsigned around = (i > 0 ? tall[i - 1] : 0u) << 16 | unsigned{tall[i]} << 8 |
                              (i + 1 < tall.size() ? tall[i + 1] : 0u);
      unsigned wide = around;
      for (int shift = 1; shift <= by; ++shift) wide |= around << shift | around >> shift;
      out.row(y)[i] = static_cast<std::uint8_t>(wide >> 8);
    }
  }
  return out;
}

Pixels resizeBitonal(const Pixels& bits, std::uint32_t width, std::uint32_t height) {
  Pixels out(width, height, 1, bits.kind(), 1);
  for (std::uint32_t y = 0; y < height; ++y)
    for (std::uint32_t x = 0; x < width; ++x)
      out.setBit(x, y,
                 bits.bit(static_cast<std::uint32_t>(std::uint64_t{x} * bits.width() / width),
                          static_cast<std::uint32_t>(std::uint64_t{y} * bits.height() / height)));
  return out;
}

}  // namespace optimizer
