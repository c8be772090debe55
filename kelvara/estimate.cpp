#include "kelvara/estimate.h"

#include <memory>
#include <utility>

#include "kelvara/profile_settings.h"
#include "kelvara/temporary_folder.h"
#include "optimizer/base/large_stack.h"
#include "optimizer/pipeline/optimize.h"

namespace kelvara {
namespace {

using optimizer::Document;
using optimizer::Error;
using optimizer::ErrorKind;
using optimizer::Status;

Status writeResult(const std::string& path, const std::string& password, const EstimateProfile& profile,
                   const std::string& result, const Saying& say) {
  auto document = Document::open(path, password);
  if (!document.ok()) return document.error();
  optimizer::Settings settings = optimizer::webSettings();
  if (profile.values) {
    const std::optional<optimizer::Settings> own = settingsOf(*profile.values);
    if (!own) return Error{ErrorKind::unsupported, "imageQuality or imageResolution is missing or no number"};
    settings = *own;
    OPTIMIZER_TRY(applyInformation(*profile.values, **document));
  }
  optimizer::OptimizeOptions options;
  options.trace = [&say](std::string_view pass, optimizer::PassOutcome, double) {
    say(std::string(pass) + " done");
  };
  optimizer::Report report;
  return optimizeToFile(**document, settings, result, options, report);
}

}  // namespace

optimizer::Result<optimizer::Audit> auditFile(const std::string& path, const std::string& password) {
  optimizer::Audit audit;
  const Status status = optimizer::runOnLargeStack([&]() -> Status {
    auto document = Document::open(path, password);
    if (!document.ok()) return document.error();
    auto found = optimizer::auditDocument(**document);
    if (!found.ok()) return found.error();
    audit = std::move(*found);
    return {};
  });
  if (!status.ok()) return status.error();
  return audit;
}

Estimate estimate(const std::string& path, const std::string& password, const EstimateProfile& profile,
                  const Saying& say) {
  Estimate made{profile.name, "", {}};
  const TemporaryFolder folder;
  if (folder.path().empty()) {
    made.problem = "There is no room for temporary files; look at $TMPDIR";
    return made;
  }
  const std::string result = folder.path() + "/result.pdf";
  const Status status = optimizer::runOnLargeStack(
      [&]() -> Status { return writeResult(path, password, profile, result, say); });
  if (!status.ok()) {
    made.problem = status.error().message;
    return made;
  }
  auto after = auditFile(result, "");
  if (after.ok()) {
    made.after = std::move(*after);
  } else {
    made.problem = after.error().message;
  }
  return made;
}

}  // namespace kelvara
