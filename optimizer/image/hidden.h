// What a soft mask hides of a picture.
#pragma once

#include "optimizer/image/pixels.h"

namespace optimizer {

// Gives pixels where alpha is 0 the colours of what is seen around them: the look is the same, there is less to
// code, and edges are judged by what shows. flat: one colour for all of them, the most frequent of what is seen.
// alpha: 8-bit grey of the picture's size. False where nothing is hidden.
bool fillUnderMask(Pixels& pixels, const Pixels& alpha, bool flat);

}  // namespace optimizer
