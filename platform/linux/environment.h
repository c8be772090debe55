// The folders that the environment names. None of them ends in "/", and none need exist.
#pragma once

#include <string>

namespace platform {

std::string homeFolder();         // HOME, else the password database's
std::string preferencesFolder();  // ${XDG_CONFIG_HOME:-$HOME/.config}/kelvara
std::string dataFolder();         // ${XDG_DATA_HOME:-$HOME/.local/share}
std::string temporaryFolder();    // TMPDIR unless empty, else /tmp

}  // namespace platform
