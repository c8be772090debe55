// Everything a caller can ask of one optimization, as plain values. What each means stands in
// kelv/engine/PdfOptimizeAPI.h beside its setter.
#pragma once

#include <cstdint>

namespace optimizer {

enum class ColorConversion : std::uint8_t { none = 0, rgb = 1, cmyk = 2, grey = 3 };

// Codec numbers of the C interface; a mask of them has bit 1 << codec.
enum class Codec : int { none = 0, jpeg = 1, flate = 2, lzw = 3, ccittG31d = 4, ccittG32d = 5, bitonal = 6,
                         jpeg2000 = 8, mrc = 9, automatic = 10 };

constexpr std::uint32_t codecBit(Codec codec) { return 1u << static_cast<int>(codec); }
constexpr bool allows(std::uint32_t mask, Codec codec) { return (mask & codecBit(codec)) != 0; }

enum StripBit : std::uint32_t {
  stripThreads = 0x1,
  stripMetadata = 0x2,
  stripPieceInfo = 0x4,
  stripStructureTree = 0x8,
  stripThumbnails = 0x10,
  stripSpiderInfo = 0x20,
  stripAlternateImages = 0x40,
  flattenFormFields = 0x80,
  flattenLinks = 0x100,
  flattenOtherAnnotations = 0x200,
  stripOutputIntents = 0x400,
};

// Resolution and threshold of one image class, in dots per inch; 0 switches resampling off.
struct Resampling {
  float resolution = 0;
  float threshold = 0;
};

// The defaults are the neutral ones of the custom profile: nothing is lost, nothing is resampled.
struct Settings {
  ColorConversion colorConversion = ColorConversion::none;
  std::uint32_t strip = 0;

  Resampling bitonal, monochrome, color;
  int imageQuality = 100;
  // Deflate's level (see base/deflate.h). The last quarter percent of the bytes takes a fifth of all the time: it is
  // sought where nothing may be lost, and there is no other way to make a file smaller.
  int deflateLevel() const { return imageQuality >= 100 ? 12 : 10; }
  // True for the web profile: imageQuality is a starting point, and each image gets the number that keeps its look.
  bool perceptualQuality = false;
  bool clipImages = false;
  bool reduceColorComplexity = false;
  bool forceRecompression = false;
  bool forceCompressionTypes = false;
  bool removeImages = false;
  int ditheringMode = 0;
  std::uint32_t bitonalCodecs = codecBit(Codec::bitonal) | codecBit(Codec::automatic);
  std::uint32_t continuousCodecs = codecBit(Codec::automatic);
  std::uint32_t indexedCodecs = codecBit(Codec::flate) | codecBit(Codec::automatic);

  Codec mrcLayerCodec = Codec::jpeg2000;
  Codec mrcMaskCodec = Codec::bitonal;
  Codec mrcPictureCodec = Codec::jpeg;
  float mrcLayerDpi = 70;
  int mrcLayerQuality = 10;
  bool mrcRecognizePictures = true;

  bool convertToCff = false;
  bool mergeEmbeddedFonts = false;
  bool removeStandardFonts = false;
  bool subsetFonts = false;

  bool optimizeResources = false;
  bool removeRedundantObjects = false;
  bool linearize = false;

  // Set by the engine for PDF/A-1 documents, never by a caller: passes use only what PDF 1.4 has, and no transparency
  // (no JPEG 2000, no soft masks, no filtered metadata).
  bool onlyPdf14 = false;
};

// Settings of profile 3: for screens and the web.
Settings webSettings();

}  // namespace optimizer
