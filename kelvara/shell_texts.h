// Completions for shells and manual pages, of kelv and of kelvara, made from the tables of their options.
#pragma once

#include <string>

#include "kelvara/command.h"

namespace kelvara {

// The options of kelv, in the order of its help.
std::span<const Option> kelvOptions();

std::string bashCompletion();
std::string zshCompletion();
std::string fishCompletion();

// In the man macros of roff.
std::string kelvManual();
std::string kelvaraManual();

ExitStatus printCompletion(const Arguments& arguments, Context& context);
ExitStatus printManual(const Arguments& arguments, Context& context);

}  // namespace kelvara
