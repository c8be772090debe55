#include "optimizer/font/predefined_cmaps.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>

#include "optimizer/font/cmap_packing.h"

namespace optimizer::font {

namespace {

struct PackedCmap {
  std::string_view name;
  int base, like;  // places of the CMap that it builds on, and of the one that it is packed by; or -1
  std::size_t at, size;
};

#include "optimizer/font/predefined_cmaps.inc"

constexpr std::size_t kCount = std::size(kCmaps);

// Unpacked once; the largest takes 200 KB. What each refers to stands before it.
const CmapText* unpacked(int place) {
  static std::array<std::once_flag, kCount> flags;
  static std::array<std::optional<CmapText>, kCount> store;
  if (place < 0) return nullptr;
  const auto i = static_cast<std::size_t>(place);
  std::call_once(flags[i], [&] {
    const PackedCmap& entry = kCmaps[i];
    store[i] = unpackCmap(ByteView(kPackedCmaps).subspan(entry.at, entry.size), unpacked(entry.like));
  });
  return store[i] ? &*store[i] : nullptr;
}

bool addAt(int place, const std::set<std::uint32_t>& codes, std::set<std::uint32_t>& cids) {
  const CmapText* cmap = unpacked(place);
  if (cmap == nullptr || !addCids(*cmap, codes, cids)) return false;
  const int base = kCmaps[static_cast<std::size_t>(place)].base;
  return base < 0 || addAt(base, codes, cids);
}

}  // namespace

bool addPredefinedCids(std::string_view name, const std::set<std::uint32_t>& codes,
                       std::set<std::uint32_t>& cids) {
  for (std::size_t i = 0; i < kCount; ++i) {
    if (kCmaps[i].name != name) continue;
    cids.insert(0);
    return addAt(static_cast<int>(i), codes, cids);
  }
  return false;
}

}  // namespace optimizer::font
