#include "optimizer/codec/jbig2_encoder.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "optimizer/codec/jbig2_generic.h"
#include "optimizer/codec/jbig2_segments.h"

namespace optimizer {

namespace {

using namespace jbig2;

Bytes codeGeneric(const Padded& picture, const GenericParams& params) {
  Encoder encoder;
  Contexts contexts(contextCount(params.template_));
  encodeGeneric(encoder, contexts, picture, params);
  return encoder.finish();
}

// Typical prediction pays where many rows that are not blank repeat the row above (enlarged or synthetic
// pictures), and where nearly all rows do.
bool manyRowsRepeat(const Padded& picture) {
  int repeated = 0, blank = 0;
  for (int y = 0; y < picture.height(); ++y) {
    if (!picture.sameRows(y - 1, y)) continue;
    ++repeated;
    blank += picture.blankRow(y);
  }
  return repeated - blank > picture.height() / 20 || repeated > picture.height() / 20 * 19;
}

struct Coded {
  GenericParams params;
  Bytes data;
};

void keepSmaller(Coded& best, const Padded& picture, const GenericParams& params) {
  Bytes data = codeGeneric(picture, params);
  if (data.size() < best.data.size()) best = {params, std::move(data)};
}

// The smaller templates learn faster, so they are worth a look in small pictures only.
constexpr std::int64_t smallPicture = 1 << 18;

Coded chooseGeneric(const Padded& picture, Jbig2Effort effort) {
  GenericParams params = nominalParams(0, false);
  Coded best{params, codeGeneric(picture, params)};
  if (effort == Jbig2Effort::fast) return best;
  if (manyRowsRepeat(picture)) keepSmaller(best, picture, nominalParams(0, true));
  if (std::int64_t{picture.width()} * picture.height() <= smallPicture)
    for (int t = 1; t < 4; ++t) keepSmaller(best, picture, nominalParams(t, best.params.typicalPrediction));
  return best;
}

}  // namespace

Bytes encodeJbig2(BitonalView picture, Jbig2Effort effort) {
  Padded padded(picture);
  Coded coded = chooseGeneric(padded, effort);
  SegmentWriter out;
  out.pageInformation(picture.width, picture.height);
  out.genericRegion(picture.width, picture.height, coded.params, coded.data);
  return out.take();
}

}  // namespace optimizer
