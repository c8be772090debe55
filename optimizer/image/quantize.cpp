#include "optimizer/image/quantize.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace optimizer {
namespace {

// One colour that occurs, with its number of pixels.
struct Entry {
  std::array<std::uint8_t, 3> color{};
  std::uint64_t count = 0;
};

using Center = std::array<double, 3>;

struct Box {
  std::size_t begin = 0, end = 0;
  double error = 0;  // weighted squared distance from the mean, along the widest axis
  int axis = 0;
};

void measure(const std::vector<Entry>& entries, Box& box) {
  box.error = 0;
  for (int axis = 0; axis < 3; ++axis) {
    double sum = 0, squares = 0, count = 0;
    for (std::size_t i = box.begin; i < box.end; ++i) {
      // Few pixels of a rare colour still matter to the eye: weigh by the root of the count.
      const double weight = static_cast<double>(entries[i].count),
                   value = entries[i].color[static_cast<std::size_t>(axis)];
      sum += weight * value;
      squares += weight * value * value;
      count += weight;
    }
    const double error = squares - sum * sum / count;
    if (error > box.error) {
      box.error = error;
      box.axis = axis;
    }
  }
}

std::vector<Center> medianCut(std::vector<Entry>& entries, std::size_t colors) {
  std::vector<Box> boxes{{0, entries.size(), 0, 0}};
  measure(entries, boxes[0]);
  while (boxes.size() < colors) {
    const auto widest = std::max_element(boxes.begin(), boxes.end(),
                                         [](const Box& a, const Box& b) { return a.error < b.error; });
    if (widest->error <= 0 || widest->end - widest->begin < 2) break;
    const auto axis = static_cast<std::size_t>(widest->axis);
    const auto first = entries.begin() + static_cast<std::ptrdiff_t>(widest->begin);
    const auto last = entries.begin() + static_cast<std::ptrdiff_t>(widest->end);
    std::sort(first, last, [axis](const Entry& a, const Entry& b) {
      return a.color[axis] != b.color[axis] ? a.color[axis] < b.color[axis] : a.color < b.color;
    });
    // Cut at the mean: it separates the groups better than the middle of the counts.
    double sum = 0, count = 0;
    for (auto it = first; it != last; ++it) {
      sum += static_cast<double>(it->count) * it->color[axis];
      count += static_cast<double>(it->count);
    }
    const double mean = sum / count;
    std::size_t cut = widest->begin + 1;
    while (cut + 1 < widest->end && entries[cut].color[axis] < mean) ++cut;
    Box right{cut, widest->end, 0, 0};
    widest->end = cut;
    measure(entries, *widest);
    measure(entries, right);
    boxes.push_back(right);
  }
  std::vector<Center> centers;
  for (const Box& box : boxes) {
    Center center{};
    double count = 0;
    for (std::size_t i = box.begin; i < box.end; ++i) {
      for (std::size_t c = 0; c < 3; ++c)
        center[c] += static_cast<double>(entries[i].count) * entries[i].color[c];
      count += static_cast<double>(entries[i].count);
    }
    for (double& value : center) value /= count;
    centers.push_back(center);
  }
  return centers;
}

std::size_t nearest(const std::vector<Center>& centers, const std::array<std::uint8_t, 3>& color) {
  // Green carries most of the brightness, blue least.
  constexpr std::array<double, 3> weights = {0.30, 0.59, 0.11};
  std::size_t best = 0;
  double least = 1e18;
  for (std::size_t i = 0; i < centers.size(); ++i) {
    double distance = 0;
    for (std::size_t c = 0; c < 3; ++c) {
      const double difference = centers[i][c] - color[c];
      distance += (weights[c] + 0.1) * difference * difference;
    }
    if (distance < least) {
      least = distance;
      best = i;
    }
  }
  return best;
}

}  // namespace

