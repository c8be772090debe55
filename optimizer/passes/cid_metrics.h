// Widths and vertical metrics of CID fonts (ISO 32000-1, 9.7.4.3), cut down to the CIDs that content shows.
#pragma once

#include <cstdint>
#include <qpdf/QPDFObjectHandle.hh>
#include <set>

#include "optimizer/font/cid_widths.h"

namespace optimizer {

// W and DW of a CIDFont. True where they changed. What is not as it should be stays.
bool trimCidWidths(QPDFObjectHandle holder, const std::set<std::uint32_t>& cids, font::WidthDigits digits);

// W2 of a CIDFont, whose other glyphs take DW2 and half of their width. upright: false where no font writes
// from top to bottom with it, so that neither matters.
bool trimVerticalMetrics(QPDFObjectHandle holder, const std::set<std::uint32_t>& cids, bool upright,
                         font::WidthDigits digits);

}  // namespace optimizer
