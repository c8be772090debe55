// The decoded bytes of content and CMap streams, fast and bounded.
#pragma once

#include <cstddef>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer::content {

// Errors: damaged (the data does not decode whole), unsupported (a filter that holds no text, such as DCTDecode), limit
// (more than `limit` bytes come out).
Result<Bytes> decodedStream(QPDFObjectHandle stream, std::size_t limit);

// The streams of a page's Contents entry: one, several or none. Entries that are no streams are left out.
std::vector<QPDFObjectHandle> contentStreams(QPDFObjectHandle page);

// All of a page's content, its streams joined by a line feed (ISO 32000-1, 7.8.2).
Result<Bytes> pageContent(QPDFObjectHandle page, std::size_t limit);

}  // namespace optimizer::content
