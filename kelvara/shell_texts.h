// Completions for shells and manual pages, of kelv and of kelvara, made from the tables of their options.
#pragma once

#include <string>

#include "kelvara/command.h"

namespace kelvara {

// The options of kelv, in the order of its help.
std::span<const Option> kelvOptions();
// The inputs of kelv, as a placeholder.
extern const char* const kelvOperands;

// The words that can follow prefix in a command's name, each once; prefix is "" or ends in a blank.
std::vector<std::string> nextWords(std::string_view prefix);

// Which of the two programs a completion is for. Shells that look completions up by the program's name want a
// file for each.
struct Programs {
  bool kelv = true;
  bool kelvara = true;
};
std::string bashCompletion(Programs programs);
std::string zshCompletion(Programs programs);
std::string fishCompletion(Programs programs);

// In the man macros of roff.
std::string kelvManual();
std::string kelvaraManual();

ExitStatus printCompletion(const Arguments& arguments, Context& context);
ExitStatus printManual(const Arguments& arguments, Context& context);

}  // namespace kelvara
