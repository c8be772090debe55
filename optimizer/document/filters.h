// The filters that wrap any kind of bytes (ISO 32000-1, 7.4): undone on plain bytes, so that worker threads can do it.
#pragma once

#include <cstddef>
#include <string>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer {

// Each stops with an Error: damaged where the bytes are not what the filter makes, limit beyond `limit` bytes.
Result<Bytes> decodeAsciiHex(ByteView coded, std::size_t limit);
Result<Bytes> decodeAscii85(ByteView coded, std::size_t limit);
Result<Bytes> decodeRunLength(ByteView coded, std::size_t limit);
Result<Bytes> decodeLzw(ByteView coded, bool earlyChange, std::size_t limit);

}  // namespace optimizer
