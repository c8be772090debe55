// What a reader can use of a document besides its pages' looks and text, as texts that can be compared.
#pragma once

#include <string>
#include <vector>

#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer {

// UTF-8; each list in the document's order.
struct Features {
  std::vector<std::string> links;        // "page 3: https://…", "page 3: to page 7"
  std::vector<std::string> fields;       // "name = value" of every form field that has one or is filled in
  std::vector<std::string> outlines;     // "Chapter 2 (page 7)"
  std::vector<std::string> attachments;  // names of embedded files
  bool tagged = false;
  // Of each page: width and height in points as shown, crop box and rotation considered.
  struct PageSize {
    double width = 0, height = 0;
  };
  std::vector<PageSize> pageSizes;
};

// Bounded on hostile input: lists end at kFeatures entries.
inline constexpr std::size_t kFeatures = 100'000;
// Errors: damaged, limit.
Result<Features> featuresOf(Document& document);

}  // namespace optimizer
