// The bytes of streams, bounded: whatever a document says, a stream never grows beyond the limits.
#pragma once

#include <optional>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer {

// The coded bytes of a stream as they stand in the file, decrypted.
Result<Bytes> rawStreamData(QPDFObjectHandle stream);

// The bytes of a stream with its filters undone. Errors: unsupported (a filter of images, such as DCTDecode, or an
// unknown one), damaged, limit (the stream is a bomb).
Result<Bytes> decodedStreamData(QPDFObjectHandle stream);

// The same without keeping the bytes.
Status checkDecodes(QPDFObjectHandle stream);

// Puts coded bytes in place. filter: a name such as "/FlateDecode" or an array of them, or null for none; parms likewise.
void setStreamData(QPDFObjectHandle stream, Bytes coded, QPDFObjectHandle filter, QPDFObjectHandle parms);

}  // namespace optimizer
