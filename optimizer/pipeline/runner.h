// Runs the passes that settings ask for, one after another.
#pragma once

#include <functional>
#include <string_view>

#include "optimizer/base/result.h"
#include "optimizer/pipeline/pass.h"

namespace optimizer {

// Called after every pass with its name, outcome and seconds. For looking on; it must not touch the document.
using PassTrace = std::function<void(std::string_view name, PassOutcome outcome, double seconds)>;

// In debug builds the document is checked after every pass that changed it: its pages are still there and can be read.
// Error: what a pass failed with; its name leads the message.
Status runPasses(PassContext& context, const PassTrace& trace = {});

}  // namespace optimizer
