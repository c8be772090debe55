#include <cctype>
#include <ostream>
#include <string_view>

#include "kelvara/key_texts.h"
#include "kelvara/ready_profiles.h"
#include "kelvara/shell_texts.h"

namespace kelvara {
namespace {

// Backslashes, hyphens and a dot or quote at the start of a line have a meaning in roff.
std::string escaped(std::string_view text) {
  std::string roff;
  for (const char letter : text) {
    if ((roff.empty() || roff.back() == '\n') && (letter == '.' || letter == '\'')) roff += "\\&";
    if (letter == '\\') {
      roff += "\\e";
    } else if (letter == '-') {
      roff += "\\-";
    } else {
      roff += letter;
    }
  }
  return roff;
}

// The day on which the wording of the pages changed last.
constexpr const char* pageDate = "2026-11-21";

// No hyphenation and no justification: names of options and keys stay in one piece.
std::string title(const std::string& program, const char* summary) {
  std::string name;
  for (const char letter : program) name += static_cast<char>(std::toupper(letter));
  return ".TH " + name + " 1 \"" + pageDate +
         "\" \"Kelvara " KELVARA_VERSION "\" \"User Commands\"\n.nh\n.ad l\n.SH NAME\n" + program + " \\- " +
         escaped(summary) + "\n";
}

std::string optionList(std::span<const Option> options) {
  std::string roff;
  for (const Option& option : options) {
    roff += ".TP\n.B " + escaped(option.name) + "\n";
    if (*option.value != '\0') {
      roff.insert(roff.size() - 1, std::string(" \\fI") + escaped(option.value) + "\\fR");
    }
    roff += escaped(option.help) + ".\n";
  }
  return roff;
}

std::string exampleList(const std::vector<Example>& examples) {
  std::string roff;
  for (const Example& example : examples) {
    roff += ".TP\n.B " + escaped(example.command) + "\n" + escaped(example.comment) + ".\n";
  }
  return roff;
}

}  // namespace

std::string kelvManual() {
  std::string roff = title("kelv", "make PDF files smaller");
  roff +=
      ".SH SYNOPSIS\n.B kelv\n.I FILE.pdf... \\fR[\\fIoptions\\fR]\n.br\n.B kelv\n.I FOLDER... "
      "\\fR[\\fIoptions\\fR]\n";
  roff +=
      ".SH DESCRIPTION\nPaths come first, options after them. The arguments are PDF files or folders, not "
      "both. An argument "
      "that contains\n.B .pdf\nis a file; folders are searched for files whose names end in it. A result "
      "that is not smaller "
      "than its original is dropped. Originals are never changed, except with\n.BR \\-\\-replace .\n.PP\n"
      "Results go beside their originals under a numbered name, such as\n.IR \"report 2.pdf\" .\n.PP\n"
      "Nothing is touched before access is granted with\n.BR \"kelvara grant\" .\n";
  roff += ".SH OPTIONS\n" + optionList(kelvOptions());
  roff +=
      ".SH EXIT STATUS\n0, also after files that could not be compressed; those are named on standard "
      "output, in lines that "
      "begin with ERROR. Another status means that kelv was stopped.\n";
  roff +=
      ".SH ENVIRONMENT\n.TP\n.B PWD\nThe folder that relative paths count from.\n.TP\n.B TMPDIR\nWhere files "
      "are written "
      "until they are complete.\n.TP\n.B XDG_CONFIG_HOME\nIts subfolder\n.I kelvara\nholds the preferences; "
      "~/.config "
      "where it is not set.\n";
  roff += ".SH EXAMPLES\n" +
          exampleList(
              {{"kelv report.pdf --verbose", "writes \"report 2.pdf\" and says how much was saved"},
               {"kelv ~/Scans --subfolders --output ~/Small",
                "every PDF file below Scans, the results in one folder"},
               {"kelv report.pdf --profile print.kelvcp --replace", "compresses by a profile, in place"}});
  return roff + ".SH SEE ALSO\n.BR kelvara (1)\n";
}

std::string kelvaraManual() {
  std::string roff = title("kelvara", "grant kelv access, audit and compare PDF files, make profiles");
  roff += ".SH SYNOPSIS\n.B kelvara\n.I COMMAND \\fR[\\fIoptions\\fR]\n.SH COMMANDS\n";
  for (const Command& command : commands()) {
    roff += ".SS kelvara " + escaped(command.name) + " \\fI" + escaped(command.operands) + "\\fR\n" +
            escaped(command.summary) + ".\n" + escaped(command.text) + "\n" + optionList(command.options) +
            exampleList(command.examples);
  }
  roff += ".SH PROFILES\n";
  for (const ReadyProfile& profile : readyProfiles()) {
    roff += ".TP\n.B " + escaped(profile.name) + "\n" + escaped(profile.summary) + ". " +
            escaped(profile.text) + "\n";
  }
  roff += ".SH PROFILE KEYS\n";
  for (const kelv::ProfileKey& key : kelv::profileKeys()) {
    roff += std::string(".TP\n.B ") + key.name + " \\fR(" + escaped(typeName(key)) + "; " +
            escaped(defaultValue(key)) + ")\n" + escaped(keyMeaning(key.name)) + ".\n";
  }
  roff +=
      ".SH EXIT STATUS\n0 done, 1 failed, 2 called the wrong way. Of\n.B compare\n0 the files look and read "
      "the same, 1 they differ, 2 they could not be compared.\n";
  roff +=
      ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhen set and not empty, nothing is coloured.\n.TP\n.B PATH\nWhere "
      "the programs of poppler are found that\n.B compare\ndraws pages with.\n.TP\n.B TMPDIR\nWhere\n.B "
      "audit\\ \\-\\-profile\nlets the engine work.\n.TP\n.B XDG_CONFIG_HOME\nIts subfolder\n.I kelvara\n"
      "holds the preferences that kelv and kelvara share; ~/.config where it is not set.\n";
  roff +=
      ".SH FILES\n.TP\n.I ~/.config/kelvara/group.kelvara.plist\nThe grant and the totals.\n.TP\n.I "
      "~/.config/kelvara/kelvara.plist\nThe history of the totals.\n";
  return roff + ".SH SEE ALSO\n.BR kelv (1),\n.BR pdftoppm (1),\n.BR pdftotext (1)\n";
}

ExitStatus printManual(const Arguments& arguments, Context& context) {
  const std::string& program = arguments.operands.front();
  if (program == "kelv") {
    context.out << kelvManual();
  } else if (program == "kelvara") {
    context.out << kelvaraManual();
  } else {
    failure(context, "there is no manual of " + program + ".", "Choose one of: kelv, kelvara");
    return exitUsage;
  }
  return exitOk;
}

}  // namespace kelvara
