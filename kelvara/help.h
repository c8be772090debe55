// Help texts, made from the table of commands.
#pragma once

#include <string>

#include "kelvara/command.h"

namespace kelvara {

// All commands, one line each.
std::string overview(bool color);
// The commands whose first word is group.
std::string groupOverview(const std::string& group, bool color);
std::string commandHelp(const Command& command, bool color);
// "kelvara grant [options] FOLDER"
std::string usageLine(const Command& command);

}  // namespace kelvara
