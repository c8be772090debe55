// Where the bytes of files are, and what a profile would save.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

ExitStatus auditFiles(const Arguments& arguments, Context& context);

}  // namespace kelvara
