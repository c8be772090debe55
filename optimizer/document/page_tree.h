// Repairs a damaged page tree (ISO 32000-1, 7.7.3), so that everything after can rely on it.
#pragma once

#include <qpdf/QPDF.hh>

#include "optimizer/base/result.h"

namespace optimizer {

// Drops kids that are no dictionaries or that lead back up the tree, sets wrong Type, Parent and Count entries right,
// and where the catalog leads to no tree at all, makes one of all page objects of the file. May throw what qpdf throws.
// Errors: damaged (no page is left), limit (too many pages, or too deep).
Status repairPageTree(QPDF& pdf);

}  // namespace optimizer
