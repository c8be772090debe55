// Streams that are tables of numbers: colour profiles, sampled functions, meshes. Neighbours in them differ
// little, so the differences of their bytes pack far better (the TIFF predictor of ISO 32000-1, 7.4.4.4).
// Differences of numbers of 16 bits would pack better still, but not every reader knows them.
#pragma once

#include <cstdint>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"

namespace optimizer {

// How many bytes one entry of the table has that a stream holds by its dictionary, 1 to 32; 0 for streams
// that are none.
unsigned tableStep(QPDFObjectHandle dictionary);

// How many entries `bytes` bytes are; 0 where they are not a whole number of them, or too many for one row.
std::uint32_t tableColumns(unsigned step, std::size_t bytes);

// The bytes that predictor 2 turns into plain, with the table as one row.
Bytes tableDifferences(unsigned step, ByteView plain);

}  // namespace optimizer
