// Inner loops over samples, compiled twice: for every processor of the family, and with wider vectors for
// those that have them. The arithmetic is the same, and so are the results.
#pragma once

namespace optimizer {

#if defined(__x86_64__)
#define OPTIMIZER_WIDE [[gnu::target("avx2")]]
inline bool hasWideVectors() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}
#else
#define OPTIMIZER_WIDE
inline bool hasWideVectors() { return false; }
#endif

template <typename Loop>
OPTIMIZER_WIDE void runWide(const Loop& loop) {
  loop();
}

// Runs a lambda whose call operator is declared OPTIMIZER_LOOP, so that its code is part of both versions.
#define OPTIMIZER_LOOP __attribute__((always_inline))
template <typename Loop>
void vectorised(const Loop& loop) {
  if (hasWideVectors()) {
    runWide(loop);
  } else {
    loop();
  }
}

}  // namespace optimizer
