#include "optimizer/font/cmap_table.h"

#include <algorithm>

#include "optimizer/base/reader.h"
#include "optimizer/base/writer.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxSubtables = 32;
constexpr std::size_t kMaxEntries = 400'000;  // of all subtables together

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("cmap: ") + what}; }

// Format 4: segments of codes whose glyphs follow from a delta or stand in an array.
Status readSegments(ByteView table, std::size_t at, CmapSubtable& subtable, std::size_t& entries) {
  Reader in(table, at + 6);
  const std::size_t count = in.u16() / 2;
  const std::size_t ends = at + 14, starts = ends + 2 * count + 2, deltas = starts + 2 * count,
                    ranges = deltas + 2 * count;
  if (!in.ok() || ranges + 2 * count > table.size()) return damaged("a subtable is cut off");
  const auto u16 = [&](std::size_t position) {
    return position + 2 <= table.size() ? static_cast<std::uint32_t>(table[position] << 8 | table[position + 1]) : 0u;
  };
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t end = u16(ends + 2 * i), start = u16(starts + 2 * i), delta = u16(deltas + 2 * i),
                        range = u16(ranges + 2 * i);
    for (std::uint32_t code = start; code <= end && code != 0xffff; ++code) {
      if (++entries > kMaxEntries) return Error{ErrorKind::limit, "cmap: too many entries"};
      std::uint32_t glyph = 0;
      if (range == 0 || range == 0xffff) {
        glyph = (code + delta) & 0xffff;
      } else {
        glyph = u16(ranges + 2 * i + range + 2 * (code - start));
        if (glyph != 0) glyph = (glyph + delta) & 0xffff;
      }
      if (glyph != 0) subtable.glyphs.emplace(code, static_cast<std::uint16_t>(glyph));
    }
  }
  return {};
}

// entries counts the codes read so far.
Status readSubtable(ByteView table, std::size_t at, CmapSubtable& subtable, std::size_t& entries) {
  Reader in(table, at);
  const int format = in.u16();
  const auto put = [&](std::uint32_t code, std::uint32_t glyph) {
    if (glyph != 0 && glyph <= 0xffff) subtable.glyphs.emplace(code, static_cast<std::uint16_t>(glyph));
  };
  switch (format) {
    case 0:
      in.skip(4);
      for (std::uint32_t code = 0; code < 256; ++code) put(code, in.u8());
      return {};
    case 4:
      return readSegments(table, at, subtable, entries);
    case 6: {
      in.skip(4);
      const std::uint32_t first = in.u16(), count = in.u16();
      for (std::uint32_t i = 0; i < count && in.ok(); ++i) put(first + i, in.u16());
      return {};
    }
    case 10: {
      in.skip(10);
      const std::uint32_t first = in.u32(), count = in.u32();
      entries += count;
      if (entries > kMaxEntries || first > 0x10ffff) return Error{ErrorKind::limit, "cmap: too many entries"};
      for (std::uint32_t i = 0; i < count && in.ok(); ++i) put(first + i, in.u16());
      return {};
    }
    case 12: {
      in.skip(10);
      const std::uint32_t groups = in.u32();
      for (std::uint32_t g = 0; g < groups && in.ok(); ++g) {
        const std::uint32_t start = in.u32(), end = in.u32(), glyph = in.u32();
        if (end < start || end > 0x10ffff) return damaged("a bad group");
        entries += end - start + 1;
        if (entries > kMaxEntries) return Error{ErrorKind::limit, "cmap: too many entries"};
        for (std::uint32_t code = start; code <= end; ++code) put(code, glyph + (code - start));
      }
      return {};
    }
    default:
      return Error{ErrorKind::unsupported, "cmap: unknown format"};
  }
}

// Format 6, or 0 where that is shorter: codes below 256, glyphs in a row.
Bytes writeTrimmed(const CmapSubtable& subtable) {
  const std::uint32_t first = subtable.glyphs.empty() ? 0 : subtable.glyphs.begin()->first;
  const std::uint32_t last = subtable.glyphs.empty() ? 0 : subtable.glyphs.rbegin()->first;
  const auto glyph = [&](std::uint32_t code) {
    const auto found = subtable.glyphs.find(code);
    return found == subtable.glyphs.end() ? 0u : found->second;
  };
  const std::uint32_t count = subtable.glyphs.empty() ? 0 : last - first + 1;
  const bool bytesDo = std::all_of(subtable.glyphs.begin(), subtable.glyphs.end(),
                                   [](const auto& entry) { return entry.first < 256 && entry.second < 256; });
  Writer out;
  if (bytesDo && 10 + 2 * count > 262) {
    out.u16(0);
    out.u16(262);
    out.u16(0);
    for (std::uint32_t code = 0; code < 256; ++code) out.u8(glyph(code));
  } else {
    out.u16(6);
    out.u16(10 + 2 * count);
    out.u16(0);
    out.u16(first);
    out.u16(count);
    for (std::uint32_t i = 0; i < count; ++i) out.u16(glyph(first + i));
  }
  return out.take();
}

