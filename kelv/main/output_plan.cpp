#include "kelv/main/output_plan.h"

#include <algorithm>
#include <utility>

#include "kelv/batch/completion.h"
#include "kelv/main/statistics_handler.h"
#include "kelv/profile/profile_file.h"
#include "kelv/shared/error_report.h"
#include "platform/path.h"

namespace kelv {
namespace {

bool namesPdf(const std::string& argument) {
  return contains(argument, ".pdf") && !contains(argument, ".kelvcp");
}

// The profile named first; an empty one when none is named, nothing when it cannot be read.
std::optional<CompressionProfile> selectProfile(const FrontEnd& frontEnd) {
  const std::vector<std::string>& arguments = frontEnd.processArguments;
  const auto file = std::find_if(arguments.begin(), arguments.end(),
                                 [](const std::string& argument) { return contains(argument, ".kelvcp"); });
  if (file == arguments.end()) return CompressionProfile();
  return readProfileFile(frontEnd.services, *file, frontEnd.baseFolder, frontEnd.verbose);
}

}  // namespace

std::optional<OutputPlan> planOutput(const FrontEnd& frontEnd, std::size_t inputCount) {
  const std::vector<std::string>& arguments = frontEnd.processArguments;
  auto argument = std::find(arguments.begin(), arguments.end(), "--output");
  OutputPlan plan;
  if (argument == arguments.end()) return plan;
  ++argument;
  if (argument == arguments.end()) platform::fatalError("--output has no value", __FILE__, __LINE__);

  platform::Process& process = frontEnd.services.process;
  if (namesPdf(*argument)) {
    for (; argument != arguments.end() && namesPdf(*argument); ++argument) {
      plan.outputFiles.push_back(platform::resolvePath(frontEnd.baseFolder, *argument));
    }
    if (plan.outputFiles.size() == inputCount) return plan;
    process.print("ERROR: Please make sure there are as many output paths as input paths");
    return std::nullopt;
  }

  const platform::Status made = frontEnd.services.files.createDirectory(*argument);
  if (!made.ok()) {
    const std::string description = made.error().description();
    process.print("ERROR: Unable to create output directory " + description);
    printAccessHint(process, description);
    return std::nullopt;
  }
  plan.outputFolder = *argument;
  return plan;
}

void planOutputAndCompress(FrontEnd& frontEnd, const std::vector<std::string>& inputPaths) {
  std::optional<OutputPlan> plan = planOutput(frontEnd, inputPaths.size());
  if (!plan) return;
  const bool replace = hasFlag(frontEnd.processArguments, "--replace");
  std::optional<CompressionProfile> profile = selectProfile(frontEnd);
  if (!profile) return;

  BatchRequest request;
  request.inputPaths = inputPaths;
  request.outputFolder = std::move(plan->outputFolder);
  request.outputFiles = std::move(plan->outputFiles);
  request.profile = std::move(*profile);
  request.replace = replace;
  request.moveToTrash = true;
  request.asynchronous = false;
  request.verbose = frontEnd.verbose;
  request.statistics = totalsHandler(frontEnd.services);
  request.completion = reportingCompletion(frontEnd.services.process);
  frontEnd.sharedCompressor()->compressBatch(request);
}

}  // namespace kelv
