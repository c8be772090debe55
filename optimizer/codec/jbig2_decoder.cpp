#include "optimizer/codec/jbig2_decoder.h"

#include <algorithm>

#include "optimizer/codec/jbig2_generic.h"
#include "optimizer/codec/jbig2_segments.h"

namespace optimizer {

namespace {

using namespace jbig2;

class Reader {
 public:
  explicit Reader(ByteView data) : data_(data) {}
  bool has(std::size_t n) const { return data_.size() - at_ >= n; }
  bool atEnd() const { return at_ == data_.size(); }
  // Past the end everything reads as 0 and failed() becomes true.
  std::uint32_t get(int bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) {
      if (at_ == data_.size()) {
        failed_ = true;
        return 0;
      }
      value = value << 8 | data_[at_++];
    }
    return value;
  }
  ByteView take(std::size_t n) {
    if (!has(n)) {
      failed_ = true;
      n = data_.size() - at_;
    }
    ByteView part = data_.subspan(at_, n);
    at_ += n;
    return part;
  }
  ByteView rest() { return take(data_.size() - at_); }
  bool failed() const { return failed_; }

 private:
  ByteView data_;
  std::size_t at_ = 0;
  bool failed_ = false;
};

struct SegmentHeader {
  std::uint32_t number = 0;
  int type = 0;
  std::uint32_t length = 0;
};

Error damaged(const char* what) { return {ErrorKind::damaged, std::string("JBIG2: ") + what}; }

class PageDecoder {
 public:
  explicit PageDecoder(std::size_t maxPixels) : maxPixels_(maxPixels) {}

  Status segments(ByteView data);
  Result<Bitonal> page() {
    if (page_.width == 0) return damaged("no page");
    return std::move(page_);
  }

 private:
  Status readHeader(Reader& in, SegmentHeader& header);
  Status pageInformation(Reader in);
  Status genericRegion(Reader in);
  void combine(const Bitonal& region, std::int64_t x, std::int64_t y, int how);

  std::size_t maxPixels_;
  Bitonal page_;
};

// Segment header (T.88, 7.2).
Status PageDecoder::readHeader(Reader& in, SegmentHeader& header) {
  header.number = in.get(4);
  std::uint32_t flags = in.get(1);
  header.type = static_cast<int>(flags & 63);
  std::uint32_t count = in.get(1) >> 5;
  if (count == 7) return Error{ErrorKind::unsupported, "JBIG2: long reference list"};
  in.take(count * (header.number <= 256 ? 1 : header.number <= 65536 ? 2 : 4));
  in.take(flags & 0x40 ? 4 : 1);
  header.length = in.get(4);
  if (in.failed()) return damaged("segment header cut short");
  return {};
}

Status PageDecoder::segments(ByteView data) {
  Reader in(data);
  while (!in.atEnd()) {
    SegmentHeader header;
    OPTIMIZER_TRY(readHeader(in, header));
    if (!in.has(header.length)) return damaged("segment cut short");
    Reader body(in.take(header.length));
    switch (static_cast<SegmentType>(header.type)) {
      case SegmentType::pageInformation:
        OPTIMIZER_TRY(pageInformation(body));
        break;
      case SegmentType::immediateGeneric:
      case SegmentType::immediateLosslessGeneric:
        OPTIMIZER_TRY(genericRegion(body));
        break;
      case SegmentType::endOfPage:
      case SegmentType::endOfFile:
        return {};
      case SegmentType::endOfStripe:
      case SegmentType::profiles:
      case SegmentType::extension:
        break;
      default:
        return Error{ErrorKind::unsupported, "JBIG2: segment type " + std::to_string(header.type)};
    }
  }
  return {};
}

Status PageDecoder::pageInformation(Reader in) {
  std::uint32_t width = in.get(4), height = in.get(4);
  in.get(4);
  in.get(4);
  std::uint32_t flags = in.get(1);
  in.get(2);
  if (in.failed() || width == 0 || height == 0) return damaged("page information");
  if (height == 0xFFFFFFFF) return Error{ErrorKind::unsupported, "JBIG2: page of unknown height"};
  if (page_.width) return damaged("two pages");
  if (width > maxPixels_ || height > maxPixels_ / width || (width | height) >> 30)
    return Error{ErrorKind::limit, "JBIG2: page too large"};
  page_ = Bitonal(static_cast<int>(width), static_cast<int>(height));
  if (flags & 4) std::fill(page_.bits.begin(), page_.bits.end(), std::uint8_t{0xFF});
  return {};
}

Status PageDecoder::genericRegion(Reader in) {
  std::uint32_t width = in.get(4), height = in.get(4), x = in.get(4), y = in.get(4), how = in.get(1) & 7;
  std::uint32_t flags = in.get(1);
  if (in.failed() || page_.width == 0) return damaged("generic region");
  if (flags & 1) return Error{ErrorKind::unsupported, "JBIG2: MMR region"};
  if (width == 0 || height == 0) return {};
  if (width > maxPixels_ || height > maxPixels_ / width || (width | height) >> 30)
    return Error{ErrorKind::limit, "JBIG2: region too large"};
  GenericParams params = nominalParams(static_cast<int>(flags >> 1 & 3), flags & 8);
  for (int i = 0; i < adaptivePixelCount(params.template_); ++i) {
    params.at[i].x = static_cast<std::int8_t>(in.get(1));
    params.at[i].y = static_cast<std::int8_t>(in.get(1));
    if (params.at[i].y > 0 || (params.at[i].y == 0 && params.at[i].x >= 0)) return damaged("adaptive pixel");
  }
  if (in.failed()) return damaged("generic region");
  Decoder decoder(in.rest());
  Contexts contexts(contextCount(params.template_));
  auto region = decodeGeneric(decoder, contexts, static_cast<int>(width), static_cast<int>(height), params);
  if (!region) return region.error();
  combine(region->picture(), static_cast<std::int32_t>(x), static_cast<std::int32_t>(y),
          static_cast<int>(how));
  return {};
}

void PageDecoder::combine(const Bitonal& region, std::int64_t x0, std::int64_t y0, int how) {
  for (int y = 0; y < region.height; ++y) {
    std::int64_t py = y0 + y;
    if (py < 0 || py >= page_.height) continue;
    for (int x = 0; x < region.width; ++x) {
      std::int64_t px = x0 + x;
      if (px < 0 || px >= page_.width) continue;
      std::uint8_t& byte = page_.row(static_cast<int>(py))[px >> 3];
      std::uint8_t mask = static_cast<std::uint8_t>(0x80 >> (px & 7));
      bool old = byte & mask, bit = region.at(x, y);
      bool result = how == 0   ? old || bit
                    : how == 1 ? old && bit
                    : how == 2 ? old != bit
                    : how == 3 ? old == bit
                               : bit;
      byte = result ? byte | mask : byte & ~mask;
    }
  }
}

}  // namespace

Result<Bitonal> decodeJbig2(ByteView data, ByteView globals, std::size_t maxPixels) {
  PageDecoder decoder(maxPixels);
  OPTIMIZER_TRY(decoder.segments(globals));
  OPTIMIZER_TRY(decoder.segments(data));
  return decoder.page();
}

}  // namespace optimizer
