#include "optimizer/font/cmap_packing.h"

#include <algorithm>
#include <set>
#include <utility>

#include "optimizer/base/deflate.h"
#include "optimizer/base/reader.h"
#include "optimizer/base/writer.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxRanges = 200'000;
constexpr std::size_t kMaxBytes = std::size_t{4} << 20;

using Ranges = std::vector<CidRange>;

bool byLow(const CidRange& a, const CidRange& b) { return a.low < b.low; }

Ranges inOrder(Ranges ranges, bool counting) {
  std::stable_sort(ranges.begin(), ranges.end(), byLow);
  Ranges joined;
  for (const CidRange& range : ranges) {
    const bool goesOn = counting && !joined.empty() && joined.back().high + 1 == range.low &&
                        joined.back().cid + (range.low - joined.back().low) == range.cid;
    goesOn ? void(joined.back().high = range.high) : joined.push_back(range);
  }
  return joined;
}

// Seven bits a byte, the low ones first.
void putNumber(Writer& out, std::uint32_t value) {
  for (; value >= 0x80; value >>= 7) out.u8((value & 0x7f) | 0x80);
  out.u8(value);
}

std::uint32_t number(Reader& in) {
  std::uint32_t value = 0;
  for (int shift = 0; shift < 35; shift += 7) {
    const std::uint8_t byte = in.u8();
    value |= static_cast<std::uint32_t>(byte & 0x7f) << shift;
    if (byte < 0x80) break;
  }
  return value;
}

std::uint32_t folded(std::uint32_t difference) {
  return difference << 1 ^ (difference >> 31 != 0 ? ~0u : 0u);
}
std::uint32_t unfolded(std::uint32_t value) { return value >> 1 ^ ((value & 1) != 0 ? ~0u : 0u); }

// Columns: how far each range begins after the last one, how long it is, and how far its CIDs are from going
// on.
void putRanges(Writer& out, const Ranges& ranges) {
  putNumber(out, static_cast<std::uint32_t>(ranges.size()));
  std::uint32_t next = 0;
  for (const CidRange& range : ranges) {
    putNumber(out, folded(range.low - next));
    next = range.high + 1;
  }
  for (const CidRange& range : ranges) putNumber(out, range.high - range.low);
  next = 0;
  for (const CidRange& range : ranges) {
    putNumber(out, folded(range.cid - next));
    next = range.cid + (range.high - range.low) + 1;
  }
}

bool readRanges(Reader& in, Ranges& ranges) {
  const std::uint32_t count = number(in);
  if (count > kMaxRanges) return false;
  ranges.resize(count);
  for (CidRange& range : ranges) range.low = unfolded(number(in));
  std::uint32_t next = 0;
  for (CidRange& range : ranges) {
    range.low += next;
    range.high = range.low + number(in);
    next = range.high + 1;
  }
  next = 0;
  for (CidRange& range : ranges) {
    range.cid = next + unfolded(number(in));
    next = range.cid + (range.high - range.low) + 1;
  }
  return in.ok();
}

}  // namespace

Bytes packCmap(const CmapText& cmap, const CmapText* like) {
  static const Ranges none;
  const Ranges& old = like != nullptr ? like->cids : none;
  const Ranges all = inOrder(cmap.cids, true);
  const std::set<CidRange> before(old.begin(), old.end()), after(all.begin(), all.end());
  // Places of ranges that go, each after the last one; then those that come.
  std::vector<std::uint32_t> gone;
  for (std::size_t i = 0, last = 0; i < old.size(); ++i) {
    if (after.count(old[i]) != 0) continue;
    gone.push_back(static_cast<std::uint32_t>(i - last));
    last = i;
  }
  Ranges come;
  for (const CidRange& range : all) {
    if (before.count(range) == 0) come.push_back(range);
  }
  Writer out;
  putNumber(out, static_cast<std::uint32_t>(gone.size()));
  for (const std::uint32_t step : gone) putNumber(out, step);
  putRanges(out, come);
  putRanges(out, inOrder(cmap.notdef, false));
  return deflate(out.view());
}

std::optional<CmapText> unpackCmap(ByteView packed, const CmapText* like) {
  const Result<Bytes> bytes = inflate(packed, kMaxBytes);
  if (!bytes.ok()) return std::nullopt;
  Reader in(*bytes);
  CmapText cmap;
  if (like != nullptr) cmap.cids = like->cids;
  std::vector<bool> gone(cmap.cids.size());
  const std::uint32_t count = number(in);
  if (count > gone.size()) return std::nullopt;
  for (std::size_t i = 0, at = 0; i < count; ++i) {
    at += number(in);
    if (at >= gone.size()) return std::nullopt;
    gone[at] = true;
  }
  std::size_t place = 0;
  std::erase_if(cmap.cids, [&](const CidRange&) { return gone[place++]; });
  Ranges come;
  if (!readRanges(in, come) || !readRanges(in, cmap.notdef) || !in.atEnd()) return std::nullopt;
  cmap.cids.insert(cmap.cids.end(), come.begin(), come.end());
  std::stable_sort(cmap.cids.begin(), cmap.cids.end(), byLow);
  return cmap;
}

}  // namespace optimizer::font
