#include "optimizer/settings/settings.h"

namespace optimizer {

Settings webSettings() {
  Settings settings;
  // Only what no reader shows: private data of the writing program, thumbnails that viewers make themselves, crawl
  // records, alternates for printing.
  settings.strip = stripPieceInfo | stripThumbnails | stripSpiderInfo | stripAlternateImages;

  settings.color = settings.monochrome = {150, 225};
  // Bitonal pixels are much smaller and cheaper: at 150 dpi letters would fall apart.
  settings.bitonal = {300, 450};
  settings.imageQuality = 75;
  settings.perceptualQuality = true;
  settings.clipImages = true;
  settings.reduceColorComplexity = true;
  settings.bitonalCodecs = codecBit(Codec::bitonal) | codecBit(Codec::automatic);
  settings.continuousCodecs = codecBit(Codec::jpeg) | codecBit(Codec::jpeg2000) | codecBit(Codec::automatic);
  settings.indexedCodecs = codecBit(Codec::flate) | codecBit(Codec::automatic);

  settings.convertToCff = true;
  settings.mergeEmbeddedFonts = true;
  settings.subsetFonts = true;

  settings.optimizeResources = true;
  settings.removeRedundantObjects = true;
  settings.linearize = true;
  return settings;
}

}  // namespace optimizer
