// Conversion of samples from one colour space to another through lcms2 (ISO 15076-1).
#pragma once

#include <memory>

#include "optimizer/base/bytes.h"
#include "optimizer/image/pixels.h"
#include "optimizer/image/source.h"

namespace optimizer {

// What samples are converted to. profile: an ICC profile of that kind; empty: the device space as viewers
// take it (sRGB, grey with its curve, an average press).
struct ConversionTarget {
  ColorKind kind = ColorKind::rgb;  // grey, rgb or cmyk
  Bytes profile;
};

// Relative colorimetric with black-point compensation. One object may convert on several threads at once.
class ColorConverter {
 public:
  // from: the space of the samples or, of an indexed image, of its palette. deviceProfile: what its device
  // space means in the document, empty for what viewers take it for; of no matter where the space brings its
  // own profile. Null where the space or a profile cannot be read, or has no colours of its own (Separation,
  // DeviceN).
  static std::unique_ptr<ColorConverter> make(const ImageColorSpace& from, const Bytes& deviceProfile,
                                              const ConversionTarget& to);
  virtual ~ColorConverter() = default;

  // Samples of 8 bits, as decodeImage gives them, kind and number of channels as in `from`.
  virtual Pixels convert(const Pixels& pixels) const = 0;
};

}  // namespace optimizer
