// One table describes every command of kelvara: help, completions and manual pages are made from it.
#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "platform/services.h"

namespace kelvara {

enum ExitStatus : int { exitOk = 0, exitFailure = 1, exitUsage = 2 };

// What a command works with.
struct Context {
  platform::Services& services;
  std::ostream& out;
  std::ostream& err;
  std::string baseFolder;  // what relative paths count from
  bool color = false;      // on a terminal, unless NO_COLOR is set
  bool progress = false;   // err is a terminal
};

struct Option {
  const char* name;   // "--json"
  const char* value;  // "FILE"; empty for a flag
  const char* help;
};

struct Example {
  const char* command;
  const char* comment;
};

// The arguments of a command, taken apart by its table entry.
class Arguments {
 public:
  std::vector<std::string> operands;

  bool has(const std::string& option) const;
  // The value given last; empty when the option was not given.
  std::string value(const std::string& option) const;
  void add(const std::string& option, const std::string& value) { options_.emplace_back(option, value); }

 private:
  std::vector<std::pair<std::string, std::string>> options_;
};

struct Command {
  const char* name;      // one or two words, such as "profile export"
  const char* operands;  // "FOLDER"
  const char* summary;   // one line
  const char* text;      // the paragraphs of its help
  std::vector<Option> options;
  std::vector<Example> examples;
  std::size_t fewestOperands;
  std::size_t mostOperands;
  ExitStatus (*run)(const Arguments&, Context&);
};

std::span<const Command> commands();

// Says what failed and what to do about it, on two lines of the error stream.
ExitStatus failure(Context& context, const std::string& what, const std::string& remedy);

// An argument as an absolute path.
std::string absolutePath(const Context& context, const std::string& argument);

// Runs what the arguments (without the program's path) ask for.
ExitStatus run(const std::vector<std::string>& arguments, Context& context);

}  // namespace kelvara