QuantizedImage quantize(const Pixels& pixels, std::size_t colors) {
  const unsigned channels = pixels.channels();
  const auto colorAt = [&](std::size_t i) {
    const std::uint8_t* sample = pixels.samples().data() + i * channels;
    return channels == 1 ? std::array<std::uint8_t, 3>{sample[0], sample[0], sample[0]}
                         : std::array<std::uint8_t, 3>{sample[0], sample[1], sample[2]};
  };
  const auto keyOf = [](const std::array<std::uint8_t, 3>& color) {
    return std::uint32_t{color[0]} << 16 | std::uint32_t{color[1]} << 8 | color[2];
  };
  // Photographs have hundreds of thousands of colours; five or six bits of each are enough to place the
  // palette.
  std::unordered_map<std::uint32_t, std::uint64_t> exact;
  std::uint64_t run = 0;
  std::uint32_t runKey = 0;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const std::uint32_t key = keyOf(colorAt(i));
    if (key != runKey && run > 0) {
      exact[runKey] += run;
      run = 0;
    }
    runKey = key;
    ++run;
  }
  exact[runKey] += run;
  constexpr std::size_t manyColors = 8192;
  const std::uint32_t mask = exact.size() > manyColors ? 0xF8FCF8u : 0xFFFFFFu;
  std::unordered_map<std::uint32_t, std::uint64_t> counts;
  for (const auto& [key, count] : exact) counts[key & mask] += count;
  std::vector<Entry> entries;
  entries.reserve(counts.size());
  for (const auto& [key, count] : counts) {
    entries.push_back({{static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 8),
                        static_cast<std::uint8_t>(key)},
                       count});
  }
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.color < b.color; });
  std::vector<Center> centers = medianCut(entries, std::clamp<std::size_t>(colors, 2, 256));

  constexpr int rounds = 3;
  for (int round = 0; round < rounds; ++round) {
    std::vector<Center> sums(centers.size());
    std::vector<double> weights(centers.size());
    for (const Entry& entry : entries) {
      const std::size_t at = nearest(centers, entry.color);
      for (std::size_t c = 0; c < 3; ++c) sums[at][c] += static_cast<double>(entry.count) * entry.color[c];
      weights[at] += static_cast<double>(entry.count);
    }
    for (std::size_t i = 0; i < centers.size(); ++i) {
      if (weights[i] == 0) continue;
      for (std::size_t c = 0; c < 3; ++c) centers[i][c] = sums[i][c] / weights[i];
    }
  }
  // Round the palette; dark first, so that neighbouring indexes are neighbouring shades.
  std::vector<std::array<std::uint8_t, 3>> table;
  for (const Center& center : centers) {
    std::array<std::uint8_t, 3> color{};
    for (std::size_t c = 0; c < 3; ++c)
      color[c] = static_cast<std::uint8_t>(std::clamp(center[c] + 0.5, 0.0, 255.0));
    table.push_back(color);
  }
  std::sort(table.begin(), table.end(), [](const auto& a, const auto& b) {
    const int x = 30 * a[0] + 59 * a[1] + 11 * a[2], y = 30 * b[0] + 59 * b[1] + 11 * b[2];
    return x != y ? x < y : a < b;
  });
  table.erase(std::unique(table.begin(), table.end()), table.end());
  for (std::size_t i = 0; i < table.size(); ++i)
    centers[i] = {double(table[i][0]), double(table[i][1]), double(table[i][2])};
  centers.resize(table.size());

  QuantizedImage result{Pixels(pixels.width(), pixels.height(), 1, ColorKind::indexed), {}};
  std::unordered_map<std::uint32_t, std::uint8_t> known;
  std::uint32_t lastKey = ~std::uint32_t{0};
  std::uint8_t last = 0;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const auto color = colorAt(i);
    const std::uint32_t key = keyOf(color);
    if (key != lastKey) {
      const auto [at, fresh] = known.try_emplace(key, 0);
      if (fresh) at->second = static_cast<std::uint8_t>(nearest(centers, color));
      last = at->second;
      lastKey = key;
    }
    result.indexes.samples()[i] = last;
  }
  for (const auto& color : table) {
    result.palette.insert(result.palette.end(), color.begin(), color.begin() + channels);
  }
  return result;
}

}  // namespace optimizer
