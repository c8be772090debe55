// What can stand at one place of a command line, for completions.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvara {

struct Candidates {
  std::vector<std::string> words;  // literal ones; one that ends in "=" is followed by a value
  bool files = false;
  std::string extension;  // of the files, without its dot; empty: all files
  bool folders = false;
};

// Reads the placeholder of an operand or of an option's value as the table of commands writes it: lower-case
// words and options stand for themselves, NAME is a ready profile, KEY a profile's key, FOLDER a folder, FILE
// a file and FILE.pdf or AFTER.pdf one with that extension; they are joined by "|", blanks, brackets and
// dots.
Candidates candidatesFor(std::string_view placeholder);

// A word in the single quotes of a shell.
std::string shellQuoted(std::string_view text);
std::string joinedWords(const std::vector<std::string>& words);

}  // namespace kelvara
