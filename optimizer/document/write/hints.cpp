#include "optimizer/document/write/hints.h"

#include <algorithm>

#include "optimizer/base/deflate.h"
#include "optimizer/document/write/xref.h"

namespace optimizer {
namespace {

// F.4.1. Every column of entries begins at a byte. Positions and lengths of content streams are given as other writers
// give them and as readers expect them: the position as 0, the length as the page's.
void pageOffsets(BitWriter& out, const HintTables& tables) {
  std::uint64_t leastObjects = UINT64_MAX, mostObjects = 0, leastLength = UINT64_MAX, mostLength = 0;
  std::uint64_t mostShared = 0, greatestShared = 0;
  for (const PageHint& page : tables.pages) {
    leastObjects = std::min<std::uint64_t>(leastObjects, page.objects);
    mostObjects = std::max<std::uint64_t>(mostObjects, page.objects);
    leastLength = std::min(leastLength, page.length);
    mostLength = std::max(mostLength, page.length);
    mostShared = std::max<std::uint64_t>(mostShared, page.shared.size());
    for (std::uint32_t shared : page.shared) greatestShared = std::max<std::uint64_t>(greatestShared, shared);
  }
  const unsigned objectBits = bitsFor(mostObjects - leastObjects), lengthBits = bitsFor(mostLength - leastLength);
  const unsigned countBits = bitsFor(mostShared), sharedBits = bitsFor(greatestShared);
  out.put(leastObjects, 32);
  out.put(tables.firstPageOffset, 32);
  out.put(objectBits, 16);
  out.put(leastLength, 32);
  out.put(lengthBits, 16);
  out.put(0, 32);  // least offset of a content stream
  out.put(0, 16);
  out.put(leastLength, 32);
  out.put(lengthBits, 16);
  out.put(countBits, 16);
  out.put(sharedBits, 16);
  out.put(0, 16);  // bits of a numerator
  out.put(4, 16);  // the denominator, without meaning then
  for (const PageHint& page : tables.pages) out.put(page.objects - leastObjects, objectBits);
  out.align();
  for (const PageHint& page : tables.pages) out.put(page.length - leastLength, lengthBits);
  out.align();
  for (const PageHint& page : tables.pages) out.put(page.shared.size(), countBits);
  out.align();
  for (const PageHint& page : tables.pages) {
    for (std::uint32_t shared : page.shared) out.put(shared, sharedBits);
  }
  out.align();
  for (const PageHint& page : tables.pages) out.put(page.length - leastLength, lengthBits);
  out.align();
}

// F.4.2. Each group is one object, and none has a signature.
void sharedObjects(BitWriter& out, const HintTables& tables) {
  std::uint64_t least = UINT64_MAX, most = 0;
  for (std::uint64_t length : tables.sharedLengths) {
    least = std::min(least, length);
    most = std::max(most, length);
  }
  const unsigned bits = bitsFor(most - least);
  out.put(tables.firstSharedObject, 32);
  out.put(tables.firstSharedOffset, 32);
  out.put(tables.sharedInFirstPage, 32);
  out.put(tables.sharedLengths.size(), 32);
  out.put(0, 16);
  out.put(least, 32);
  out.put(bits, 16);
  for (std::uint64_t length : tables.sharedLengths) out.put(length - least, bits);
  out.align();
  for (std::size_t i = 0; i < tables.sharedLengths.size(); ++i) out.put(0, 1);
  out.align();
}

}  // namespace

std::string hintStream(int number, const HintTables& tables) {
  BitWriter out;
  pageOffsets(out, tables);
  const std::size_t sharedAt = out.bytes().size();
  sharedObjects(out, tables);
  std::string entries = "/S " + std::to_string(sharedAt);
  if (tables.outlineObjects != 0) {  // F.4.4
    entries += "/O " + std::to_string(out.bytes().size());
    out.put(tables.outlineObject, 32);
    out.put(tables.outlineOffset, 32);
    out.put(tables.outlineObjects, 32);
    out.put(tables.outlineLength, 32);
  }
  const Bytes data = deflate(out.bytes());
  std::string text = std::to_string(number) + " 0 obj\n<<" + entries + "/Filter/FlateDecode/Length " +
                     std::to_string(data.size()) + ">>\nstream\n";
  text.append(data.begin(), data.end());
  return text + "\nendstream\nendobj\n";
}

}  // namespace optimizer
