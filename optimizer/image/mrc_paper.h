// Coding what lies under the ink of a page in layers: the paper, and the pictures on it.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/codec/codec.h"
#include "optimizer/image/lossy_jpx.h"
#include "optimizer/image/pixels.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

// A layer and what a viewer decodes of it.
struct CodedLayer {
  EncodedImage image;
  Pixels shown;
};

// Whether a layer codec is one that can hold paper, a mask or pictures.
bool holdsPaper(Codec codec);
bool holdsMask(Codec codec);

struct CodedPaper {
  std::optional<CodedLayer> layer;
  bool outOfReach = false;  // there is none, and finer paper would not do in so few bytes either
};

// Paper in the fewest bytes that pass what is decoded, from settings.mrcLayerQuality up; none where that
// takes `bytes` or more. settings.mrcLayerCodec: JPEG, Flate, or with JPEG 2000 and automatic the smaller of
// JPEG and JPEG 2000.
CodedPaper codePaper(const Pixels& paper, const Settings& settings, std::size_t bytes,
                     const LossJudge& judge);

// A picture at dpiX by dpiY, at 150 dpi or, where that does not carry it, finer, so that it looks the same;
// by settings.mrcPictureCodec: JPEG, JPEG 2000, Flate, or automatic, the smaller of the first two. Nothing
// where that takes `bytes` or more.
std::optional<CodedLayer> codePicture(const Pixels& picture, double dpiX, double dpiY,
                                      const Settings& settings, std::size_t bytes);

// By settings.mrcMaskCodec: Flate, or the smaller of JBIG2 and CCITT group 4.
EncodedImage codeMask(const Pixels& mask, const Settings& settings);

}  // namespace optimizer
