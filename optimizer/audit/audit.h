// Where the bytes of a PDF file are. What is found adds up to the file's size, byte for byte.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "optimizer/audit/kinds.h"
#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer {

// How finely an image is shown: dots per inch at its largest use on a page.
enum class DpiBand : std::uint8_t { none, above600, above300, above150, upTo150, unknown, neverDrawn };

// "above 300 dpi"; empty for none.
const char* dpiBandText(DpiBand band);

struct AuditRow {
  AuditKind kind = AuditKind::otherObjects;
  DpiBand band = DpiBand::none;  // of images only
  std::uint64_t count = 0;       // objects; 0 for what is no object
  std::uint64_t bytes = 0;
};

// One stream.
struct AuditItem {
  AuditKind kind = AuditKind::otherObjects;
  DpiBand band = DpiBand::none;
  std::uint64_t bytes = 0;
  int object = 0;    // its number
  int page = 0;      // the first that shows it, counted from 1; 0: unknown
  std::string name;  // of fonts and attachments; UTF-8
  // Of images: samples, 0 where the dictionary does not say; dpi 0 where it is unknown.
  std::int64_t width = 0, height = 0;
  int bits = 0;
  std::string color;  // "DeviceRGB", "ICCBased", "mask" …
  double dpi = 0;
};

struct Audit {
  std::uint64_t fileBytes = 0;
  std::size_t pages = 0;
  std::string version;  // "1.7"
  bool encrypted = false, linearized = false, tagged = false;
  // In the order of the kinds and bands; their bytes add up to fileBytes. Objects inside an object stream
  // (ISO 32000-1, 7.5.7) have the share of its bytes that they have of its text.
  std::vector<AuditRow> rows;
  // The largest streams, at most kAuditItems, largest first.
  std::vector<AuditItem> items;
};

inline constexpr std::size_t kAuditItems = 500;

// Reads the file that the document was opened from. The document may be changed afterwards as analyzeUsage
// does. Errors: io, damaged, limit.
Result<Audit> auditDocument(Document& document);

}  // namespace optimizer
