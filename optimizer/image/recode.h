// The one evaluator: what an image may become, and which of it is smallest without harm.
#pragma once

#include <optional>

#include "optimizer/base/result.h"
#include "optimizer/codec/codec.h"
#include "optimizer/image/source.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

enum class ImageRole : std::uint8_t { picture, softMask, stencil };

struct ImageJob {
  ImageSource source;
  ImageRole role = ImageRole::picture;
  // The picture's soft mask where both have the same size: what it hides does not bleed into what is seen.
  std::optional<ImageSource> softMask;
  // Effective resolution at the largest use; 0 where the image is not known to be drawn: then it is only
  // coded anew without loss.
  double dpiX = 0, dpiY = 0;
  // Largest share of a page that one use covers, 0 to 1.
  double pageCoverage = 1;
  // Grey samples of this image look the same in DeviceGray, RGB ones in DeviceRGB.
  bool deviceColors = false;
  // Samples stand for brightness in a way far from the device's, so that losses show more than the samples say.
  bool unlikeDevice = false;
  // The image must keep its size and every sample (Matte, colour-key masks on others, unknown use).
  bool losslessOnly = false;
  // The image is preblended with its soft mask's Matte colour (ISO 32000-1, 11.6.5.3): both keep their size,
  // and the image its number of components.
  bool preblended = false;
};

struct RecodedImage {
  EncodedImage image;
  // The stored samples mean what they meant: colour space, Decode array and bits stay as the dictionary has
  // them, and only data, filter and parameters change.
  bool sameSamples = false;
  // A soft mask that hides nothing: the picture can do without it.
  bool opaqueMask = false;
};

// The smallest form that the settings allow and that keeps the look; nothing where the image is best left as
// it is. Damaged or unsupported images are left as they are, too.
std::optional<RecodedImage> recodeImage(const ImageJob& job, const Settings& settings);

// Peak memory of recodeImage, in bytes.
std::size_t recodingCost(const ImageJob& job);

}  // namespace optimizer
