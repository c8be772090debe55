#include "optimizer/codec/jbig2_encoder.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>
#include <vector>

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

// Rows that stand for a large picture while its parameters are chosen: bands of it, those with most black.
Bitonal sampleOf(BitonalView picture) {
  constexpr int bandRows = 32;
  constexpr std::int64_t samplePixels = 120000;
  const int wanted = static_cast<int>(std::max<std::int64_t>(2 * bandRows, samplePixels / picture.width));
  if (picture.height <= wanted) {
    Bitonal all(picture.width, picture.height);
    for (int y = 0; y < picture.height; ++y) std::copy_n(picture.row(y), all.stride, all.row(y));
    return all;
  }
  std::vector<std::pair<std::int64_t, int>> bands;  // minus the black pixels, first row
  for (int y = 0; y + bandRows <= picture.height; y += bandRows) {
    std::int64_t black = 0;
    for (int row = y; row < y + bandRows; ++row)
      for (std::size_t i = 0; i < (static_cast<std::size_t>(picture.width) + 7) / 8; ++i)
        black += std::popcount(picture.row(row)[i]);
    bands.emplace_back(-black, y);
  }
  std::sort(bands.begin(), bands.end());
  bands.resize(std::max<std::size_t>(1, std::min(bands.size(), static_cast<std::size_t>(wanted / bandRows))));
  Bitonal sample(picture.width, static_cast<int>(bands.size()) * bandRows);
  for (std::size_t i = 0; i < bands.size(); ++i)
    for (int row = 0; row < bandRows; ++row)
      std::copy_n(picture.row(bands[i].second + row), sample.stride,
                  sample.row(static_cast<int>(i) * bandRows + row));
  return sample;
}

// Places for the adaptive pixels of template 0 that pay in practice: further along strokes, and at the
// periods of common halftones.
constexpr AdaptivePixel places[] = {{4, -1}, {5, -1}, {6, -1},  {-5, 0}, {-8, 0}, {-1, -3},
                                    {1, -3}, {2, -3}, {-1, -4}, {1, -4}, {0, -8}};

// Blank and nearly blank pictures have nothing left to gain.
constexpr std::size_t worthPlacing = 300;

// Gives each adaptive pixel in turn the place that codes the sample in the fewest bytes.
void placeAdaptivePixels(GenericParams& params, const Padded& sample) {
  std::size_t least = codeGeneric(sample, params).size();
  if (least <= worthPlacing) return;
  for (int i = 0; i < adaptivePixelCount(params.template_); ++i) {
    const GenericParams before = params;
    for (AdaptivePixel place : places) {
      if (std::find(before.at.begin(), before.at.end(), place) != before.at.end()) continue;
      GenericParams trial = before;
      trial.at[static_cast<std::size_t>(i)] = place;
      const std::size_t size = codeGeneric(sample, trial).size();
      if (size >= least) continue;
      least = size;
      params = trial;
    }
    if (params.at == before.at) break;  // the next one would rarely do better
  }
}

Coded chooseForSmall(BitonalView view, const Padded& picture) {
  Coded best{nominalParams(0, false), codeGeneric(picture, nominalParams(0, false))};
  if (manyRowsRepeat(picture)) keepSmaller(best, picture, nominalParams(0, true));
  for (int t = 1; t < 4; ++t) keepSmaller(best, picture, nominalParams(t, best.params.typicalPrediction));
  GenericParams params = best.params;
  placeAdaptivePixels(params, Padded(sampleOf(view)));
  if (params.at != best.params.at) keepSmaller(best, picture, params);
  return best;
}

// The whole of a large picture is coded once: its sample decides before.
Coded chooseForLarge(BitonalView view, const Padded& picture) {
  GenericParams params = nominalParams(0, false);
  placeAdaptivePixels(params, Padded(sampleOf(view)));
  Coded best{params, codeGeneric(picture, params)};
  params.typicalPrediction = true;
  if (manyRowsRepeat(picture)) keepSmaller(best, picture, params);
  return best;
}

Coded chooseGeneric(BitonalView view, const Padded& picture, Jbig2Effort effort) {
  if (effort == Jbig2Effort::fast) return {nominalParams(0, false), codeGeneric(picture, nominalParams(0, false))};
  const bool small = std::int64_t{picture.width()} * picture.height() <= smallPicture;
  return small ? chooseForSmall(view, picture) : chooseForLarge(view, picture);
}

}  // namespace

Bytes encodeJbig2(BitonalView picture, Jbig2Effort effort) {
  Padded padded(picture);
  Coded coded = chooseGeneric(picture, padded, effort);
  SegmentWriter out;
  out.pageInformation(picture.width, picture.height);
  out.genericRegion(picture.width, picture.height, coded.params, coded.data);
  return out.take();
}

}  // namespace optimizer
