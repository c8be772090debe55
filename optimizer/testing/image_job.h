// Images for the tests of recoding, as a document would hold them.
#pragma once

#include "optimizer/image/pixels.h"
#include "optimizer/image/recode.h"

namespace optimizer::testing {

// Pixels stored raw in a device colour space, used at dpi in both directions; 0: at an unknown size.
inline ImageJob jobOf(const Pixels& pixels, double dpi) {
  ImageJob job;
  job.source.width = pixels.width();
  job.source.height = pixels.height();
  job.source.bits = pixels.bits();
  job.source.color.kind = job.source.color.baseKind = pixels.kind();
  job.source.color.components = job.source.color.baseComponents = pixels.channels();
  job.source.coding = ImageCoding::raw;
  job.source.data = pixels.samples();
  job.source.storedBytes = pixels.samples().size();
  job.dpiX = job.dpiY = dpi;
  job.deviceColors = true;
  return job;
}

}  // namespace optimizer::testing
