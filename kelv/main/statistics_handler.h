// What the command line does with the sizes of each compressed file.
#pragma once

#include "kelv/compressor/handlers.h"
#include "platform/services.h"

namespace kelv {

// Adds the sizes of a file that became smaller to the totals shared with the main application.
StatisticsHandler totalsHandler(platform::Services& services);

}  // namespace kelv
