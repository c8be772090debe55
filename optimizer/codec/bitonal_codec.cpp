#include "optimizer/codec/bitonal_codec.h"

#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/jbig2_encoder.h"

namespace optimizer {

Bitonal bitonalOf(const Pixels& pixels) {
  Bitonal picture(static_cast<int>(pixels.width()), static_cast<int>(pixels.height()));
  for (std::size_t i = 0; i < picture.bits.size(); ++i)
    picture.bits[i] = static_cast<std::uint8_t>(~pixels.samples()[i]);
  return picture;
}

Pixels pixelsOf(BitonalView picture) {
  Pixels pixels(static_cast<std::uint32_t>(picture.width), static_cast<std::uint32_t>(picture.height), 1,
                ColorKind::grey, 1);
  for (int y = 0; y < picture.height; ++y) {
    std::uint8_t* row = pixels.row(static_cast<std::uint32_t>(y));
    for (std::size_t i = 0; i < pixels.stride(); ++i) row[i] = static_cast<std::uint8_t>(~picture.row(y)[i]);
    if (picture.width & 7)
      row[pixels.stride() - 1] &= static_cast<std::uint8_t>(0xFF00 >> (picture.width & 7));
  }
  return pixels;
}

EncodedImage encodeBitonal(const Pixels& pixels) {
  EncodedImage image;
  image.codec = Codec::bitonal;
  image.width = pixels.width();
  image.height = pixels.height();
  image.bitsPerComponent = 1;
  image.kind = ColorKind::grey;
  Bitonal picture = bitonalOf(pixels);
  image.data = encodeJbig2(picture);
  image.filter = "JBIG2Decode";
  // Its header and its learning are what group 4 may undercut.
  constexpr std::size_t smallEnough = 4 << 10;
  if (image.data.size() > smallEnough) return image;
  const Bytes fax = encodeCcittG4(picture);
  std::string parms = "<</K -1/Columns " + std::to_string(pixels.width()) + ">>";
  if (fax.size() + parms.size() < image.data.size()) {
    image.data = fax;
    image.filter = "CCITTFaxDecode";
    image.decodeParms = std::move(parms);
  }
  return image;
}

}  // namespace optimizer
