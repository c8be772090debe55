#include <algorithm>

#include "kelvara/candidates.h"
#include "kelvara/shell_texts.h"

namespace kelvara {
namespace {

// Brackets and colons have a meaning in what _arguments reads.
std::string description(std::string_view help) {
  std::string text;
  for (const char letter : help) {
    if (letter == '[' || letter == ']' || letter == ':') text += '\\';
    text += letter;
  }
  return text;
}

// An extension in either case: "(#i)" would need an option of the user's shell.
std::string globOf(const std::string& extension) {
  std::string upper = extension;
  std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char letter) {
    return static_cast<char>(letter >= 'a' && letter <= 'z' ? letter - 32 : letter);
  });
  return "*.(" + extension + "|" + upper + ")";
}

// A function that completes one place.
std::string function(const std::string& name, const Candidates& candidates) {
  std::string text = name + "() {\n  local status_=1\n";
  std::vector<std::string> whole;
  std::vector<std::string> beginnings;
  for (const std::string& word : candidates.words) (word.ends_with('=') ? beginnings : whole).push_back(word);
  if (!whole.empty()) text += "  compadd -- " + joinedWords(whole) + " && status_=0\n";
  if (!beginnings.empty()) text += "  compadd -S '' -- " + joinedWords(beginnings) + " && status_=0\n";
  if (candidates.files) {
    const std::string glob =
        candidates.extension.empty() ? "" : " -g " + shellQuoted(globOf(candidates.extension));
    text += "  _files" + glob + " && status_=0\n";
  } else if (candidates.folders) {
    text += "  _files -/ && status_=0\n";
  }
  return text + "  return status_\n}\n";
}

// The lines of _arguments for options and operands; the functions that they call are added to functions.
std::string argumentLines(const std::string& prefix, std::span<const Option> options,
                          std::string_view operands, std::string& functions) {
  std::string text;
  for (const Option& option : options) {
    std::string value;
    if (*option.value != '\0') {
      const std::string name = prefix + std::string(option.name).substr(1);
      functions += function(name, candidatesFor(option.value));
      value = ":" + description(option.value) + ":" + name;
    }
    text += " \\\n        " +
            shellQuoted(std::string(option.name) + "[" + description(option.help) + "]" + value);
  }
  if (operands.empty()) return text;
  functions += function(prefix + "_operand", candidatesFor(operands));
  return text + " \\\n        " + shellQuoted("*:" + description(operands) + ":" + prefix + "_operand");
}

// "word:summary" for each next word, as _describe reads it.
std::string described(std::string_view prefix) {
  std::string text;
  for (const std::string& word : nextWords(prefix)) {
    std::string summary = "commands on " + word + "s";
    for (const Command& command : commands()) {
      if (command.name == std::string(prefix) + word) summary = command.summary;
    }
    text += " " + shellQuoted(word + ":" + summary);
  }
  return text;
}

std::string forKelv() {
  std::string functions;
  const std::string lines = argumentLines("_kelv_", kelvOptions(), kelvOperands, functions);
  return functions + "_kelv() {\n    _arguments" + lines + "\n}\n";
}

std::string forKelvara() {
  std::string functions;
  std::string arms;
  const std::vector<Option> help = {{"--help", "", "explain this command"}};
  for (const Command& command : commands()) {
    std::string prefix = std::string("_kelvara_") + command.name;
    std::replace(prefix.begin(), prefix.end(), ' ', '_');
    std::vector<Option> options = command.options;
    options.insert(options.end(), help.begin(), help.end());
    arms += "    " + shellQuoted(command.name) + ")\n      _arguments" +
            argumentLines(prefix, options, command.operands, functions) + " ;;\n";
  }
  std::string text = functions + "_kelvara() {\n  local command=$words[2]\n  local -a next\n";
  text += "  if ((CURRENT == 2)); then\n    next=(" + described("").substr(1) +
          " 'help:Explain a command')\n    _describe command next\n    return\n  fi\n";
  text += "  if ((CURRENT == 3)) && [[ $command == profile ]]; then\n    next=(" +
          described("profile ").substr(1) + ")\n    _describe command next\n    return\n  fi\n";
  // _arguments counts operands from the second word on, so the words of the command leave.
  text += "  shift words; ((CURRENT--))\n";
  text +=
      "  if [[ $command == profile ]]; then\n    command+=\" $words[2]\"\n    shift words; ((CURRENT--))\n  "
      "fi\n";
  return text + "  case $command in\n" + arms + "  esac\n}\n";
}

}  // namespace

std::string zshCompletion(Programs programs) {
  std::string text = "#compdef";
  if (programs.kelv) text += " kelv";
  if (programs.kelvara) text += " kelvara";
  text += "\n";
  if (programs.kelv) text += forKelv();
  if (programs.kelvara) text += forKelvara();
  // Read by the completion system this file is the function's body; read with source it registers the
  // functions.
  text += "if [[ $funcstack[1] == _kelv* ]]; then\n  \"_$service\" \"$@\"\nelse\n";
  if (programs.kelv) text += "  compdef _kelv kelv\n";
  if (programs.kelvara) text += "  compdef _kelvara kelvara\n";
  return text + "fi\n";
}

}  // namespace kelvara
