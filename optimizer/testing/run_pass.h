// Runs one pass on a document and checks what it reports against what it did.
#pragma once

#include <memory>

#include "optimizer/document/document.h"
#include "optimizer/pipeline/pass.h"
#include "optimizer/settings/settings.h"

namespace optimizer::testing {

// Fails the running test when the pass fails, when it reports `unchanged` and yet changed the document as it would be
// written, or when the document cannot be read afterwards. The result is what the pass reported.
PassOutcome runPass(Document& document, std::unique_ptr<Pass> pass, const Settings& settings = {},
                    unsigned threads = 2);

// The document as it would be written, without the entries that differ each time. For comparing.
std::string written(Document& document);

}  // namespace optimizer::testing
