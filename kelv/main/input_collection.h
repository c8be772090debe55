// Which PDF files the arguments name.
#pragma once

#include "kelv/main/front_end.h"

namespace kelv {

// Collects the PDF files that the leading arguments name, or that the folders they name hold, and hands them
// to the output plan. Says so when there are none.
void collectInputFiles(FrontEnd& frontEnd);

}  // namespace kelv
