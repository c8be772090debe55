// What a document promises about itself, and how the promise is kept or knowingly taken back.
#pragma once

#include <ctime>

#include "optimizer/base/result.h"
#include "optimizer/document/document.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

struct Promises {
  int pdfAPart = 0;  // ISO 19005-1 to -4; 0: none
  std::string pdfAConformance;  // "A", "B", "U", …
  bool pdfUa = false;           // ISO 14289
  bool pdfX = false;            // ISO 15930

  // PDF 1.4 without transparency, object streams, JPEG 2000 and filtered metadata.
  bool pdfA1() const { return pdfAPart == 1; }
};

// Read from the document's XMP metadata and information.
Promises promisesOf(Document& document);

// Whether some signature field has a value (ISO 32000-1, 12.7.4.5): any change would break the signature.
bool isSigned(Document& document);

// Settings without what the promises forbid: nothing that PDF 1.4 lacks in PDF/A-1, embedded fonts in any PDF/A.
Settings keepingPromises(const Settings& settings, const Promises& promises);

// Brings the document's XMP metadata in step before it is written: what was set in the information dictionary, the dates,
// and no claim that the settings or encryption make untrue. A document without metadata, or with metadata that cannot
// be read, keeps it as it is.
Status updateMetadata(Document& document, const Settings& settings, const Promises& promises, bool encrypts,
                      std::time_t now);

}  // namespace optimizer
