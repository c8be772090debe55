// One zlib stream of parts that were deflated apart, so that large data can be deflated by several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "optimizer/base/bytes.h"

namespace optimizer {

// A whole stream of Deflate (RFC 1951), and where in it, counted in bits, its last block begins and ends.
struct DeflatedPart {
  Bytes coded;
  std::size_t lastBlock = 0, end = 0;
  std::size_t plainBytes = 0;
  std::uint32_t adler = 1;  // checksum of the plain bytes (RFC 1950, 9)
};

// coded: what plain became. Nothing where that is no whole stream of Deflate, or one of another length.
std::optional<DeflatedPart> deflatedPart(Bytes coded, ByteView plain);

// The zlib stream (RFC 1950) of the plain bytes of all parts, one behind the other; there must be one at
// least.
Bytes joinDeflated(std::span<const DeflatedPart> parts);

// How many parts data of that size is deflated in. Each begins without knowing what stands before it, which
// costs about a kilobyte: there are few, and they are large.
constexpr std::size_t deflatePartsFor(std::size_t bytes) {
  constexpr std::size_t least = std::size_t{1} << 20, usual = 5 * least / 2, most = 8;
  if (bytes < 2 * least) return 1;
  const std::size_t count = bytes / usual;
  return count > most ? most : count < 2 ? 2 : count;
}

// What deflateBelow gives, in deflatePartsFor parts whatever the number of threads, in parallel as inParallel
// does.
Bytes deflateInPartsBelow(ByteView data, std::size_t bytes, int level);

}  // namespace optimizer
