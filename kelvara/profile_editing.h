// Making, changing and checking profiles of one's own.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

ExitStatus newProfile(const Arguments& arguments, Context& context);
ExitStatus editProfile(const Arguments& arguments, Context& context);
ExitStatus checkProfileFile(const Arguments& arguments, Context& context);

}  // namespace kelvara
