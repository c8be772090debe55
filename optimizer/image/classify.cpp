#include "optimizer/image/classify.h"

#include <algorithm>
#include <array>
#include <vector>

#include "optimizer/base/vectorised.h"
#include "optimizer/image/color_table.h"

namespace optimizer {
namespace {

// Palettes hold no more.
constexpr std::size_t mostColors = 256;

// What one row adds. N: channels, or 0 for any number.
struct Rows {
  const Pixels& pixels;
  ColorTable& table;
  bool grey, few;
  std::uint64_t flat = 0;
  std::uint32_t last = 0;
  std::vector<std::uint8_t> equal = {};  // to the left and above, sample by sample

  template <unsigned N>
  void add(std::uint32_t y);
};

template <unsigned N>
void Rows::add(std::uint32_t y) {
  const unsigned channels = N == 0 ? pixels.channels() : N;
  const std::uint8_t* row = pixels.row(y);
  if (N == 3 && grey) {
    for (std::uint32_t x = 0; x < pixels.width() && grey; ++x)
      grey = row[3 * x] == row[3 * x + 1] && row[3 * x + 1] == row[3 * x + 2];
  }
  if (y > 0) {
    equal.resize(pixels.stride());
    vectorised([&]() OPTIMIZER_LOOP {
      const std::uint8_t *here = row, *up = pixels.row(y - 1);
      std::uint8_t* to = equal.data();
      const std::size_t before = N == 0 ? channels : N, size = equal.size();
      for (std::size_t i = before; i < size; ++i) to[i] = (here[i] == here[i - before]) & (here[i] == up[i]);
      std::uint32_t count = 0;
      for (std::size_t at = before; at < size; at += before) {
        std::uint8_t all = 1;
        for (std::size_t c = 0; c < before; ++c) all &= to[at + c];
        count += all;
      }
      flat += count;
    });
  }
  for (std::size_t at = 0; few && at < pixels.stride(); at += channels) {
    const std::uint32_t key = colorKey(row + at, channels);
    if (key == last && table.size() > 0) continue;
    last = key;
    table.add(key);
    few = table.size() <= mostColors;
  }
}

}  // namespace

ImageFacts measureImage(const Pixels& pixels) {
  ImageFacts facts;
  const unsigned channels = pixels.channels();
  if (pixels.bits() == 1) {
    facts.kind = ImageClass::bitonal;
    facts.grey = true;
    return facts;
  }
  ColorTable table;
  Rows rows{pixels, table, channels == 1 || pixels.kind() == ColorKind::rgb, channels <= 4};
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    switch (channels) {
      case 1:
        rows.add<1>(y);
        break;
      case 3:
        rows.add<3>(y);
        break;
      case 4:
        rows.add<4>(y);
        break;
      default:
        rows.add<0>(y);
    }
  }
  facts.grey = rows.grey;
  facts.flatShare = static_cast<double>(rows.flat) / static_cast<double>(pixels.pixelCount());
  const bool few = rows.few;
  if (few) {
    facts.colors = table.size();
    facts.uniform = facts.colors == 1;
    facts.palette.emplace();
    for (std::uint32_t color : table.colors()) {
      for (unsigned c = channels; c-- > 0;)
        facts.palette->push_back(static_cast<std::uint8_t>(color >> (8 * c)));
    }
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
  for (std::size_t i = 0; i + channels <= palette.size(); i += channels)
    table.add(colorKey(palette.data() + i, channels));
  Pixels indexes(pixels.width(), pixels.height(), 1, ColorKind::indexed);
  std::uint32_t last = 0, number = ColorTable::kNone;
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    const std::uint32_t key = colorKey(pixels.samples().data() + i * channels, channels);
    if (i == 0 || key != last) number = table.find(key);
    last = key;
    indexes.samples()[i] = number == ColorTable::kNone ? std::uint8_t{0} : static_cast<std::uint8_t>(number);
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
