#include "optimizer/image/classify.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <unordered_map>

namespace optimizer {
namespace {

std::uint32_t colorKey(const std::uint8_t* sample, unsigned channels) {
  std::uint32_t key = 0;
  for (unsigned c = 0; c < channels; ++c) key = key << 8 | sample[c];
  return key;
}

// A small open-addressing table from colour to index, made for at most 256 colours.
class ColorTable {
 public:
  ColorTable() : slots_(2048, -1) {}
  // The colour's index, adding it when there is room; -1 when there is none.
  int find(std::uint32_t key, bool add) {
    std::size_t at = (key * 2654435761u) >> 21;
    while (slots_[at] >= 0) {
      if (keys_[static_cast<std::size_t>(slots_[at])] == key) return slots_[at];
      at = (at + 1) & 2047;
    }
    if (!add || keys_.size() >= 256) return -1;
    slots_[at] = static_cast<int>(keys_.size());
    keys_.push_back(key);
    return slots_[at];
  }
  std::size_t size() const { return keys_.size(); }

 private:
  std::vector<int> slots_;
  std::vector<std::uint32_t> keys_;
};

}  // namespace

ImageFacts measureImage(const Pixels& pixels) {
  ImageFacts facts;
  const unsigned channels = pixels.channels();
  if (pixels.bits() == 1) {
    facts.kind = ImageClass::bitonal;
    facts.grey = true;
    return facts;
  }
  facts.grey = channels == 1 || pixels.kind() == ColorKind::rgb;
  const bool countColors = channels <= 4;
  ColorTable table;
  Bytes palette;
  bool few = countColors;
  std::uint64_t flat = 0;
  std::uint32_t lastKey = 0;
  bool first = true;
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    const std::uint8_t* row = pixels.row(y);
    const std::uint8_t* up = y > 0 ? pixels.row(y - 1) : nullptr;
    for (std::uint32_t x = 0; x < pixels.width(); ++x) {
      const std::uint8_t* sample = row + std::size_t{x} * channels;
      if (facts.grey && channels == 3 && (sample[0] != sample[1] || sample[1] != sample[2]))
        facts.grey = false;
      if (x > 0 && up != nullptr && std::memcmp(sample, sample - channels, channels) == 0 &&
          std::memcmp(sample, up + std::size_t{x} * channels, channels) == 0) {
        ++flat;
      }
      if (!few) continue;
      const std::uint32_t key = colorKey(sample, channels);
      if (!first && key == lastKey) continue;
      first = false;
      lastKey = key;
      const std::size_t before = table.size();
      if (table.find(key, true) < 0) {
        few = false;
      } else if (table.size() > before) {
        palette.insert(palette.end(), sample, sample + channels);
      }
    }
  }
  facts.flatShare = static_cast<double>(flat) / static_cast<double>(pixels.pixelCount());
  if (few) {
    facts.colors = table.size();
    facts.uniform = facts.colors == 1;
    facts.palette = std::move(palette);
  }
  const bool synthetic =
      facts.flatShare >= syntheticFlatShare || (few && channels > 1 && facts.colors <= syntheticColors);
  facts.kind = synthetic ? ImageClass::synthetic : ImageClass::continuous;
  if (few && facts.grey && facts.colors <= 2) {
    bool blackOrWhite = true;
    for (std::uint8_t level : *facts.palette) blackOrWhite = blackOrWhite && (level == 0 || level == 255);
    if (blackOrWhite) facts.kind = ImageClass::bitonal;
  }
  return facts;
}

bool chromaSurvivesHalving(const Pixels& pixels) {
  if (pixels.kind() != ColorKind::rgb || pixels.bits() != 8) return true;
  constexpr std::uint32_t cell = 16;
  constexpr auto most = static_cast<std::int64_t>(mostHalvingError * mostHalvingError * 2 * cell * cell);
  // What one channel of colour difference loses in a block of two by two: the squares around their mean.
  const auto lost = [](const std::array<int, 4>& values) {
    const int sum = values[0] + values[1] + values[2] + values[3];
    int squares = 0;
    for (int value : values) squares += value * value;
    return squares - sum * sum / 4;
  };
  std::vector<std::int64_t> errors;
  for (std::uint32_t top = 0; top + 2 <= pixels.height(); top += cell) {
    errors.assign(pixels.width() / cell + 1, 0);
    for (std::uint32_t y = top; y < std::min(top + cell, pixels.height() - 1); y += 2) {
      const std::uint8_t *upper = pixels.row(y), *lower = pixels.row(y + 1);
      for (std::uint32_t x = 0; x + 2 <= pixels.width(); x += 2) {
        std::array<int, 4> blue{}, red{};
        for (std::size_t i = 0; i < 4; ++i) {
          const std::uint8_t* s = (i < 2 ? upper : lower) + std::size_t{x + i % 2} * 3;
          const int luma = (77 * s[0] + 150 * s[1] + 29 * s[2] + 128) >> 8;
          blue[i] = (s[2] - luma) * 144 / 256;
          red[i] = (s[0] - luma) * 182 / 256;
        }
        errors[x / cell] += lost(blue) + lost(red);
      }
    }
    if (std::any_of(errors.begin(), errors.end(), [](std::int64_t error) { return error > most; }))
      return false;
  }
  return true;
}

Pixels indexByPalette(const Pixels& pixels, const Bytes& palette) {
  const unsigned channels = pixels.channels();
  ColorTable table;
  for (std::size_t i = 0; i + channels <= palette.size(); i += channels) {
    table.find(colorKey(palette.data() + i, channels), true);
  }
  Pixels indexes(pixels.width(), pixels.height(), 1, ColorKind::indexed);
  std::uint32_t lastKey = 0;
  int last = -1;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const std::uint32_t key = colorKey(pixels.samples().data() + i * channels, channels);
    if (last < 0 || key != lastKey) last = table.find(key, false);
    lastKey = key;
    indexes.samples()[i] = static_cast<std::uint8_t>(std::max(0, last));
  }
  return indexes;
}

Pixels firstChannel(const Pixels& pixels) {
  if (pixels.channels() == 1) return pixels;
  Pixels grey(pixels.width(), pixels.height(), 1, ColorKind::grey);
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i)
    grey.samples()[i] = pixels.samples()[i * pixels.channels()];
  return grey;
}

}  // namespace optimizer
