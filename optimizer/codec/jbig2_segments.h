// The segments of a JBIG2 stream as they stand in a file (ITU-T T.88, clause 7), written for page 1.
#pragma once

#include <cstdint>
#include <span>

#include "optimizer/base/bytes.h"
#include "optimizer/codec/jbig2_generic.h"

namespace optimizer::jbig2 {

// Segment types (T.88, 7.3).
enum class SegmentType : std::uint8_t {
  symbolDictionary = 0,
  intermediateText = 4,
  immediateText = 6,
  immediateLosslessText = 7,
  patternDictionary = 16,
  intermediateHalftone = 20,
  immediateHalftone = 22,
  immediateLosslessHalftone = 23,
  intermediateGeneric = 36,
  immediateGeneric = 38,
  immediateLosslessGeneric = 39,
  intermediateRefinement = 40,
  immediateRefinement = 42,
  immediateLosslessRefinement = 43,
  pageInformation = 48,
  endOfPage = 49,
  endOfStripe = 50,
  endOfFile = 51,
  profiles = 52,
  tables = 53,
  extension = 62,
};

// How a region is combined with what is on the page already (T.88, 7.4.1.5).
enum class Combination : std::uint8_t { or_ = 0, and_ = 1, xor_ = 2, xnor = 3, replace = 4 };

class SegmentWriter {
 public:
  // first: number of the first segment written; segments that others refer to have lower numbers.
  explicit SegmentWriter(std::uint32_t first = 0) : next_(first) {}

  void pageInformation(int width, int height);
  void genericRegion(int width, int height, const GenericParams& params, ByteView data,
                     Combination combination = Combination::or_);
  // A whole segment; page 0 stands for "belongs to no page", as global segments do. Returns its number.
  std::uint32_t segment(SegmentType type, std::uint8_t page, std::span<const std::uint32_t> refersTo,
                        ByteView data);

  Bytes take() { return std::move(out_); }

 private:
  std::uint32_t next_;
  Bytes out_;
};

// Big-endian numbers at the end of some bytes.
void put8(Bytes& out, std::uint32_t value);
void put16(Bytes& out, std::uint32_t value);
void put32(Bytes& out, std::uint32_t value);

// Region segment information field (T.88, 7.4.1).
void putRegionInformation(Bytes& out, int width, int height, int x, int y, Combination combination);
void putAdaptivePixels(Bytes& out, const GenericParams& params);

}  // namespace optimizer::jbig2
