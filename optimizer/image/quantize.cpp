#include "optimizer/image/quantize.h"

#include <algorithm>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"

namespace optimizer {
namespace {

// Photographs have hundreds of thousands of colours; five or six bits of each are enough to place the
// palette.
constexpr std::size_t manyColors = 8192;
constexpr std::uint32_t upperBits = 0xF8FCF8;
constexpr int refinements = 3;

std::uint32_t keyAt(const Pixels& pixels, std::size_t i) {
  const std::uint8_t* sample = pixels.samples().data() + i * pixels.channels();
  return pixels.channels() == 1 ? sample[0] * std::uint32_t{0x010101} : colorKey(sample, 3);
}

std::array<std::uint8_t, 3> colorOf(std::uint32_t key) {
  return {static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 8),
          static_cast<std::uint8_t>(key)};
}

}  // namespace

struct Quantizer::Box {
  std::size_t begin = 0, end = 0;
  double error = 0;  // weighted squared distance from the mean, along the widest axis
  std::size_t axis = 0;
};

// The palette as it forms.
struct Quantizer::Centers {
  std::array<std::array<std::int32_t, 256>, 3> at{};
  std::size_t count = 0;

  void set(std::size_t i, const std::array<double, 3>& mean) {
    for (std::size_t c = 0; c < 3; ++c) at[c][i] = static_cast<std::int32_t>(mean[c] + 0.5);
  }
  std::size_t nearest(const Color& color) const;
};

std::size_t Quantizer::Centers::nearest(const Color& color) const {
  std::uint32_t best = ~std::uint32_t{0};
  vectorised([&]() OPTIMIZER_LOOP {
    const std::int32_t red = color[0], green = color[1], blue = color[2];
    const std::int32_t *reds = at[0].data(), *greens = at[1].data(), *blues = at[2].data();
    const std::size_t n = count;
    std::uint32_t least = ~std::uint32_t{0};
    for (std::size_t i = 0; i < n; ++i) {
      const std::int32_t r = reds[i] - red, g = greens[i] - green, b = blues[i] - blue;
      // Green carries most of the brightness, blue least. A distance stays below 2^24, which leaves room for the
      // number: one minimum finds both.
      const auto distance = static_cast<std::uint32_t>(40 * r * r + 69 * g * g + 21 * b * b);
      least = std::min(least, distance << 8 | static_cast<std::uint32_t>(i));
    }
    best = least;
  });
  return best & 255;
}

void Quantizer::measure(const std::vector<Entry>& entries, Box& box) {
  box.error = 0;
  std::array<double, 3> sums{}, squares{};
  double count = 0;
  for (std::size_t i = box.begin; i < box.end; ++i) {
    const auto weight = static_cast<double>(entries[i].count);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double value = entries[i].color[axis];
      sums[axis] += weight * value;
      squares[axis] += weight * value * value;
    }
    count += weight;
  }
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double error = squares[axis] - sums[axis] * sums[axis] / count;
    if (error > box.error) {
      box.error = error;
      box.axis = axis;
    }
  }
}

Quantizer::Centers Quantizer::medianCut(std::vector<Entry> entries, std::size_t colors) {
  std::vector<Box> boxes{{0, entries.size(), 0, 0}};
  measure(entries, boxes[0]);
  while (boxes.size() < colors) {
    const auto widest = std::max_element(boxes.begin(), boxes.end(),
                                         [](const Box& a, const Box& b) { return a.error < b.error; });
    if (widest->error <= 0 || widest->end - widest->begin < 2) break;
    const std::size_t axis = widest->axis;
    const auto first = entries.begin() + static_cast<std::ptrdiff_t>(widest->begin);
    const auto last = entries.begin() + static_cast<std::ptrdiff_t>(widest->end);
    // Cut at the mean: it separates the groups better than the middle of the counts.
    double sum = 0, count = 0;
    for (auto it = first; it != last; ++it) {
      sum += static_cast<double>(it->count) * it->color[axis];
      count += static_cast<double>(it->count);
    }
    const double mean = sum / count;
    const auto middle = std::partition(first, last, [&](const Entry& e) { return e.color[axis] < mean; });
    if (middle == first || middle == last) break;
    Box right{static_cast<std::size_t>(middle - entries.begin()), widest->end, 0, 0};
    widest->end = right.begin;
    measure(entries, *widest);
    measure(entries, right);
    boxes.push_back(right);
  }
  Centers centers;
  for (const Box& box : boxes) {
    std::array<double, 3> mean{};
    double count = 0;
    for (std::size_t i = box.begin; i < box.end; ++i) {
      for (std::size_t c = 0; c < 3; ++c)
        mean[c] += static_cast<double>(entries[i].count) * entries[i].color[c];
      count += static_cast<double>(entries[i].count);
    }
    for (double& value : mean) value /= count;
    centers.set(centers.count++, mean);
  }
  return centers;
}

