#include "kelvara/help.h"

#include <algorithm>
#include <string_view>

namespace kelvara {
namespace {

std::string heading(const std::string& text, bool color) {
  return color ? "\033[1m" + text + "\033[0m\n" : text + "\n";
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

// Two columns, the second starting at the same place in every line.
std::string columns(const std::vector<std::pair<std::string, std::string>>& rows) {
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, row.first.size());
  std::string text;
  for (const auto& [left, right] : rows) {
    text.append("  ").append(padded(left, width)).append("  ").append(right).append("\n");
  }
  return text;
}

std::string commandList(std::string_view prefix) {
  std::vector<std::pair<std::string, std::string>> rows;
  for (const Command& command : commands()) {
    if (!std::string_view(command.name).starts_with(prefix)) continue;
    rows.emplace_back(command.name, command.summary);
  }
  return columns(rows);
}

std::string optionName(const Option& option) {
  return *option.value == '\0' ? option.name : std::string(option.name) + " " + option.value;
}

}  // namespace

std::string overview(bool color) {
  std::string text =
      "kelvara stands beside kelv, which makes PDF files smaller: it says what kelv may touch, shows what\n";
  text +=
      "was saved and what is in a file, judges results, and makes the profiles that kelv compresses by.\n\n";
  text += heading("Usage", color) + "  kelvara COMMAND [options]\n\n";
  text += heading("Commands", color) + commandList("") + "\n";
  text += heading("A first run", color);
  text +=
      "  kelvara grant ~/Documents\n  kelv ~/Documents/report.pdf --verbose\n"
      "  kelvara compare ~/Documents/report.pdf ~/Documents/'report 2.pdf'\n  kelvara stats\n\n";
  text += "Help on one command: kelvara COMMAND --help\n";
  text += "Exit status: 0 done, 1 failed (or, of compare, different), 2 called the wrong way.\n";
  return text;
}

std::string groupOverview(const std::string& group, bool color) {
  return heading("Usage", color) + "  kelvara " + group + " COMMAND [options]\n\n" +
         heading("Commands", color) + commandList(group + " ") + "\nHelp on one command: kelvara " + group +
         " COMMAND --help\n";
}

std::string usageLine(const Command& command) {
  std::string line = std::string("kelvara ") + command.name;
  if (!command.options.empty()) line += " [options]";
  if (*command.operands != '\0') line += std::string(" ") + command.operands;
  return line;
}

std::string commandHelp(const Command& command, bool color) {
  std::string text = std::string(command.summary) + ".\n\n";
  text +=
      heading("Usage", color).append("  ").append(usageLine(command)).append("\n\n").append(command.text) +
      "\n";
  if (!command.options.empty()) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (const Option& option : command.options) rows.emplace_back(optionName(option), option.help);
    text.append("\n").append(heading("Options", color)).append(columns(rows));
  }
  text.append("\n").append(heading("Examples", color));
  for (const Example& example : command.examples) {
    text += std::string("  ") + example.command + "\n      " + example.comment + "\n";
  }
  return text;
}

}  // namespace kelvara
