#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/ccitt_codes.h"
#include "optimizer/codec/ccitt_runs.h"

namespace optimizer {

namespace {

using namespace ccitt;

class BitWriter {
 public:
  void put(Code code) {
    held_ = held_ << code.length | code.bits;
    count_ += code.length;
    while (count_ >= 8) {
      count_ -= 8;
      out_.push_back(static_cast<std::uint8_t>(held_ >> count_));
    }
  }
  Bytes take() {
    if (count_) put({0, static_cast<std::uint8_t>(8 - count_)});
    return std::move(out_);
  }

 private:
  Bytes out_;
  std::uint64_t held_ = 0;
  int count_ = 0;
};

void putRun(BitWriter& out, int length, bool black) {
  const RunCodes& runs = black ? blackCodes() : whiteCodes();
  while (length >= 2624) {
    out.put(runs.codes[63 + 40]);
    length -= 2560;
  }
  if (length >= 64) out.put(runs.codes[static_cast<std::size_t>(63 + length / 64)]);
  out.put(runs.codes[static_cast<std::size_t>(length % 64)]);
}

// One row against the row above it (T.6, 2.2).
void putRow(BitWriter& out, const Changes& above, const Changes& row, int width) {
  int a0 = -1;
  std::size_t next = 0;  // index of a1 in row; its lowest bit is the colour at a0
  std::size_t b = 0;     // index of b1 in above
  while (a0 < width) {
    bool black = next & 1;
    // b1: the first change above right of a0 to the colour opposite to a0's.
    while (b > 0 && above[b - 1] > a0) --b;
    while (above[b] < width && (above[b] <= a0 || (b & 1) != black)) ++b;
    int a1 = row[next], b1 = above[b];
    int b2 = b1 < width ? above[b + 1] : width;
    if (b2 < a1) {
      out.put(passCode);
      a0 = b2;
    } else if (int shift = a1 - b1; shift >= -3 && shift <= 3) {
      out.put(verticalCodes[static_cast<std::size_t>(shift + 3)]);
      a0 = a1;
      ++next;
    } else {
      int a2 = row[next + 1];
      out.put(horizontalCode);
      putRun(out, a1 - (a0 < 0 ? 0 : a0), black);
      putRun(out, a2 - a1, !black);
      a0 = a2;
      next += 2;
    }
  }
}

}  // namespace

Bytes encodeCcittG4(BitonalView picture) {
  BitWriter out;
  Changes above(3, picture.width), row;
  for (int y = 0; y < picture.height; ++y) {
    findChanges(picture.row(y), picture.width, row);
    putRow(out, above, row, picture.width);
    std::swap(above, row);
  }
  out.put(endOfLineCode);
  out.put(endOfLineCode);
  return out.take();
}

}  // namespace optimizer
