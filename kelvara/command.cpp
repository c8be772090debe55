#include "kelvara/command.h"

#include <algorithm>
#include <optional>
#include <ostream>

#include "kelvara/help.h"
#include "platform/path.h"

namespace kelvara {
namespace {

// The command that the leading arguments name, the one of two words first; used says how many words that
// took.
const Command* findCommand(const std::vector<std::string>& arguments, std::size_t& used) {
  for (std::size_t words = std::min<std::size_t>(2, arguments.size()); words > 0; --words) {
    const std::string name = words == 2 ? arguments[0] + " " + arguments[1] : arguments[0];
    for (const Command& command : commands()) {
      if (command.name == name) {
        used = words;
        return &command;
      }
    }
  }
  return nullptr;
}

bool isGroup(const std::string& word) {
  return std::any_of(commands().begin(), commands().end(), [&word](const Command& command) {
    return std::string_view(command.name).starts_with(word + " ");
  });
}

const Option* findOption(const Command& command, const std::string& name) {
  const auto found = std::find_if(command.options.begin(), command.options.end(),
                                  [&name](const Option& option) { return option.name == name; });
  return found == command.options.end() ? nullptr : &*found;
}

bool isHelp(const std::string& argument) { return argument == "--help" || argument == "-h"; }

// Takes "--name", "--name=value" and "--name value" apart; after "--" everything is an operand. A text says
// what is wrong.
std::optional<std::string> parse(const Command& command, std::span<const std::string> given,
                                 Arguments& arguments) {
  bool optionsEnded = false;
  for (std::size_t index = 0; index < given.size(); ++index) {
    const std::string& argument = given[index];
    if (optionsEnded || argument.size() < 2 || argument.front() != '-') {
      arguments.operands.push_back(argument);
      continue;
    }
    if (argument == "--") {
      optionsEnded = true;
      continue;
    }
    const std::size_t equals = argument.find('=');
    const std::string name = argument.substr(0, equals);
    const Option* option = findOption(command, name);
    if (option == nullptr) return "there is no option " + name;
    const bool wantsValue = *option->value != '\0';
    if (!wantsValue && equals != std::string::npos) return name + " takes no value";
    std::string value;
    if (wantsValue && equals != std::string::npos) {
      value = argument.substr(equals + 1);
    } else if (wantsValue) {
      if (index + 1 == given.size()) return name + " needs a value: " + option->value;
      value = given[++index];
    }
    arguments.add(name, value);
  }
  if (arguments.operands.size() < command.fewestOperands) return std::string("something is missing");
  if (arguments.operands.size() > command.mostOperands) {
    return "there is one argument too many: " + arguments.operands[command.mostOperands];
  }
  return std::nullopt;
}

}  // namespace

bool Arguments::has(const std::string& option) const {
  return std::any_of(options_.begin(), options_.end(),
                     [&option](const auto& given) { return given.first == option; });
}

std::string Arguments::value(const std::string& option) const {
  const auto found = std::find_if(options_.rbegin(), options_.rend(),
                                  [&option](const auto& given) { return given.first == option; });
  return found == options_.rend() ? "" : found->second;
}

ExitStatus failure(Context& context, const std::string& what, const std::string& remedy) {
  const char* red = context.color ? "\033[31m" : "";
  const char* plain = context.color ? "\033[0m" : "";
  context.err << red << "kelvara: " << what << plain << "\n" << remedy << "\n";
  return exitFailure;
}

std::string absolutePath(const Context& context, const std::string& argument) {
  return platform::resolvePath(context.baseFolder, argument);
}

ExitStatus run(const std::vector<std::string>& arguments, Context& context) {
  if (arguments.empty()) {
    context.err << overview(context.color);
    return exitUsage;
  }
  if (isHelp(arguments.front()) || (arguments.size() == 1 && arguments.front() == "help")) {
    context.out << overview(context.color);
    return exitOk;
  }
  if (arguments.front() == "--version") {
    context.out << "kelvara " KELVARA_VERSION "\n";
    return exitOk;
  }

  const bool asksForHelp = arguments.front() == "help";
  const std::vector<std::string> words(arguments.begin() + (asksForHelp ? 1 : 0), arguments.end());
  std::size_t used = 0;
  const Command* command = findCommand(words, used);
  if (command == nullptr) {
    if (isGroup(words.front())) {
      const bool help = asksForHelp || (words.size() > 1 && isHelp(words[1]));
      (help ? context.out : context.err) << groupOverview(words.front(), context.color);
      return help ? exitOk : exitUsage;
    }
    failure(context, "there is no command “" + words.front() + "”.",
            "Commands are listed by: kelvara --help");
    return exitUsage;
  }

  const std::span<const std::string> given = std::span(words).subspan(used);
  if (asksForHelp || std::any_of(given.begin(), given.end(), isHelp)) {
    context.out << commandHelp(*command, context.color);
    return exitOk;
  }
  Arguments parsed;
  if (const std::optional<std::string> problem = parse(*command, given, parsed)) {
    failure(context, *problem + ".",
            "Usage: " + usageLine(*command) + "\nHelp:  kelvara " + command->name + " --help");
    return exitUsage;
  }
  return command->run(parsed, context);
}

}  // namespace kelvara
