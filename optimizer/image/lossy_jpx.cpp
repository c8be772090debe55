#include "optimizer/image/lossy_jpx.h"

#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

// The encoder does not hit a size exactly, and what is judged is what it gives.
std::optional<EncodedImage> encoded(const Pixels& pixels, std::size_t bytes, Pixels& shown) {
  if (bytes == 0) return std::nullopt;
  Result<EncodedImage> image = encodeJpx(pixels, bytes);
  if (!image) return std::nullopt;
  Result<Pixels> decoded = decodeJpx(image->data);
  if (!decoded) return std::nullopt;
  shown = std::move(*decoded);
  return std::move(*image);
}

}  // namespace

std::optional<EncodedImage> encodeJpxForLook(const Pixels& pixels, const LookTarget& target,
                                             std::size_t bytes) {
  Pixels picture;
  std::optional<EncodedImage> image = encoded(pixels, bytes, picture);
  if (!image) return std::nullopt;
  const Viewed shown(picture);
  if (!passes(target.view.compare(shown), target.floor)) return std::nullopt;
  if (target.shown.compare(shown).structure < target.floor.shown) return std::nullopt;
  if (target.closeUp.compare(shown).structure < target.floor.closeUp) return std::nullopt;
  return image;
}

std::optional<EncodedImage> encodeJpxLike(const Pixels& pixels, const EncodedImage& jpeg, std::size_t bytes) {
  const Result<Pixels> wanted = decodeJpeg(jpeg.data);
  Pixels picture;
  std::optional<EncodedImage> image = encoded(pixels, bytes, picture);
  if (!wanted || !image) return std::nullopt;
  const LookReference reference(pixels, pixels.width(), pixels.height());
  const Look least = reference.compare(*wanted), look = reference.compare(picture);
  if (look.structure < least.structure || look.busy < least.busy || look.worst < least.worst ||
      look.chroma > least.chroma) {
    return std::nullopt;
  }
  return image;
}

std::optional<EncodedImage> encodeJpxOf(const Pixels& pixels, std::size_t bytes) {
  Pixels picture;
  return encoded(pixels, bytes, picture);
}

}  // namespace optimizer
