// What the device colour spaces mean in a document (ISO 32000-1, 8.6.5.6 and 14.11.5): default colour spaces
// in resources, and output intents.
#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/document/document.h"

namespace optimizer {

// DefaultGray, DefaultRGB or DefaultCMYK over all resources of the document.
struct DefaultSpace {
  bool present = false;
  bool several = false;    // different ones in different places
  QPDFObjectHandle space;  // the one, where it is one
};

struct DeviceColors {
  DefaultSpace gray, rgb, cmyk;
  bool outputIntent = false;       // of the catalog or a page
  bool severalIntents = false;     // whose profiles differ
  QPDFObjectHandle outputProfile;  // stream, where there is one for all; null otherwise
  int outputComponents = 0;        // of that profile: 1, 3 or 4
};

DeviceColors deviceColorsOf(Document& document);

}  // namespace optimizer
