// What every image encoder hands back: bytes, and what a PDF image dictionary must say for a reader to decode
// them.
#pragma once

#include <string>

#include "optimizer/base/bytes.h"
#include "optimizer/image/pixels.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

struct EncodedImage {
  Codec codec = Codec::none;
  Bytes data;
  std::string filter;  // value of /Filter without the slash, such as "DCTDecode"
  std::string
      decodeParms;  // value of /DecodeParms in PDF syntax, such as "<</Predictor 15/Colors 3>>"; "" for none
  Bytes jbig2Globals;  // /JBIG2Globals segments shared by several images; empty for none
  std::uint32_t width = 0, height = 0;
  unsigned bitsPerComponent = 8;
  // Kind of the coded samples. For `indexed`, palette holds the colours in the base space, paletteKind its
  // kind.
  ColorKind kind = ColorKind::grey;
  Bytes palette;
  ColorKind paletteKind = ColorKind::rgb;
  // True where the coded samples are the complement of the Pixels (DCT of CMYK after Adobe's habit, for
  // instance): the image then wants the Decode array [1 0 …].
  bool inverted = false;
  // True where decoding gives back the very samples that went in.
  bool lossless = true;

  // What the image costs in the file: data, parameters and palette.
  std::size_t cost() const { return data.size() + decodeParms.size() + palette.size() + jbig2Globals.size(); }
};

}  // namespace optimizer
