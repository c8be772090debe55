// What kelv may touch: granting it, withdrawing it, and saying what it is.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

ExitStatus grantAccess(const Arguments& arguments, Context& context);
ExitStatus revokeAccess(const Arguments& arguments, Context& context);
ExitStatus showAccess(const Arguments& arguments, Context& context);

}  // namespace kelvara
