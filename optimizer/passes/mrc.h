// Scanned pages in layers (image/mrc_layers.h): which images may be coded so, and what takes their place.
#pragma once

#include <optional>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/image/mrc_layers.h"
#include "optimizer/image/recode.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

// True where the settings allow layers and the image is one that they suit: grey or RGB without masks,
// covering this share of its page at least once.
bool layersSuit(QPDFObjectHandle image, const ImageJob& job, double pageCoverage, const Settings& settings);

// Layers that take fewer bytes than toBeat; nothing where they do not, or do not look right. For any thread.
std::optional<LayeredImage> layersOf(const ImageJob& job, const Settings& settings, std::size_t toBeat);

// Makes a form XObject of the image, in place: it paints the layers on the unit square that the image was
// drawn on, so that every content stream that draws it stays as it is.
void replaceByLayers(QPDF& pdf, QPDFObjectHandle image, const LayeredImage& layers);

}  // namespace optimizer
