// An image XObject read from its dictionary on the document's thread, so that everything after can run on any
// other.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <qpdf/QPDFObjectHandle.hh>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/codec/flate.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

// A colour space of ISO 32000-1, 8.6, as far as images need it.
struct ImageColorSpace {
  ColorKind kind = ColorKind::grey;      // of the stored samples
  unsigned components = 1;               // of the stored samples
  ColorKind baseKind = ColorKind::grey;  // where kind is indexed: of the palette; otherwise the same as kind
  unsigned baseComponents = 1;
  Bytes palette;                                            // indexed: baseComponents bytes a colour
  bool lab = false;                                         // samples may be copied or converted only
  std::array<double, 4> labRange = {-100, 100, -100, 100};  // of a* and b*
  bool profiled = false;  // colours pass through an ICC profile or calibration
  // The ICC profile of the (base) space, or one that says what its calibration says; empty for none.
  Bytes profile;
};

// Reads a colour space; resources named by the image dictionary must be resolved already. Errors:
// unsupported, damaged.
Result<ImageColorSpace> readColorSpace(QPDFObjectHandle space);

enum class ImageCoding : std::uint8_t { raw, flate, jpeg, jpx, ccitt, jbig2 };

// Decode parameters of ISO 32000-1, Table 11.
struct CcittParms {
  int k = 0;
  std::uint32_t columns = 1728, rows = 0;
  bool endOfLine = false, byteAlign = false, endOfBlock = true, blackIs1 = false;
};

struct ImageSource {
  std::uint32_t width = 0, height = 0;
  unsigned bits = 8;
  bool stencil = false;  // /ImageMask: 0 paints
  ImageColorSpace color;
  std::vector<double> decode;  // empty where it is the default
  bool colorKeyMask = false;   // /Mask holds ranges of stored samples
  bool matte = false;          // this soft mask's parent is preblended, or this image's soft mask says so
  bool jpxAlpha = false;       // /SMaskInData
  ImageCoding coding = ImageCoding::raw;
  FlateParms flate;
  CcittParms ccitt;
  std::optional<int> colorTransform;
  Bytes data;  // as `coding` has it: filters before the last one are undone
  Bytes jbig2Globals;
  std::size_t storedBytes = 0;  // what the stream takes in the file now

  // True where the Decode array is its default or absent.
  bool plainDecode() const { return decode.empty(); }
  // True where each pair of the Decode array is the default reversed.
  bool invertedDecode() const;
  std::size_t rowBytes() const { return (std::size_t{width} * color.components * bits + 7) / 8; }
};

// True of an image XObject.
bool isImage(QPDFObjectHandle object);

// Reads the dictionary and takes the stream's bytes. Not for inline images. Errors: unsupported (left alone),
// damaged, limit.
Result<ImageSource> readImageSource(QPDFObjectHandle image);

}  // namespace optimizer
