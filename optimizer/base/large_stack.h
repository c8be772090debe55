// Runs work on a stack that deep recursion over a document cannot exhaust.
#pragma once

#include <functional>

#include "optimizer/base/result.h"

namespace optimizer {

// Calls work() on a thread of limits::kStackBytes of stack and waits for it. An exception that leaves work() becomes an
// error: limit when memory ran out, internal otherwise.
Status runOnLargeStack(const std::function<Status()>& work);

}  // namespace optimizer
