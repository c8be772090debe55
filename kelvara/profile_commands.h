// Profiles: what there are, what they hold, and writing them as files that kelv reads.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

ExitStatus listProfiles(const Arguments& arguments, Context& context);
ExitStatus showProfile(const Arguments& arguments, Context& context);
ExitStatus exportProfile(const Arguments& arguments, Context& context);

}  // namespace kelvara
