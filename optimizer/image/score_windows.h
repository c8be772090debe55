// Sums over sliding windows of two pictures: what structural comparison computes with. For score.cpp and
// strokes.cpp.
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/base/vectorised.h"

namespace optimizer {

// Windows begin at every so many-th row and column.
constexpr std::uint32_t windowStep = 2;

// Window sums of two pictures: of samples, squares and products.
struct WindowSums {
  std::vector<std::int32_t> a, b, aa, bb, ab;
  explicit WindowSums(std::size_t n) : a(n), b(n), aa(n), bb(n), ab(n) {}
};

// Adds a row to the sums of columns, or takes it off.
inline void addRow(WindowSums& sums, const std::uint8_t* a, const std::uint8_t* b, std::int32_t sign) {
  vectorised([&]() OPTIMIZER_LOOP {
    const std::size_t n = sums.a.size();
    std::int32_t *sa = sums.a.data(), *sb = sums.b.data(), *saa = sums.aa.data(), *sbb = sums.bb.data(),
                 *sab = sums.ab.data();
    const std::uint8_t *x = a, *y = b;
    const std::int32_t by = sign;
    for (std::size_t i = 0; i < n; ++i) sa[i] += by * x[i];
    for (std::size_t i = 0; i < n; ++i) sb[i] += by * y[i];
    for (std::size_t i = 0; i < n; ++i) saa[i] += by * (x[i] * x[i]);
    for (std::size_t i = 0; i < n; ++i) sbb[i] += by * (y[i] * y[i]);
    for (std::size_t i = 0; i < n; ++i) sab[i] += by * (x[i] * y[i]);
  });
}

// The sums over w columns that begin at every `windowStep`-th one.
inline void slide(const std::vector<std::int32_t>& columns, std::uint32_t w, std::vector<std::int32_t>& windows) {
  static_assert(windowStep == 2);
  vectorised([&]() OPTIMIZER_LOOP {
    const std::size_t n = windows.size();
    const std::int32_t* from = columns.data();
    std::int32_t* to = windows.data();
    const std::uint32_t wide = w;
    if (wide == 7) {
      for (std::size_t i = 0; i < n; ++i, from += 2)
        to[i] = from[0] + from[1] + from[2] + from[3] + from[4] + from[5] + from[6];
    } else {
      for (std::size_t i = 0; i < n; ++i, from += 2) {
        std::int32_t sum = 0;
        for (std::uint32_t x = 0; x < wide; ++x) sum += from[x];
        to[i] = sum;
      }
    }
  });
}

}  // namespace optimizer
