// What the perceptual quality asks of an image: how it is looked at, and what must be left of its look.
#pragma once

#include "optimizer/image/classify.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/recode.h"
#include "optimizer/image/score.h"

namespace optimizer {

// Masks shape edges, so they are held higher than pictures, which at normal viewing size pass for the original.
extern const LookFloor maskFloor;
LookFloor floorFor(const ImageJob& job, const Settings& settings, const ImageFacts& facts);

// Whether the look decides over images that are resampled in this way. A quality that is a number says what a JPEG
// encoder should do, not what comes of it; from 50 on, and where the resolution is no coarser than what screens show,
// images are held to the look, too: some take fewer bytes than the number gives, some suffer at it and take more.
bool lookDecides(const Settings& settings, const Resampling& wanted);

// The original as it is looked at, prepared once.
struct Views {
  Views(const Pixels& original, const ImageJob& job);
  LookReference area, blocks;
};

bool looksRight(const Views& views, const Pixels& candidate, const LookFloor& floor);

}  // namespace optimizer
