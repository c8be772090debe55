// The totals of what kelv has saved.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

ExitStatus showStatistics(const Arguments& arguments, Context& context);

}  // namespace kelvara
