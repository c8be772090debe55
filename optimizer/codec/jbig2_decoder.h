// JBIG2 decoder for PDF's JBIG2Decode (ISO 32000-1, 7.4.7).
#pragma once

#include <cstddef>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/bitonal.h"

namespace optimizer {

// The page that a stream and its global segments (empty for none) describe. Errors: damaged; unsupported (a
// coding that is not handled); limit (a picture of more than maxPixels pixels, or too much work for the
// data).
Result<Bitonal> decodeJbig2(ByteView data, ByteView globals, std::size_t maxPixels);

}  // namespace optimizer
