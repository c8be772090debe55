#include "optimizer/document/write/xref.h"

#include <algorithm>

#include "optimizer/base/deflate.h"

namespace optimizer {
namespace {

unsigned bytesFor(std::uint64_t value) { return std::max(1u, (bitsFor(value) + 7) / 8); }

}  // namespace

unsigned bitsFor(std::uint64_t value) {
  unsigned bits = 0;
  for (; value != 0; value >>= 1) ++bits;
  return bits;
}

void BitWriter::put(std::uint64_t value, unsigned bits) {
  while (bits > 0) {
    if (free_ == 0) {
      bytes_.push_back(0);
      free_ = 8;
    }
    const unsigned take = std::min(bits, free_);
    const std::uint64_t part = value >> (bits - take) & ((1u << take) - 1);
    bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | part << (free_ - take));
    free_ -= take;
    bits -= take;
  }
}

void BitWriter::align() { free_ = 0; }

std::string xrefStream(int number, int first, const std::vector<XrefEntry>& table, int size,
                       const std::string& entries) {
  std::uint64_t place = 0, index = 0;
  for (const XrefEntry& entry : table) {
    place = std::max(place, entry.place);
    index = std::max<std::uint64_t>(index, entry.index);
  }
  const unsigned placeBytes = bytesFor(place), indexBytes = index == 0 ? 0 : bytesFor(index);
  const std::size_t row = 1 + placeBytes + indexBytes;
  Bytes plain;
  for (const XrefEntry& entry : table) {
    plain.push_back(entry.type);
    for (unsigned i = placeBytes; i-- > 0;) plain.push_back(static_cast<std::uint8_t>(entry.place >> (8 * i)));
    for (unsigned i = indexBytes; i-- > 0;) plain.push_back(static_cast<std::uint8_t>(entry.index >> (8 * i)));
  }
  // The PNG predictor Up turns rows that count upwards into rows that are alike.
  Bytes predicted;
  for (std::size_t i = 0; i < plain.size(); ++i) {
    if (i % row == 0) predicted.push_back(2);
    predicted.push_back(static_cast<std::uint8_t>(plain[i] - (i >= row ? plain[i - row] : 0)));
  }
  const Bytes simple = deflate(plain), up = deflate(predicted);
  const std::string parms = "/DecodeParms<</Columns " + std::to_string(row) + "/Predictor 12>>";
  const bool useUp = up.size() + parms.size() < simple.size();
  const Bytes& data = useUp ? up : simple;

  std::string out = std::to_string(number) + " 0 obj\n<</Type/XRef/Size " + std::to_string(size);
  if (first != 0 || static_cast<int>(table.size()) != size) {
    out += "/Index[" + std::to_string(first) + " " + std::to_string(table.size()) + "]";
  }
  out += "/W[1 " + std::to_string(placeBytes) + " " + std::to_string(indexBytes) + "]" + entries +
         "/Filter/FlateDecode" + (useUp ? parms : "") + "/Length " + std::to_string(data.size()) + ">>\nstream\n";
  out.append(data.begin(), data.end());
  return out + "\nendstream\nendobj\n";
}

}  // namespace optimizer
