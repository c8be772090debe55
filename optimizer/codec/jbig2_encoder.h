// JBIG2 encoder, always lossless: what comes out decodes to the picture that went in, bit for bit.
#pragma once

#include "optimizer/base/bytes.h"
#include "optimizer/codec/bitonal.h"

namespace optimizer {

// How hard to look for the smallest coding.
enum class Jbig2Effort {
  fast,  // one coding with the parameters that suit most pages
  best,  // templates and adaptive pixels are chosen for the picture
};

// The picture as a stream for PDF's JBIG2Decode (ISO 32000-1, 7.4.7): page information and region segments of
// page 1, no file header, no global segments. Deterministic.
Bytes encodeJbig2(BitonalView picture, Jbig2Effort effort = Jbig2Effort::best);

}  // namespace optimizer
