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
    const std::uint32_t fw = fine->values.width, fh = fine->values.height;
    WeightedPlane coarse{Plane((fw + 1) / 2, (fh + 1) / 2), Plane((fw + 1) / 2, (fh + 1) / 2)};
    for (std::uint32_t y = 0; y < fh; ++y)
      for (std::uint32_t x = 0; x < fw; ++x) {
        const std::size_t from = std::size_t{y} * fw + x,
                          to = std::size_t{y / 2} * coarse.values.width + x / 2;
        coarse.values.values[to] += fine->values.values[from] * fine->weights.values[from];
        coarse.weights.values[to] += fine->weights.values[from];
      }
    for (std::size_t i = 0; i < coarse.values.values.size(); ++i) {
      float& weight = coarse.weights.values[i];
      if (weight <= 0) continue;
      coarse.values.values[i] /= weight;
      weight = std::min(weight, 1.0f);
    }
    levels.push_back(std::move(coarse));
    fine = &levels.back();
  }
  for (std::size_t i = levels.size(); i-- > 0;) {
    WeightedPlane& target = i == 0 ? plane : levels[i - 1];
    const Plane smooth = enlarged(levels[i].values, target.values.width, target.values.height);
    for (std::size_t k = 0; k < smooth.values.size(); ++k)
      if (target.weights.values[k] <= 0) target.values.values[k] = smooth.values[k];
  }
}

Plane enlarged(const Plane& plane, std::uint32_t width, std::uint32_t height) {
  struct Tap {
    std::size_t first, second;
    float share;  // of the second
  };
  const auto taps = [](std::uint32_t from, std::uint32_t to) {
    std::vector<Tap> list(to);
    for (std::uint32_t i = 0; i < to; ++i) {
      const double place = std::clamp((i + 0.5) * from / to - 0.5, 0.0, static_cast<double>(from - 1));
      const auto first = static_cast<std::size_t>(place);
      list[i] = {first, std::min<std::size_t>(first + 1, from - 1),
                 static_cast<float>(place - static_cast<double>(first))};
    }
    return list;
  };
  const std::vector<Tap> columns = taps(plane.width, width), rows = taps(plane.height, height);
  Plane out(width, height);
  for (std::uint32_t y = 0; y < height; ++y) {
    const float* above = plane.values.data() + rows[y].first * plane.width;
    const float* below = plane.values.data() + rows[y].second * plane.width;
    float* to = out.values.data() + std::size_t{y} * width;
    for (std::uint32_t x = 0; x < width; ++x) {
      const Tap& tap = columns[x];
      const float top = above[tap.first] + (above[tap.second] - above[tap.first]) * tap.share;
      const float bottom = below[tap.first] + (below[tap.second] - below[tap.first]) * tap.share;
      to[x] = top + (bottom - top) * rows[y].share;
    }
  }
  return out;
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
