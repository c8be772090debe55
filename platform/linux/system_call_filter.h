// The kernel's limits on system calls (seccomp).
#pragma once

#include <string>

namespace platform {

// From now on no thread of the process can start a program, open a network or other socket, trace a process or reach the calls
// that would go round such limits; they fail with EPERM. It cannot be taken back. "" when in force, else one sentence.
std::string limitSystemCalls();

}  // namespace platform
