#include "optimizer/codec/jbig2_segments.h"

namespace optimizer::jbig2 {

void put8(Bytes& out, std::uint32_t value) { out.push_back(static_cast<std::uint8_t>(value)); }
void put16(Bytes& out, std::uint32_t value) {
  put8(out, value >> 8);
  put8(out, value);
}
void put32(Bytes& out, std::uint32_t value) {
  put16(out, value >> 16);
  put16(out, value);
}

void putRegionInformation(Bytes& out, int width, int height, int x, int y, Combination combination) {
  put32(out, static_cast<std::uint32_t>(width));
  put32(out, static_cast<std::uint32_t>(height));
  put32(out, static_cast<std::uint32_t>(x));
  put32(out, static_cast<std::uint32_t>(y));
  put8(out, static_cast<std::uint32_t>(combination));
}

void putAdaptivePixels(Bytes& out, const GenericParams& params) {
  for (int i = 0; i < adaptivePixelCount(params.template_); ++i) {
    put8(out, static_cast<std::uint32_t>(params.at[i].x));
    put8(out, static_cast<std::uint32_t>(params.at[i].y));
  }
}

std::uint32_t SegmentWriter::segment(SegmentType type, std::uint8_t page,
                                     std::span<const std::uint32_t> refersTo, ByteView data) {
  std::uint32_t number = next_++;
  put32(out_, number);
  put8(out_, static_cast<std::uint32_t>(type));
  // At most four references fit the short form, which is all that is written here (T.88, 7.2.4).
  put8(out_, static_cast<std::uint32_t>(refersTo.size()) << 5);
  for (std::uint32_t r : refersTo) number <= 256 ? put8(out_, r) : put16(out_, r);
  put8(out_, page);
  put32(out_, static_cast<std::uint32_t>(data.size()));
  out_.insert(out_.end(), data.begin(), data.end());
  return number;
}

void SegmentWriter::pageInformation(int width, int height) {
  Bytes data;
  put32(data, static_cast<std::uint32_t>(width));
  put32(data, static_cast<std::uint32_t>(height));
  put32(data, 0);  // resolution unknown
  put32(data, 0);
  put8(data, 0x01 | 0x40);  // eventually lossless, white, OR by default, a region may combine otherwise
  put16(data, 0);           // not striped
  segment(SegmentType::pageInformation, 1, {}, data);
}

void SegmentWriter::genericRegion(int width, int height, const GenericParams& params, ByteView data,
                                  Combination combination) {
  Bytes body;
  putRegionInformation(body, width, height, 0, 0, combination);
  put8(body, static_cast<std::uint32_t>(params.template_) << 1 | (params.typicalPrediction ? 8u : 0u));
  putAdaptivePixels(body, params);
  body.insert(body.end(), data.begin(), data.end());
  segment(SegmentType::immediateLosslessGeneric, 1, {}, body);
}

}  // namespace optimizer::jbig2
