#include <set>

#include "kelvara/candidates.h"
#include "kelvara/shell_texts.h"

namespace kelvara {
namespace {

// What -a takes: a command substitution for files of a kind, and the words.
std::string argument(const Candidates& candidates) {
  std::string list = joinedWords(candidates.words);
  if (candidates.files && !candidates.extension.empty()) {
    list += std::string(list.empty() ? "" : " ") + "(__fish_complete_suffix ." + candidates.extension + ")";
  } else if (!candidates.files && candidates.folders) {
    list += std::string(list.empty() ? "" : " ") + "(__fish_complete_directories)";
  }
  return list;
}

// -f keeps fish from offering every file as well.
std::string arguments(const Candidates& candidates) {
  const bool everyFile = candidates.files && candidates.extension.empty();
  const std::string list = argument(candidates);
  return std::string(everyFile ? " -F" : " -f") + (list.empty() ? "" : " -a " + shellQuoted(list));
}

std::string option(const std::string& start, const Option& given) {
  std::string text = start + " -l " + std::string(given.name).substr(2);
  if (*given.value == '\0') {
    text += " -f";
  } else {
    text += " -r" + arguments(candidatesFor(given.value));
  }
  return text + " -d " + shellQuoted(given.help) + "\n";
}

std::string forKelv() {
  std::string text;
  for (const Option& given : kelvOptions()) text += option("complete -c kelv", given);
  return text + "complete -c kelv" + arguments(candidatesFor(kelvOperands)) + "\n";
}

std::string forCommand(const Command& command, const std::string& condition) {
  const std::string start = "complete -c kelvara -n " + shellQuoted(condition);
  std::string text;
  for (const Option& given : command.options) text += option(start, given);
  text += option(start, {"--help", "", "explain this command"});
  if (*command.operands != '\0') text += start + arguments(candidatesFor(command.operands)) + "\n";
  return text;
}

std::string forKelvara() {
  std::string text = "complete -c kelvara -f\n";
  text += "complete -c kelvara -n __fish_use_subcommand -a help -d 'Explain a command'\n";
  text += "complete -c kelvara -n __fish_use_subcommand -l version -d 'Say the version'\n";
  std::set<std::string> groups;
  for (const Command& command : commands()) {
    const std::string name = command.name;
    const std::size_t blank = name.find(' ');
    const std::string described = " -d " + shellQuoted(command.summary) + "\n";
    if (blank == std::string::npos) {
      text += "complete -c kelvara -n __fish_use_subcommand -a " + name + described;
      text += forCommand(command, "__fish_seen_subcommand_from " + name);
      continue;
    }
    const std::string group = name.substr(0, blank);
    const std::string word = name.substr(blank + 1);
    const std::string inGroup = "__fish_seen_subcommand_from " + group;
    if (groups.insert(group).second) {
      text +=
          "complete -c kelvara -n __fish_use_subcommand -a " + group + " -d 'Commands on " + group + "s'\n";
    }
    text += "complete -c kelvara -n " +
            shellQuoted(inGroup + "; and not __fish_seen_subcommand_from " +
                        joinedWords(nextWords(group + " "))) +
            " -a " + word + described;
    text += forCommand(command, inGroup + "; and __fish_seen_subcommand_from " + word);
  }
  return text;
}

}  // namespace

std::string fishCompletion(Programs programs) {
  std::string text;
  if (programs.kelv) text += "# fish completion for kelv\n" + forKelv();
  if (programs.kelvara) text += "# fish completion for kelvara\n" + forKelvara();
  return text;
}

}  // namespace kelvara
