// A short form of CMaps from codes to CIDs, for those that the engine carries: sorted ranges whose
// differences are small numbers, in columns, which deflate well. A CMap may be packed as changes to another
// one that has much in common with it.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/base/bytes.h"
#include "optimizer/font/cmap_text.h"

namespace optimizer::font {

// Code ranges and notdef ranges; neither the base nor the codespace. like: ranges in the order that
// unpackCmap gives.
Bytes packCmap(const CmapText& cmap, const CmapText* like);

// Nothing where the bytes are no packed CMap, or one of another `like`. Ranges come sorted, without two that
// touch and count on.
std::optional<CmapText> unpackCmap(ByteView packed, const CmapText* like);

}  // namespace optimizer::font
