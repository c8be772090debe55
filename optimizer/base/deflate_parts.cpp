// A stream of Deflate is a row of blocks, which begin at any bit; a bit in the head of each says whether it
// is the last (RFC 1951, 3.2.3). For every part but the last one
//
//   1. that bit is cleared in its last block;
//   2. an empty stored block follows. Stored blocks begin at a byte, so the next part can be put behind it as
//   it is.
//
// The parts refer to nothing before them, and to nothing behind. Where a last block begins can be told only
// by reading all blocks before it: zlib can stop between blocks, and says at which bit.
#include "optimizer/base/deflate_parts.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"

namespace optimizer {
namespace {

// zlib's inflate at work on one raw stream.
struct BlockReader {
  z_stream stream{};
  bool ready = false;
  BlockReader() { ready = inflateInit2(&stream, -MAX_WBITS) == Z_OK; }
  ~BlockReader() {
    if (ready) inflateEnd(&stream);
  }
  BlockReader(const BlockReader&) = delete;
  BlockReader& operator=(const BlockReader&) = delete;
};

// Fills in where the last block is; false where there is no whole stream.
bool findLastBlock(DeflatedPart& part) {
  constexpr int unusedBits = 7, inLastBlock = 64, betweenBlocks = 128;  // in data_type
  constexpr std::size_t bitsOfByte = 8;
  BlockReader reader;
  z_stream& stream = reader.stream;
  if (!reader.ready || part.coded.size() > std::size_t{1} << 30) return false;
  std::array<std::uint8_t, std::size_t{1} << 16> plain;
  stream.next_in = part.coded.data();
  stream.avail_in = static_cast<uInt>(part.coded.size());
  while (true) {
    stream.next_out = plain.data();
    stream.avail_out = static_cast<uInt>(plain.size());
    if (inflate(&stream, Z_BLOCK) != Z_OK) return false;
    if ((stream.data_type & betweenBlocks) == 0) continue;
    const std::size_t at =
        stream.total_in * bitsOfByte - static_cast<std::size_t>(stream.data_type & unusedBits);
    if ((stream.data_type & inLastBlock) == 0) {
      part.lastBlock = at;
      continue;
    }
    part.end = at;
    return stream.total_out == part.plainBytes;
  }
}

void append(Bytes& out, const DeflatedPart& part, bool last) {
  const std::size_t begin = out.size(), bits = part.end % 8;
  const auto whole = static_cast<std::ptrdiff_t>((part.end + 7) / 8);
  out.insert(out.end(), part.coded.begin(), part.coded.begin() + whole);
  if (bits != 0) out.back() &= static_cast<std::uint8_t>((1u << bits) - 1);
  if (last) return;
  out[begin + part.lastBlock / 8] &= static_cast<std::uint8_t>(~(1u << part.lastBlock % 8));
  // Its head of three bits, all zero, and no bytes: their number and its complement.
  constexpr std::size_t headBits = 3;
  if (bits == 0 || bits + headBits > 8) out.push_back(0);
  out.insert(out.end(), {0, 0, 0xff, 0xff});
}

}  // namespace

std::optional<DeflatedPart> deflatedPart(Bytes coded, ByteView plain) {
  DeflatedPart part;
  part.coded = std::move(coded);
  part.plainBytes = plain.size();
  part.adler = static_cast<std::uint32_t>(adler32_z(1, plain.data(), plain.size()));
  if (plain.empty()) part.adler = 1;
  if (!findLastBlock(part)) return std::nullopt;
  return part;
}

Bytes joinDeflated(std::span<const DeflatedPart> parts) {
  constexpr std::size_t around = 16;  // the head, the checksum, what stands between two parts
  std::size_t bytes = around;
  for (const DeflatedPart& part : parts) bytes += part.coded.size() + around;
  Bytes out = {0x78, 0xda};  // a window of 32 KB, the strongest coding (RFC 1950, 2.2)
  out.reserve(bytes);
  std::uint32_t adler = 1;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    append(out, parts[i], i + 1 == parts.size());
    adler = static_cast<std::uint32_t>(
        adler32_combine(adler, parts[i].adler, static_cast<z_off_t>(parts[i].plainBytes)));
  }
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(adler >> shift));
  return out;
}

Bytes deflateInPartsBelow(ByteView data, std::size_t bytes, int level) {
  std::vector<std::optional<DeflatedPart>> found(deflatePartsFor(data.size()));
  if (found.size() == 1) return deflateBelow(data, bytes, level);
  const auto begin = [&](std::size_t part) { return data.size() / found.size() * part; };
  inParts(0, found.size(), 1, [&](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) {
      const ByteView plain =
          data.subspan(begin(i), (i + 1 == found.size() ? data.size() : begin(i + 1)) - begin(i));
      Bytes coded = deflateRawBelow(plain, bytes, level);
      if (coded.empty()) continue;
      coded.shrink_to_fit();  // all parts are held together
      found[i] = deflatedPart(std::move(coded), plain);
    }
  });
  std::vector<DeflatedPart> parts;
  for (std::optional<DeflatedPart>& part : found) {
    if (!part) return {};
    parts.push_back(std::move(*part));
  }
  Bytes joined = joinDeflated(parts);
  if (joined.size() >= bytes) joined.clear();
  return joined;
}

}  // namespace optimizer
