// Cross-reference streams (ISO 32000-1, 7.5.8) and the bits of hint tables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer {

struct XrefEntry {
  std::uint8_t type = 0;      // 0 free, 1 at an offset, 2 in an object stream
  std::uint64_t place = 0;    // offset, or number of the object stream
  std::uint32_t index = 0;    // index in it
};

// The object "number 0 obj … endobj" with the entries of the objects from `first` on. entries: what else the dictionary
// holds, such as "/Root 1 0 R". size: one more than the highest number that the section and its predecessors have.
std::string xrefStream(int number, int first, const std::vector<XrefEntry>& table, int size,
                       const std::string& entries);

// Writes numbers of any width, most significant bit first.
class BitWriter {
 public:
  void put(std::uint64_t value, unsigned bits);
  void align();
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
  unsigned free_ = 0;  // bits of the last byte that are not used yet
};

unsigned bitsFor(std::uint64_t value);  // 0 for 0

}  // namespace optimizer
