// Rows as lists of the places where the colour changes, the form in which facsimile codes see them.
#pragma once

#include <cstdint>
#include <vector>

namespace optimizer::ccitt {

// Places of the changing elements of a row that starts white: changes[0] is the first black pixel, changes[1]
// the first white one after it, and so on. Three entries of `width` follow the last change, so that b1 and b2
// always exist.
using Changes = std::vector<int>;

void findChanges(const std::uint8_t* row, int width, Changes& changes);
// Blackens the runs of a white row.
void paint(const Changes& changes, int width, std::uint8_t* row);

}  // namespace optimizer::ccitt
