// The last resort for files whose end, and with it every table of contents, is gone.
#pragma once

#include <optional>

#include "optimizer/base/bytes.h"

namespace optimizer {

// Looks through the bytes of a damaged PDF for objects, unpacks the object streams among them, and makes a file of all,
// with a new cross-reference table, and a catalog where none is left. The last object of a number counts. Nothing where
// there are no objects, or where they are encrypted: what encrypted them is gone.
std::optional<Bytes> rebuildFile(ByteView damaged);

}  // namespace optimizer