void Quantizer::refine(Centers& centers) const {
  std::vector<std::array<double, 3>> sums(centers.count);
  std::vector<double> weights(centers.count);
  for (const Entry& entry : entries_) {
    const std::size_t at = centers.nearest(entry.color);
    for (std::size_t c = 0; c < 3; ++c) sums[at][c] += static_cast<double>(entry.count) * entry.color[c];
    weights[at] += static_cast<double>(entry.count);
  }
  for (std::size_t i = 0; i < centers.count; ++i) {
    if (weights[i] == 0) continue;
    for (double& sum : sums[i]) sum /= weights[i];
    centers.set(i, sums[i]);
  }
}

Quantizer::Quantizer(const Pixels& pixels) : pixels_(pixels) {
  std::vector<std::uint64_t> counts;
  std::uint32_t last = 0, number = 0;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const std::uint32_t key = keyAt(pixels, i);
    if (i == 0 || key != last) {
      number = exact_.add(key);
      if (number == counts.size()) counts.push_back(0);
      last = key;
    }
    ++counts[number];
  }
  const std::uint32_t mask = counts.size() > manyColors ? upperBits : 0xFFFFFF;
  ColorTable merged;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const std::uint32_t at = merged.add(exact_.colors()[i] & mask);
    if (at == entries_.size()) entries_.push_back({colorOf(merged.colors()[at]), 0});
    entries_[at].count += counts[i];
  }
}

QuantizedImage Quantizer::reduceTo(std::size_t colors) const {
  Centers centers = medianCut(entries_, std::clamp<std::size_t>(colors, 2, 256));
  for (int round = 0; round < refinements; ++round) refine(centers);

  // Dark first, so that neighbouring indexes are neighbouring shades.
  std::vector<Color> table;
  for (std::size_t i = 0; i < centers.count; ++i) {
    table.push_back({static_cast<std::uint8_t>(centers.at[0][i]), static_cast<std::uint8_t>(centers.at[1][i]),
                     static_cast<std::uint8_t>(centers.at[2][i])});
  }
  std::sort(table.begin(), table.end(), [](const Color& a, const Color& b) {
    const int x = 30 * a[0] + 59 * a[1] + 11 * a[2], y = 30 * b[0] + 59 * b[1] + 11 * b[2];
    return x != y ? x < y : a < b;
  });
  table.erase(std::unique(table.begin(), table.end()), table.end());
  centers.count = table.size();
  for (std::size_t i = 0; i < table.size(); ++i)
    for (std::size_t c = 0; c < 3; ++c) centers.at[c][i] = table[i][c];

  Bytes indexOf(exact_.colors().size());
  for (std::size_t i = 0; i < indexOf.size(); ++i)
    indexOf[i] = static_cast<std::uint8_t>(centers.nearest(colorOf(exact_.colors()[i])));
  QuantizedImage result{Pixels(pixels_.width(), pixels_.height(), 1, ColorKind::indexed), {}};
  constexpr std::size_t enough = 128 << 10;  // pixels that are worth a thread's while
  inParts(0, pixels_.pixelCount(), enough, [&](std::size_t begin, std::size_t end) {
    std::uint32_t last = 0;
    std::uint8_t index = 0;
    for (std::size_t i = begin; i < end; ++i) {
      const std::uint32_t key = keyAt(pixels_, i);
      if (i == begin || key != last) {
        index = indexOf[exact_.find(key)];
        last = key;
      }
      result.indexes.samples()[i] = index;
    }
  });
  for (const Color& color : table) {
    result.palette.insert(result.palette.end(), color.begin(), color.begin() + pixels_.channels());
  }
  return result;
}

}  // namespace optimizer
