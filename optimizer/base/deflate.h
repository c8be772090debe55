// Deflate in the zlib format (RFC 1950, 1951), as FlateDecode has it; libdeflate behind it.
#pragma once

#include <cstddef>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer {

inline constexpr int kStrongestDeflate = 12;

// The level for bytes that are known to take about so many when they are deflated. Long runs are what the strongest
// levels spend their time on, and find no better than the one below them: it takes a fifth of the time, and its matches
// are as long as matches can be.
constexpr int deflateLevelFor(std::size_t bytes, std::size_t deflated, int level) {
  constexpr std::size_t longRuns = 25;
  constexpr int forLongRuns = 9, weakestOptimal = 10;
  return level == weakestOptimal && deflated < bytes / longRuns ? forLongRuns : level;
}

// level: 1 fastest to 12 strongest. Safe to call from several threads.
Bytes deflate(ByteView data, int level = kStrongestDeflate);

// The coding of data if it is below `bytes`, else nothing (an empty vector).
Bytes deflateBelow(ByteView data, std::size_t bytes, int level);
// The same as a raw stream of Deflate, without the head and the checksum of zlib.
Bytes deflateRawBelow(ByteView data, std::size_t bytes, int level);

// Bytes after the end of the zlib stream are ignored, as PDF readers do. Errors: damaged (the stream is
// broken or its checksum is wrong), limit (more than `limit` bytes).
Result<Bytes> inflate(ByteView coded, std::size_t limit);

// The same where the size is known, several times faster than piece by piece: `bytes` bytes, or nothing (an empty
// vector) where the stream is broken or holds another number of them.
Bytes inflateExactly(ByteView coded, std::size_t bytes);

}  // namespace optimizer
