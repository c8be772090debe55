// The kernel's limits on files (Landlock), for every thread of the process.
#pragma once

#include <string>
#include <vector>

namespace platform {

// After limit() the process can open, make, move and remove nothing but what the three lists name; folders stand for all below
// them. No program can be started from any file, TCP needs a right that nobody has, and processes outside cannot be signalled,
// as far as the kernel's version knows these. It cannot be taken back.
struct LandlockRules {
  std::vector<std::string> readable;
  std::vector<std::string> usable;    // read and written, as devices are
  std::vector<std::string> writable;  // files and folders made, moved and removed too
};

// "" when the limits are in force, else one sentence that says what is missing. What does not exist in the lists is left out.
std::string limitWithLandlock(const LandlockRules& rules);

}  // namespace platform
