#include "optimizer/image/mrc_plane.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "optimizer/base/vectorised.h"

namespace optimizer {

Plane channelOf(const Pixels& pixels, unsigned channel) {
  Plane plane(pixels.width(), pixels.height());
  const unsigned channels = pixels.channels();
  vectorised([&]() OPTIMIZER_LOOP {
    const std::uint8_t* in = pixels.samples().data() + channel;
    float* out = plane.values.data();
    const std::size_t count = plane.values.size(), n = channels;
    if (n == 1)
      for (std::size_t i = 0; i < count; ++i) out[i] = in[i];
    else
      for (std::size_t i = 0; i < count; ++i) out[i] = in[i * n];
  });
  return plane;
}

void putChannel(const Plane& plane, Pixels& pixels, unsigned channel) {
  const unsigned channels = pixels.channels();
  vectorised([&]() OPTIMIZER_LOOP {
    const float* in = plane.values.data();
    std::uint8_t* out = pixels.samples().data() + channel;
    const std::size_t count = plane.values.size(), n = channels;
    const auto sample = [](float value) OPTIMIZER_LOOP {
      return static_cast<std::uint8_t>(static_cast<int>(std::min(std::max(value + 0.5f, 0.0f), 255.0f)));
    };
    if (n == 1)
      for (std::size_t i = 0; i < count; ++i) out[i] = sample(in[i]);
    else
      for (std::size_t i = 0; i < count; ++i) out[i * n] = sample(in[i]);
  });
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

std::uint64_t sumOfEight(const std::uint8_t* samples) {
  constexpr std::uint64_t each = 0x00FF00FF00FF00FF, ones = 0x0001000100010001;
  std::uint64_t eight = 0;
  std::memcpy(&eight, samples, sizeof eight);
  return ((eight & each) + (eight >> 8 & each)) * ones >> 48;
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
  const float *values = fine.values.values.data(), *weights = fine.weights.values.data();
  for (std::uint32_t y = 0; y < h; y += 2) {
    // Of an odd last row or column there is no second, and it counts for nothing.
    const std::size_t below = y + 1 < h ? w : 0;
    const float hasBelow = below > 0 ? 1.0f : 0.0f;
    const auto mean = [&](std::size_t i, std::size_t right, float hasRight, float& value, float& weight) {
      const float first = weights[i], second = weights[i + right] * hasRight,
                  third = weights[i + below] * hasBelow,
                  fourth = weights[i + below + right] * hasBelow * hasRight;
      const float sum = values[i] * first + values[i + right] * second + values[i + below] * third +
                        values[i + below + right] * fourth;
      const float known = first + second + third + fourth;
      value = known > 0 ? sum / known : 0;
      weight = std::min(known, 1.0f);
    };
    float *toValues = coarse.values.values.data() + std::size_t{y / 2} * coarse.values.width,
          *toWeights = coarse.weights.values.data() + std::size_t{y / 2} * coarse.values.width;
    const std::size_t row = std::size_t{y} * w;
    for (std::size_t x = 0; x < w / 2; ++x) mean(row + 2 * x, 1, 1, toValues[x], toWeights[x]);
    if (w % 2 != 0) mean(row + w - 1, 0, 0, toValues[w / 2], toWeights[w / 2]);
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
  const std::uint32_t w = pixels.width();
  const unsigned n = pixels.channels();
  const auto columns = targets(w, width), rows = targets(pixels.height(), height);
  std::vector<std::uint64_t> sums(width);
  std::vector<std::uint32_t> counts(width);
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    const std::uint8_t* bits = ink.row(static_cast<int>(y));
    const std::uint8_t* samples = pixels.row(y) + channel;
    for (std::uint32_t x = 0; x < w; x += 8) {
      const unsigned byte = bits[x >> 3];
      if (byte == 0) continue;
      const std::uint32_t end = std::min(x + 8, w);
      if (byte == 0xFF && n == 1 && end == x + 8 && columns[x] == columns[x + 7]) {
        sums[columns[x]] += sumOfEight(samples + x);
        counts[columns[x]] += 8;
        continue;
      }
      if (columns[x] == columns[end - 1]) {
        std::uint32_t sum = 0, count = 0;
        for (std::uint32_t at = x; at < end; ++at) {
          const std::uint32_t set = byte >> (7 - (at & 7)) & 1;
          sum += set * samples[std::size_t{at} * n];
          count += set;
        }
        sums[columns[x]] += sum;
        counts[columns[x]] += count;
        continue;
      }
      for (std::uint32_t at = x; at < end; ++at) {
        const std::uint32_t set = byte >> (7 - (at & 7)) & 1;
        sums[columns[at]] += set * samples[std::size_t{at} * n];
        counts[columns[at]] += set;
      }
    }
    if (y + 1 < pixels.height() && rows[y + 1] == rows[y]) continue;
    const std::size_t base = std::size_t{rows[y]} * width;
    for (std::uint32_t x = 0; x < width; ++x) {
      if (counts[x] == 0) continue;
      mean.values.values[base + x] = static_cast<float>(sums[x]) / static_cast<float>(counts[x]);
      mean.weights.values[base + x] = 1;
    }
    std::fill(sums.begin(), sums.end(), 0);
    std::fill(counts.begin(), counts.end(), 0);
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
