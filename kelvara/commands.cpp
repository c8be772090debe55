// The table of commands.

#include <limits>

#include "kelvara/access.h"
#include "kelvara/audit.h"
#include "kelvara/command.h"
#include "kelvara/compare.h"
#include "kelvara/profile_commands.h"
#include "kelvara/profile_editing.h"
#include "kelvara/shell_texts.h"
#include "kelvara/stats.h"

namespace kelvara {
namespace {

constexpr std::size_t anyNumber = std::numeric_limits<std::size_t>::max();
const Option json = {"--json", "", "write JSON, for scripts"};

std::vector<Command> makeCommands() {
  return {
      {"grant",
       "FOLDER",
       "Let kelv work in a folder",
       "kelv touches none of your files until you say where it may. It takes the grant over at its next run "
       "and keeps\n"
       "it until you grant another folder, which takes the place of this one, or withdraw it. A grant finds "
       "its folder\n"
       "again after it was renamed or moved.",
       {},
       {{"kelvara grant ~/Documents", "kelv may read and write in Documents and its subfolders"},
        {"kelvara grant /", "kelv may touch every file that you may touch yourself"}},
       1,
       1,
       grantAccess},
      {"revoke",
       "",
       "Withdraw the access that kelv was granted",
       "From its next run on kelv touches none of your files.",
       {},
       {{"kelvara revoke", "withdraws the access to all files"}},
       0,
       0,
       revokeAccess},
      {"status",
       "",
       "Say what kelv may touch",
       "One sentence; with --json also the state (granted, pending, lost, revoked or none) and the location.",
       {json},
       {{"kelvara status", "says it in a sentence"},
        {"kelvara status --json | jq -r .location", "the granted folder's path"}},
       0,
       0,
       showAccess},
      {"stats",
       "",
       "Show how much space was saved",
       "The totals of all files that kelv made smaller, before and after. Their history has a point for "
       "every time that the\n"
       "totals were looked at and had changed.",
       {{"--history", "", "show how they grew, day by day"},
        {"--plot", "FILE.svg", "write a picture of how they grew, as SVG"},
        json},
       {{"kelvara stats", "the totals, readable"},
        {"kelvara stats --json", "the totals in bytes"},
        {"kelvara stats --plot saved.svg", "a picture for the browser"}},
       0,
       0,
       showStatistics},
      {"audit",
       "FILE.pdf...",
       "Show where the bytes of PDF files are",
       "Images by coding and by the resolution at which pages show them, fonts by kind, content, structure, "
       "metadata,\n"
       "attachments, and what nothing refers to any more; it adds up to the file's size. With --profile also "
       "what would be\n"
       "left of each: the engine does its work on a copy among the temporary files and throws it away. The "
       "profile is a\n"
       "ready one, a file, default for what kelv does without a profile, or all for every ready one beside "
       "each other.\n"
       "The exit status is 1 when a file could not be read.",
       {{"--profile", "NAME|default|all|FILE.kelvcp", "say what this profile would save"},
        {"--html", "FILE.html", "write a page with a treemap for the browser instead of text"},
        json,
        {"--password", "TEXT", "opens encrypted files"}},
       {{"kelvara audit report.pdf", "a table"},
        {"kelvara audit report.pdf --profile web", "what the profile web would save, and where"},
        {"kelvara audit *.pdf --profile all --html audit.html", "a page to look around in"},
        {"kelvara audit report.pdf --json | jq '.files[0].items[0]'", "the largest stream"}},
       1,
       anyNumber,
       auditFiles},
      {"compare",
       "BEFORE.pdf AFTER.pdf",
       "Show what is different between two PDF files",
       "Page by page: how alike they look (SSIM, 1 is the same) and which words are lost or new; then links, "
       "form fields,\n"
       "outlines, attachments and tags. Pages are drawn by poppler's pdftoppm, so the judge is not the "
       "program "
       "that made\n"
       "the file. The first 200 pages are compared unless --pages names others.\n"
       "The exit status is 0 when the files look and read the same, 1 when they differ, 2 when they could "
       "not "
       "be compared.",
       {{"--html", "FILE.html", "write a page for the browser too, with a slider between before and after"},
        {"--pages", "LIST", "the pages to compare, such as 1-3,7"},
        {"--dpi", "NUMBER", "how finely pages are drawn, from 20 to 300; 100 where it is not given"},
        {"--threshold", "SSIM", "a page below this differs, from 0 to 1; 0.95 where it is not given"},
        json,
        {"--password", "TEXT", "opens encrypted files"}},
       {{"kelvara compare report.pdf 'report 2.pdf'", "what kelv changed"},
        {"kelvara compare a.pdf b.pdf --html changes.html", "a page to look at the differences"},
        {"kelvara compare a.pdf b.pdf --pages 1-10 --threshold 0.99 --json", "for a script, and stricter"}},
       2,
       2,
       compareFiles},
      {"profile list",
       "",
       "List the ready profiles",
       "A profile says how strongly kelv compresses and what it may give up.",
       {json},
       {{"kelvara profile list", "one line for each"}},
       0,
       0,
       listProfiles},
      {"profile show",
       "NAME|FILE.kelvcp",
       "Show what a profile holds",
       "Of a ready profile, or of the first profile in a file: every key with its value and what it does.",
       {{"--all", "", "show the keys that keep their defaults too"}, json},
       {{"kelvara profile show web", "the settings of the profile web"},
        {"kelvara profile show mine.kelvcp --all", "every key of a file of your own"}},
       1,
       1,
       showProfile},
      {"profile export",
       "[NAME] FILE.kelvcp...",
       "Write a ready profile to files that kelv reads",
       "Without a name the profile web is written. A file that is there already is kept unless --force is "
       "given.",
       {{"--force", "", "replace files that are there already"}},
       {{"kelvara profile export print print.kelvcp", "writes the profile print"},
        {"kelv report.pdf --profile print.kelvcp", "compresses by it"}},
       1,
       anyNumber,
       exportProfile},
      {"profile new",
       "FILE.kelvcp [KEY=VALUE...]",
       "Make a profile of your own",
       "It starts as a ready profile and takes the keys that you set. Switches take true or false, yes or "
       "no, 1 or 0.",
       {{"--from", "NAME", "start from this ready profile instead of web"}},
       {{"kelvara profile new mine.kelvcp imageResolution=200", "like web, but with images at 200 dpi"},
        {"kelvara profile new flat.kelvcp --from print stripAndFlattenFormFields=yes",
         "like print, with forms filled in"}},
       1,
       anyNumber,
       newProfile},
      {"profile edit",
       "FILE.kelvcp [KEY=VALUE...]",
       "Change a profile of your own",
       "The first profile of the file, which is the one that kelv uses. The file changes whole or not at "
       "all.",
       {{"--unset", "KEY", "let a key have its default again"}},
       {{"kelvara profile edit mine.kelvcp imageQuality=0.6 removeAuthor=yes", "sets two keys"},
        {"kelvara profile edit mine.kelvcp --unset removeAuthor", "takes one out"}},
       1,
       anyNumber,
       editProfile},
      {"profile check",
       "FILE.kelvcp",
       "Check a profile for what kelv would not use",
       "kelv takes defaults for values that it cannot use, without a word. This names them, with unknown "
       "keys, values out of\n"
       "range and settings without effect. The exit status is 1 when something is wrong; notes alone are no "
       "failure.",
       {json},
       {{"kelvara profile check mine.kelvcp", "one line for each finding"}},
       1,
       1,
       checkProfileFile},
      {"completion",
       "bash|zsh|fish [kelv|kelvara]",
       "Print the completions of kelv and kelvara for a shell",
       "Of both programs, or of the one that is named. Installed packages bring them along; this is for "
       "everybody else.",
       {},
       {{"source <(kelvara completion bash)", "completions for this bash; a line for ~/.bashrc"},
        {"source <(kelvara completion zsh)", "the same for zsh, after compinit in ~/.zshrc"},
        {"kelvara completion fish | source", "the same for fish"}},
       1,
       2,
       printCompletion},
      {"manual",
       "kelv|kelvara",
       "Print a manual page",
       "In the form that man reads.",
       {},
       {{"kelvara manual kelv | man -l -", "reads the manual of kelv"}},
       1,
       1,
       printManual},
  };
}

}  // namespace

std::span<const Command> commands() {
  static const std::vector<Command> table = makeCommands();
  return table;
}

}  // namespace kelvara