struct Run {
  std::uint32_t start = 0, end = 0, glyph = 0;
};

std::vector<Run> runsOf(const CmapSubtable& subtable) {
  std::vector<Run> runs;
  for (const auto& [code, glyph] : subtable.glyphs) {
    if (!runs.empty() && code == runs.back().end + 1 && glyph == runs.back().glyph + (code - runs.back().start)) {
      runs.back().end = code;
    } else {
      runs.push_back({code, code, glyph});
    }
  }
  return runs;
}

Bytes writeSegments(const std::vector<Run>& all) {
  std::vector<Run> runs = all;
  runs.push_back({0xffff, 0xffff, 0});
  const auto count = static_cast<std::uint32_t>(runs.size());
  std::uint32_t power = 1, log = 0;
  while (power * 2 <= count) {
    power *= 2;
    ++log;
  }
  Writer out;
  out.u16(4);
  out.u16(16 + 8 * count);
  out.u16(0);
  out.u16(2 * count);
  out.u16(2 * power);
  out.u16(log);
  out.u16(2 * (count - power));
  for (const Run& run : runs) out.u16(run.end);
  out.u16(0);
  for (const Run& run : runs) out.u16(run.start);
  for (const Run& run : runs) out.u16(run.start == 0xffff ? 1 : (run.glyph - run.start) & 0xffff);
  for (std::uint32_t i = 0; i < count; ++i) out.u16(0);
  return out.take();
}

Bytes writeGroups(const std::vector<Run>& runs) {
  Writer out;
  out.u16(12);
  out.u16(0);
  out.u32(static_cast<std::uint32_t>(16 + 12 * runs.size()));
  out.u32(0);
  out.u32(static_cast<std::uint32_t>(runs.size()));
  for (const Run& run : runs) {
    out.u32(run.start);
    out.u32(run.end);
    out.u32(run.glyph);
  }
  return out.take();
}

Bytes writeSubtable(const CmapSubtable& subtable) {
  const bool low = subtable.glyphs.empty() || subtable.glyphs.rbegin()->first < 256;
  if (subtable.platform == 1 && low) return writeTrimmed(subtable);
  const std::vector<Run> runs = runsOf(subtable);
  const bool wide = !runs.empty() && runs.back().end > 0xfffe;
  // A subtable of more segments than a 16-bit length can tell is written as groups.
  return wide || runs.size() > 8000 ? writeGroups(runs) : writeSegments(runs);
}

}  // namespace

Result<std::vector<CmapSubtable>> readCmap(ByteView table) {
  Reader in(table);
  in.skip(2);
  const std::size_t count = in.u16();
  if (!in.ok() || count > kMaxSubtables) return damaged("a bad directory");
  std::vector<CmapSubtable> subtables;
  std::size_t entries = 0;
  for (std::size_t i = 0; i < count; ++i) {
    CmapSubtable subtable;
    subtable.platform = in.u16();
    subtable.encoding = in.u16();
    const std::size_t offset = in.u32();
    if (!in.ok()) return damaged("a bad directory");
    Reader format(table, offset);
    if (format.u16() == 14) continue;
    OPTIMIZER_TRY(readSubtable(table, offset, subtable, entries));
    subtables.push_back(std::move(subtable));
  }
  return subtables;
}

Bytes writeCmap(const std::vector<CmapSubtable>& subtables) {
  Writer out;
  out.u16(0);
  out.u16(static_cast<std::uint32_t>(subtables.size()));
  const std::size_t start = 4 + 8 * subtables.size();
  Writer body;
  std::vector<std::size_t> offsets;
  for (std::size_t i = 0; i < subtables.size(); ++i) {
    std::size_t same = 0;
    const auto alike = [&](const CmapSubtable& other) {
      return other.glyphs == subtables[i].glyphs && (other.platform == 1) == (subtables[i].platform == 1);
    };
    while (same < i && !alike(subtables[same])) ++same;
    offsets.push_back(same < i ? offsets[same] : start + body.size());
    if (same == i) body.bytes(writeSubtable(subtables[i]));
    out.u16(subtables[i].platform);
    out.u16(subtables[i].encoding);
    out.u32(static_cast<std::uint32_t>(offsets[i]));
  }
  out.bytes(body.view());
  return out.take();
}

}  // namespace optimizer::font
