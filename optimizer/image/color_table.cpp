#include "optimizer/image/color_table.h"

namespace optimizer {

// Where a colour stands, or the free place for it: open addressing, never more than half full.
std::size_t ColorTable::placeOf(std::uint32_t color) const {
  const std::size_t mask = slots_.size() - 1;
  std::size_t place = (color * std::uint32_t{2654435761}) >> 7 & mask;
  while (slots_[place] != kNone && colors_[slots_[place]] != color) place = (place + 1) & mask;
  return place;
}

std::uint32_t ColorTable::add(std::uint32_t color) {
  std::size_t place = placeOf(color);
  if (slots_[place] != kNone) return slots_[place];
  colors_.push_back(color);
  const auto number = static_cast<std::uint32_t>(colors_.size() - 1);
  slots_[place] = number;
  if (colors_.size() * 2 > slots_.size()) {
    slots_.assign(slots_.size() * 4, kNone);
    for (std::uint32_t i = 0; i < colors_.size(); ++i) slots_[placeOf(colors_[i])] = i;
  }
  return number;
}

std::uint32_t ColorTable::find(std::uint32_t color) const { return slots_[placeOf(color)]; }

}  // namespace optimizer
