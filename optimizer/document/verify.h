// Reads back what was written, before anyone is told that it worked.
#pragma once

#include <string>

#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer {

// Opens the file at path without any repairing and checks that it has the document's pages, and that every page's
// contents, forms and fonts decode and its resources are there, wherever the same was true of the document's own file.
// Error internal: the written file is not good enough, with the page that showed it.
Status verifySaved(const std::string& path, const std::string& password, Document& document);

// The same checks on the document as it stands in memory, for debug builds between passes.
Status verifyInMemory(Document& document);

}  // namespace optimizer
