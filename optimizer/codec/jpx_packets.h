// Code streams and files of JPEG 2000 (ISO/IEC 15444-1, Annexes A, B.9 to B.12 and I).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/codec/jpx_block.h"
#include "optimizer/codec/jpx_picture.h"

namespace optimizer::jpx {

struct CodedPicture {
  Layout layout;
  Quantiser quantiser;
  std::vector<float> visibility;  // of each block
  std::vector<CodedBlock> blocks;
};

// How many passes of each block are kept; 0 leaves the block out.
using Cuts = std::vector<std::uint16_t>;

// A JP2 file of one tile and one layer.
Bytes writeJp2(const CodedPicture& picture, const Cuts& cuts);
// What it takes.
std::size_t sizeOfJp2(const CodedPicture& picture, const Cuts& cuts);

}  // namespace optimizer::jpx
