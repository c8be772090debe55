// The predefined CMaps of ISO 32000-1, table 118, which PDF only names; the identities are left to the
// caller. The build packs them from Adobe's CMap resources (pack_cmaps.cpp).
#pragma once

#include <cstdint>
#include <set>
#include <string_view>

namespace optimizer::font {

// Adds the CIDs that the codes select, and those that stand for codes without one. name: without slash. False
// where no such CMap is known. Safe to call from several threads.
bool addPredefinedCids(std::string_view name, const std::set<std::uint32_t>& codes,
                       std::set<std::uint32_t>& cids);

}  // namespace optimizer::font
