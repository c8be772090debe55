#include "kelvara/candidates.h"
#include "kelvara/shell_texts.h"

namespace kelvara {
namespace {

// Offers words and files for the word that is being typed; the parts of both programs' files are named after
// the program, so that one can be read without the other. A word that ends in "=" wants no blank behind it
// and no backslash in it, as file names get.
std::string offering(const std::string& program) {
  return "_" + program + R"(_offer() {  # words, files: "-" none, "/" folders, "*" all, or an extension
  local current=${COMP_WORDS[COMP_CWORD]} letter pattern='' index
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current")
  if [[ ${COMPREPLY[0]-} == *= ]]; then  # the first operand is a file, before keys of it
    [[ -n $current || COMP_CWORD -gt 3 ]] && compopt -o nospace && return
    COMPREPLY=()
  fi
  [[ $2 == - ]] && return
  compopt -o filenames
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(
    if [[ $2 == / ]]; then
      compgen -d -- "$current"
    elif [[ $2 == '*' ]]; then
      compgen -f -- "$current"
    else
      for ((index = 0; index < ${#2}; index++)); do
        letter=${2:index:1}
        pattern+="[$letter${letter^}]"
      done
      { compgen -d -- "$current"; compgen -f -X "!*.$pattern" -- "$current"; } | sort -u
    fi
  )
}
)";
}

std::string offer(const std::string& program, const Candidates& candidates,
                  std::vector<std::string> moreWords = {}) {
  moreWords.insert(moreWords.end(), candidates.words.begin(), candidates.words.end());
  std::string files = "-";
  if (candidates.files) {
    files = candidates.extension.empty() ? "*" : candidates.extension;
  } else if (candidates.folders) {
    files = "/";
  }
  return "_" + program + "_offer " + shellQuoted(joinedWords(moreWords)) + " " + shellQuoted(files);
}

// One arm for each option that takes a value, chosen by the word before.
std::string valueArms(const std::string& program, std::span<const Option> options, const std::string& indent,
                      const std::string& condition) {
  std::string arms;
  for (const Option& option : options) {
    if (*option.value == '\0') continue;
    arms += indent + shellQuoted(condition + option.name) + ") " +
            offer(program, candidatesFor(option.value)) + "; return ;;\n";
  }
  return arms;
}

// bash cuts words at "=", so the name in "--name=value" is two words back.
constexpr const char* previousWord =
    "  local previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
    "  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]-}\n";

std::vector<std::string> optionNames(std::span<const Option> options) {
  std::vector<std::string> names;
  for (const Option& option : options) names.emplace_back(option.name);
  return names;
}

std::string forKelv() {
  std::string text = offering("kelv") + "_kelv() {\n";
  text +=
      "  case ${COMP_WORDS[COMP_CWORD - 1]} in\n" + valueArms("kelv", kelvOptions(), "    ", "") + "  esac\n";
  text += "  if [[ ${COMP_WORDS[COMP_CWORD]} == -* ]]; then\n    " +
          offer("kelv", {}, optionNames(kelvOptions())) + "\n  else\n    " +
          offer("kelv", candidatesFor(kelvOperands)) + "\n  fi\n}\n";
  return text + "complete -F _kelv kelv\n";
}

std::string forKelvara() {
  std::string text = offering("kelvara");
  text += "_kelvara() {\n  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]-}\n";
  text +=
      "  [[ $command == help ]] && COMP_WORDS=(kelvara \"${COMP_WORDS[@]:2}\") && ((COMP_CWORD--)) && "
      "command=${COMP_WORDS[1]-}\n";
  text += "  if ((COMP_CWORD == 1)); then\n    " +
          offer("kelvara", {{"help", "--help", "--version"}, false, "", false}, nextWords("")) +
          "\n    return\n  fi\n";
  text += "  if ((COMP_CWORD == 2)) && [[ $command == profile ]]; then\n    " +
          offer("kelvara", {}, nextWords("profile ")) + "\n    return\n  fi\n";
  text += "  [[ $command == profile ]] && command+=\" ${COMP_WORDS[2]}\"\n";
  text += previousWord;
  text += "  case \"$command $previous\" in\n";
  for (const Command& command : commands()) {
    text += valueArms("kelvara", command.options, "    ", std::string(command.name) + " ");
  }
  text += "  esac\n  [[ ${COMP_WORDS[COMP_CWORD - 1]} == = ]] && return\n  case $command:$word in\n";
  for (const Command& command : commands()) {
    std::vector<std::string> options = optionNames(command.options);
    options.emplace_back("--help");
    text += "    " + shellQuoted(std::string(command.name) + ":-") + "*) " + offer("kelvara", {}, options) +
            " ;;\n";
    text += "    " + shellQuoted(std::string(command.name) + ":") + "*) " +
            offer("kelvara", candidatesFor(command.operands)) + " ;;\n";
  }
  return text + "  esac\n}\ncomplete -F _kelvara kelvara\n";
}

}  // namespace

std::string bashCompletion(Programs programs) {
  std::string text;
  if (programs.kelv) text += "# bash completion for kelv\n" + forKelv();
  if (programs.kelvara) text += "# bash completion for kelvara\n" + forKelvara();
  return text;
}

}  // namespace kelvara
