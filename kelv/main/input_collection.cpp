#include "kelv/main/input_collection.h"

#include <algorithm>
#include <string>
#include <vector>

#include "kelv/main/output_plan.h"
#include "kelv/main/usage.h"
#include "platform/path.h"

namespace kelv {
namespace {

// Arguments that contain one of these end the run of input paths. "--profile" and "-verbose" are left out on
// purpose: after folders they are taken as folders.
bool endsInputPaths(const std::string& argument) {
  constexpr const char* stopWords[] = {".kelvcp", "--subfolders", "--replace", "--verbose", "--output"};
  return std::any_of(std::begin(stopWords), std::end(stopWords),
                     [&argument](const char* word) { return contains(argument, word); });
}

// The leading arguments that name PDF files, or that do not, as absolute paths.
std::vector<std::string> leadingPaths(const FrontEnd& frontEnd, bool pdfFiles) {
  std::vector<std::string> paths;
  for (const std::string& argument : frontEnd.arguments) {
    if (contains(argument, ".pdf") != pdfFiles || endsInputPaths(argument)) break;
    paths.push_back(platform::resolvePath(frontEnd.baseFolder, argument));
  }
  return paths;
}

// Only ASCII letters matter: no other character lower-cases to one of "pdf".
bool hasPdfExtension(const std::string& path) {
  std::string extension = platform::pathExtension(path);
  std::transform(extension.begin(), extension.end(), extension.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
  });
  return extension == "pdf";
}

class FolderSearch {
 public:
  FolderSearch(platform::Services& services, bool subfolders)
      : services_(services),
        options_(platform::skipPackageDescendants | platform::skipHiddenFiles |
                 (subfolders ? 0U : platform::skipSubdirectoryDescendants)) {}

  void search(const std::string& folder) {
    const bool enumerated = services_.files.enumerate(
        folder, options_,
        [this](const std::string& path) {
          if (hasPdfExtension(path)) found_.push_back(path);
        },
        [this](const std::string& path, bool isDirectory, const platform::PlatformError& error) {
          return enumerationErrorHandler(path, isDirectory, error);
        });
    if (!enumerated) platform::fatalError("a folder cannot be enumerated", __FILE__, __LINE__);
  }

  const std::vector<std::string>& found() const { return found_; }

 private:
  // Without a colon, on purpose.
  bool enumerationErrorHandler(const std::string& path, bool isDirectory,
                               const platform::PlatformError& error) {
    services_.process.log("ERROR #khz45Iq39- " + platform::fileUrlText(path, isDirectory) + " - " +
                          error.description());
    return true;
  }

  platform::Services& services_;
  unsigned options_;
  std::vector<std::string> found_;
};

}  // namespace

void collectInputFiles(FrontEnd& frontEnd) {
  const std::vector<std::string> files = leadingPaths(frontEnd, true);
  if (!files.empty()) {
    planOutputAndCompress(frontEnd, files);
    return;
  }

  platform::Process& process = frontEnd.services.process;
  const std::vector<std::string> folders = leadingPaths(frontEnd, false);
  if (folders.empty()) {
    process.print("ERROR: No input paths have been provided.");
    process.print(usageText);
    return;
  }
  FolderSearch search(frontEnd.services, hasFlag(frontEnd.arguments, "--subfolders"));
  for (const std::string& folder : folders) search.search(folder);
  if (search.found().empty()) {
    process.print("ERROR: #q35gFE22 No PDF files have been found in that folder.");
    return;
  }
  if (frontEnd.verbose) {
    process.print("You have specified a folder that contains " + std::to_string(search.found().size()) +
                  " files");
  }
  planOutputAndCompress(frontEnd, search.found());
}

}  // namespace kelv
