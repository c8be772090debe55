#include "kelvara/audit.h"

#include <algorithm>
#include <ostream>

#include "kelvara/audit_report.h"
#include "kelvara/files.h"
#include "kelvara/profile_check.h"
#include "kelvara/profile_files.h"
#include "kelvara/progress.h"
#include "kelvara/ready_profiles.h"

namespace kelvara {
namespace {

constexpr const char* withoutProfile = "default";

// The profiles that a name or a file stands for; nothing, and a message, where it stands for none.
std::optional<std::vector<EstimateProfile>> findProfiles(const std::string& wanted, Context& context) {
  std::vector<EstimateProfile> profiles;
  if (wanted == withoutProfile || wanted == "all") profiles.push_back({withoutProfile, std::nullopt});
  for (const ReadyProfile& ready : readyProfiles()) {
    if (wanted == "all" || findReadyProfile(wanted) == &ready) profiles.push_back({ready.name, ready.values});
  }
  if (!profiles.empty()) return profiles;
  const auto read = readProfiles(context.services, absolutePath(context, wanted));
  if (!read.ok()) {
    failure(context, "there is no profile " + wanted + ". " + read.error().localizedDescription(),
            "Name a file, default, all, or one of those that are listed by: kelvara profile list");
    return std::nullopt;
  }
  for (const Finding& finding : checkProfile(read->front())) {
    if (finding.severity != Severity::error) continue;
    failure(context, "kelv cannot use the profile " + wanted + ". " + finding.text,
            "See: kelvara profile check " + wanted);
    return std::nullopt;
  }
  profiles.push_back({wanted, read->front()});
  if (read->front().empty()) profiles.back().values = std::nullopt;
  return profiles;
}

AuditedFile auditOne(const std::string& name, const std::string& password,
                     const std::vector<EstimateProfile>& profiles, Context& context) {
  AuditedFile file{name, "", {}, {}};
  Progress progress(context);
  progress.show(name + ": reading …");
  const std::string path = absolutePath(context, name);
  auto audit = auditFile(path, password);
  if (!audit.ok()) {
    file.problem = audit.error().message;
    if (audit.error().kind == optimizer::ErrorKind::password) file.problem += ": give it with --password";
    return file;
  }
  file.audit = std::move(*audit);
  for (const EstimateProfile& profile : profiles) {
    const std::string start = name + ": trying " + profile.name + " … ";
    progress.show(start);
    file.estimates.push_back(estimate(path, password, profile, [&progress, &start](const std::string& what) {
      progress.show(start + what);
    }));
  }
  return file;
}

}  // namespace

ExitStatus auditFiles(const Arguments& arguments, Context& context) {
  std::vector<EstimateProfile> profiles;
  if (arguments.has("--profile")) {
    const auto found = findProfiles(arguments.value("--profile"), context);
    if (!found) return exitFailure;
    profiles = *found;
  }
  const bool json = arguments.has("--json");
  const bool html = arguments.has("--html");
  ExitStatus status = exitOk;
  std::vector<AuditedFile> files;
  const char* separator = "";
  for (const std::string& name : arguments.operands) {
    AuditedFile file = auditOne(name, arguments.value("--password"), profiles, context);
    if (!file.problem.empty()) {
      status = failure(context, name + ": " + file.problem + ".", "It is left out.");
    } else if (!json && !html) {
      context.out << separator << auditAsText(file, context.color);
      separator = "\n";
    }
    files.push_back(std::move(file));
  }
  if (json) context.out << auditAsJson(files);
  if (html) {
    const std::string page = arguments.value("--html");
    const platform::Status written =
        writeWholeFile(context.services, auditAsHtml(files), absolutePath(context, page), true);
    if (!written.ok()) {
      return failure(context, "the page cannot be written. " + written.error().localizedDescription(),
                     "Name a file in a folder that you may write to.");
    }
    if (!json) context.out << "Wrote " << page << ".\n";
  }
  return status;
}

}  // namespace kelvara
