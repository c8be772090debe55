#include <algorithm>
#include <ostream>
#include <string_view>

#include "kelvara/shell_texts.h"

namespace kelvara {

std::span<const Option> kelvOptions() {
  static const std::vector<Option> options = {
      {"--output", "FOLDER|FILE.pdf...", "write the results to a folder, or to one file for each input"},
      {"--replace", "", "replace a file at the output location; the old one goes to the Trash"},
      {"--profile", "FILE.kelvcp", "compress by the first profile of this file"},
      {"--subfolders", "", "search folders with their subfolders"},
      {"--verbose", "", "say what is done"},
      {"--help", "", "explain the options"},
  };
  return options;
}

const char* const kelvOperands = "FOLDER...|FILE.pdf...";

std::vector<std::string> nextWords(std::string_view prefix) {
  std::vector<std::string> words;
  for (const Command& command : commands()) {
    std::string_view name = command.name;
    if (!name.starts_with(prefix)) continue;
    name.remove_prefix(prefix.size());
    const std::string word(name.substr(0, name.find(' ')));
    if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
  }
  return words;
}

ExitStatus printCompletion(const Arguments& arguments, Context& context) {
  const std::string& shell = arguments.operands.front();
  Programs programs;
  if (arguments.operands.size() > 1) {
    const std::string& program = arguments.operands[1];
    programs = {program == "kelv", program == "kelvara"};
    if (!programs.kelv && !programs.kelvara) {
      failure(context, "there is no completion for the program " + program + ".",
              "Choose one of: kelv, kelvara");
      return exitUsage;
    }
  }
  if (shell == "bash") {
    context.out << bashCompletion(programs);
  } else if (shell == "zsh") {
    context.out << zshCompletion(programs);
  } else if (shell == "fish") {
    context.out << fishCompletion(programs);
  } else {
    failure(context, "there is no completion for " + shell + ".", "Choose one of: bash, zsh, fish");
    return exitUsage;
  }
  return exitOk;
}

}  // namespace kelvara
