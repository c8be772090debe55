// Two PDF files beside each other.
#pragma once

#include "kelvara/command.h"

namespace kelvara {

// Exit status: 0 they look and read the same, 1 they differ, 2 they could not be compared.
ExitStatus compareFiles(const Arguments& arguments, Context& context);

}  // namespace kelvara
