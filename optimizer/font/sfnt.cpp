#include "optimizer/font/sfnt.h"

#include "optimizer/base/reader.h"
#include "optimizer/base/writer.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxTables = 128;

std::uint32_t checksum(ByteView data) {
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i < data.size(); i += 4) {
    std::uint32_t word = 0;
    for (std::size_t k = i; k < i + 4; ++k) word = word << 8 | (k < data.size() ? data[k] : 0u);
    sum += word;
  }
  return sum;
}

}  // namespace

Result<SfntTables> readSfnt(ByteView data) {
  Reader in(data);
  const std::uint32_t version = in.u32();
  if (version != 0x00010000 && version != 0x74727565 && version != 0x4f54544f) {
    return Error{ErrorKind::damaged, "sfnt: unknown version"};
  }
  const std::size_t count = in.u16();
  in.skip(6);
  if (count > kMaxTables) return Error{ErrorKind::damaged, "sfnt: too many tables"};
  SfntTables tables;
  for (std::size_t i = 0; i < count; ++i) {
    const ByteView tag = in.bytes(4);
    in.skip(4);
    const std::size_t offset = in.u32(), length = in.u32();
    if (!in.ok()) return Error{ErrorKind::damaged, "sfnt: the directory is cut off"};
    // A table cut off at the end of the file is read as far as it goes, as viewers do.
    tables.emplace(std::string(tag.begin(), tag.end()), slice(data, offset, length));
  }
  return tables;
}

Bytes writeSfnt(std::uint32_t version, const std::map<std::string, Bytes>& tables) {
  const auto count = static_cast<std::uint32_t>(tables.size());
  std::uint32_t power = 1, log = 0;
  while (power * 2 <= count) {
    power *= 2;
    ++log;
  }
  Writer out;
  out.u32(version);
  out.u16(count);
  out.u16(power * 16);
  out.u16(log);
  out.u16((count - power) * 16);
  std::size_t offset = 12 + 16 * tables.size(), headAt = 0;
  for (const auto& [tag, bytes] : tables) {
    out.text(tag);
    out.u32(checksum(bytes));
    out.u32(static_cast<std::uint32_t>(offset));
    out.u32(static_cast<std::uint32_t>(bytes.size()));
    if (tag == "head") headAt = offset;
    offset += (bytes.size() + 3) / 4 * 4;
  }
  for (const auto& [tag, bytes] : tables) {
    out.bytes(bytes);
    out.align(4);
  }
  // The adjustment makes the whole file sum to a constant; the table's own checksum is taken with zero in its place.
  if (headAt != 0) out.patch(headAt + 8, 0xB1B0AFBA - checksum(out.view()), 4);
  return out.take();
}

}  // namespace optimizer::font
