// Facsimile coding of bitonal pictures: CCITT groups 3 and 4 (ITU-T T.4 and T.6; ISO 32000-1, 7.4.6).
#pragma once

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/bitonal.h"

namespace optimizer {

// The decoding parameters of CCITTFaxDecode that bear on the code. BlackIs1 does not: in Bitonal black is
// always 1.
struct CcittParams {
  int k = 0;  // below 0 group 4, 0 group 3 one-dimensional, above 0 group 3 mixed
  bool encodedByteAlign = false;
  bool endOfLine = false;  // end-of-line patterns are present; they are understood when this is false, too
  bool endOfBlock = true;  // the data ends with its own mark rather than after `rows` rows
  int columns = 1728;
  int rows = 0;  // height of the picture; 0 with endOfBlock: as many as there are
};

// Group 4, ended by its end-of-block mark, not byte aligned.
Bytes encodeCcittG4(BitonalView picture);

// Error: damaged, where a row makes no sense or the data ends before the last row (viewers disagree on what
// such a picture shows, so it is nobody's to rewrite); unsupported (uncompressed mode); limit (more than
// maxPixels pixels).
Result<Bitonal> decodeCcitt(ByteView data, const CcittParams& params, std::size_t maxPixels);

}  // namespace optimizer
