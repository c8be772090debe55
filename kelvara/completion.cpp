#include <algorithm>
#include <ostream>
#include <set>
#include <string_view>

#include "kelvara/ready_profiles.h"
#include "kelvara/shell_texts.h"

namespace kelvara {
namespace {

// Single quotes end a quoted word of every shell.
std::string quoted(std::string_view text) {
  std::string word = "'";
  for (const char letter : text) {
    if (letter == '\'') {
      word += "'\\''";
    } else {
      word += letter;
    }
  }
  return word + "'";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

std::vector<std::string> optionNames(std::span<const Option> options) {
  std::vector<std::string> names;
  for (const Option& option : options) names.push_back(option.name);
  return names;
}

std::vector<std::string> profileNames() {
  std::vector<std::string> names;
  for (const ReadyProfile& profile : readyProfiles()) names.push_back(profile.name);
  return names;
}

// The words that can follow prefix in a command's name, each once; prefix is "" or ends in a blank.
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

bool takesProfileName(const Command& command) {
  return std::string_view(command.operands).find("NAME") != std::string_view::npos;
}

}  // namespace

std::span<const Option> kelvOptions() {
  static const std::vector<Option> options = {
      {"--output", "FOLDER|FILE...", "write the results to a folder, or to one file for each input"},
      {"--replace", "", "replace a file at the output location; the old one goes to the Trash"},
      {"--profile", "FILE.kelvcp", "compress by the first profile of this file"},
      {"--subfolders", "", "search folders with their subfolders"},
      {"--verbose", "", "say what is done"},
      {"--help", "", "explain the options"},
  };
  return options;
}

std::string bashCompletion() {
  std::string text = "# bash completion for kelv and kelvara\n\n";
  text += "_kelv() {\n  local word=${COMP_WORDS[COMP_CWORD]}\n";
  text += "  if [[ $word == -* ]]; then\n    COMPREPLY=($(compgen -W " +
          quoted(joined(optionNames(kelvOptions()))) + " -- \"$word\"))\n";
  text += "  else\n    compopt -o filenames\n    COMPREPLY=($(compgen -f -- \"$word\"))\n  fi\n}\n";
  text += "complete -F _kelv kelv\n\n";

  text += "_kelvara() {\n  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]}\n";
  text += "  if ((COMP_CWORD == 1)); then\n    COMPREPLY=($(compgen -W " +
          quoted(joined(nextWords("")) + " help --help --version") + " -- \"$word\"))\n    return\n  fi\n";
  text += "  if ((COMP_CWORD == 2)) && [[ $command == profile ]]; then\n    COMPREPLY=($(compgen -W " +
          quoted(joined(nextWords("profile "))) + " -- \"$word\"))\n    return\n  fi\n";
  text += "  [[ $command == profile ]] && command+=\" ${COMP_WORDS[2]}\"\n";
  text += "  local words=\n  case $command in\n";
  for (const Command& command : commands()) {
    std::vector<std::string> words = optionNames(command.options);
    words.push_back("--help");
    if (takesProfileName(command)) {
      const std::vector<std::string> names = profileNames();
      words.insert(words.end(), names.begin(), names.end());
    }
    text += "    " + quoted(command.name) + ") words=" + quoted(joined(words)) + " ;;\n";
  }
  text += "  esac\n  compopt -o filenames\n";
  text += "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n";
  text += "  [[ $word == -* ]] || COMPREPLY+=($(compgen -f -- \"$word\"))\n}\n";
  return text + "complete -F _kelvara kelvara\n";
}

std::string zshCompletion() {
  // Brackets and colons have a meaning in the specifications of _arguments.
  const auto description = [](const char* help) {
    std::string text;
    for (const char* letter = help; *letter != '\0'; ++letter) {
      if (*letter == '[' || *letter == ']' || *letter == ':') text += '\\';
      text += *letter;
    }
    return text;
  };
  const auto specifications = [&description](std::span<const Option> options) {
    std::string text;
    for (const Option& option : options) {
      const std::string value = *option.value == '\0' ? "" : std::string(":") + option.value + ":_files";
      text += " \\\n    " + quoted(std::string(option.name) + "[" + description(option.help) + "]" + value);
    }
    return text;
  };
  std::string text = "#compdef kelv kelvara\n\n";
  text += "_kelv() {\n  _arguments" + specifications(kelvOptions()) + " \\\n    '*:file:_files'\n}\n\n";
  text += "_kelvara() {\n  local command=$words[2]\n";
  text +=
      "  if ((CURRENT == 2)); then\n    compadd -- " + joined(nextWords("")) + " help\n    return\n  fi\n";
  text += "  if ((CURRENT == 3)) && [[ $command == profile ]]; then\n    compadd -- " +
          joined(nextWords("profile ")) + "\n    return\n  fi\n";
  text += "  [[ $command == profile ]] && command+=\" $words[3]\"\n  case $command in\n";
  for (const Command& command : commands()) {
    text += "    " + quoted(command.name) + ")\n";
    if (takesProfileName(command)) text += "      compadd -- " + joined(profileNames()) + "\n";
    text += "      _arguments" + specifications(command.options) +
            " \\\n    '--help[explain this command]' '*:file:_files' ;;\n";
  }
  text += "  esac\n}\n\n";
  return text + "case $service in\n  kelv) _kelv \"$@\" ;;\n  kelvara) _kelvara \"$@\" ;;\nesac\n";
}

std::string fishCompletion() {
  std::string text = "# fish completion for kelv and kelvara\n\n";
  const auto option = [](const std::string& program, const std::string& condition, const Option& given) {
    const std::string value = *given.value == '\0' ? "" : " -r";
    return "complete -c " + program + condition + " -l " + std::string(given.name).substr(2) + value +
           " -d " + quoted(given.help) + "\n";
  };
  for (const Option& given : kelvOptions()) text += option("kelv", "", given);
  std::set<std::string> groups;
  for (const Command& command : commands()) {
    const std::string name = command.name;
    const std::size_t blank = name.find(' ');
    if (blank == std::string::npos) {
      text += "complete -c kelvara -n __fish_use_subcommand -f -a " + name + " -d " +
              quoted(command.summary) + "\n";
      for (const Option& given : command.options) {
        text += option("kelvara", " -n '__fish_seen_subcommand_from " + name + "'", given);
      }
      continue;
    }
    const std::string group = name.substr(0, blank);
    const std::string word = name.substr(blank + 1);
    if (groups.insert(group).second)
      text += "complete -c kelvara -n __fish_use_subcommand -f -a " + group + "\n";
    text += "complete -c kelvara -n '__fish_seen_subcommand_from " + group +
            "; and not __fish_seen_subcommand_from " + joined(nextWords(group + " ")) + "' -f -a " + word +
            " -d " + quoted(command.summary) + "\n";
    const std::string condition =
        " -n '__fish_seen_subcommand_from " + group + "; and __fish_seen_subcommand_from " + word + "'";
    for (const Option& given : command.options) text += option("kelvara", condition, given);
    if (takesProfileName(command))
      text += "complete -c kelvara" + condition + " -a " + quoted(joined(profileNames())) + "\n";
  }
  return text;
}

ExitStatus printCompletion(const Arguments& arguments, Context& context) {
  const std::string& shell = arguments.operands.front();
  if (shell == "bash") {
    context.out << bashCompletion();
  } else if (shell == "zsh") {
    context.out << zshCompletion();
  } else if (shell == "fish") {
    context.out << fishCompletion();
  } else {
    failure(context, "there is no completion for " + shell + ".", "Choose one of: bash, zsh, fish");
    return exitUsage;
  }
  return exitOk;
}

}  // namespace kelvara
