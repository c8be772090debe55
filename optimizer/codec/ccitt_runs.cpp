#include "optimizer/codec/ccitt_runs.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace optimizer::ccitt {

void findChanges(const std::uint8_t* row, int width, Changes& changes) {
  changes.clear();
  int bytes = (width + 7) / 8;
  unsigned colour = 0;  // 0 or 0xFF: the colour of the pixel before
  for (int i = 0; i < bytes; ++i) {
    // Bits that differ from the pixel to their left.
    unsigned byte = row[i];
    unsigned edges = (byte ^ (byte >> 1 | (colour & 0x80))) & 0xFF;
    colour = byte & 1 ? 0xFF : 0;
    while (edges) {
      int lead = std::countl_zero(static_cast<std::uint8_t>(edges));
      int x = i * 8 + lead;
      if (x >= width) break;
      changes.push_back(x);
      edges &= 0x7Fu >> lead;
    }
  }
  changes.insert(changes.end(), 3, width);
}

void paint(const Changes& changes, int width, std::uint8_t* row) {
  for (std::size_t i = 0; i + 1 < changes.size() && changes[i] < width; i += 2) {
    int from = changes[i], to = std::min(changes[i + 1], width);
    if (from >= to) continue;
    int first = from >> 3, last = (to - 1) >> 3;
    auto head = static_cast<std::uint8_t>(0xFF >> (from & 7));
    auto tail = static_cast<std::uint8_t>(0xFF00 >> (((to - 1) & 7) + 1));
    if (first == last) {
      row[first] |= head & tail;
      continue;
    }
    row[first] |= head;
    std::fill(row + first + 1, row + last, std::uint8_t{0xFF});
    row[last] |= tail;
  }
}

}  // namespace optimizer::ccitt
