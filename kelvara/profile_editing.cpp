#include "kelvara/profile_editing.h"

#include <algorithm>
#include <optional>
#include <ostream>

#include "kelv/profile/profile_keys.h"
#include "kelvara/json.h"
#include "kelvara/profile_check.h"
#include "kelvara/profile_files.h"
#include "kelvara/ready_profiles.h"

namespace kelvara {
namespace {

constexpr const char* keysRemedy = "Every key is explained by: kelvara profile show web --all";

// Puts KEY=VALUE… and --unset KEY into a profile; false after the first that is wrong, which is printed.
bool assign(std::span<const std::string> assignments, const std::string& unset,
            kelv::CompressionProfile& profile, Context& context) {
  for (const std::string& text : assignments) {
    const auto assignment = parseAssignment(text);
    if (!assignment.ok()) {
      failure(context, assignment.error().localizedDescription(), keysRemedy);
      return false;
    }
    profile.insert_or_assign(assignment->key, assignment->value);
  }
  if (unset.empty()) return true;
  const kelv::ProfileKey* key = kelv::findProfileKey(unset);
  if (key != nullptr && key->required) {
    failure(context, unset + " cannot be left out: kelv stops without it.", keysRemedy);
    return false;
  }
  if (profile.erase(unset) == 1) return true;
  failure(context, "the profile has no key " + unset + ".",
          "Its keys are shown by: kelvara profile show FILE");
  return false;
}

ExitStatus cannotWrite(Context& context, const platform::PlatformError& error, const char* remedy) {
  return failure(context, "the profile cannot be written. " + error.localizedDescription(), remedy);
}

const char* severityName(Severity severity) {
  switch (severity) {
    case Severity::note:
      return "note";
    case Severity::warning:
      return "warning";
    case Severity::error:
      return "error";
  }
  return "";
}

}  // namespace

ExitStatus newProfile(const Arguments& arguments, Context& context) {
  const std::string& file = arguments.operands.front();
  const std::string base = arguments.has("--from") ? arguments.value("--from") : "web";
  const ReadyProfile* ready = findReadyProfile(base);
  if (ready == nullptr) {
    return failure(context, "there is no ready profile “" + base + "”.",
                   "Ready profiles are listed by: kelvara profile list");
  }
  if (file.find(".kelvcp") == std::string::npos) {
    return failure(context, file + " would not be found by kelv, which knows a profile by its “.kelvcp”.",
                   "Let the file's name end in .kelvcp.");
  }
  kelv::CompressionProfile profile = ready->values;
  const std::span<const std::string> assignments = std::span(arguments.operands).subspan(1);
  if (!assign(assignments, "", profile, context)) return exitFailure;
  const platform::Status written =
      writeProfile(context.services, profile, absolutePath(context, file), false);
  if (!written.ok()) {
    return cannotWrite(context, written.error(),
                       "Name another file, or change the one that is there with: kelvara profile edit");
  }
  context.out << "Wrote a profile like " << ready->name << " to " << file << ".\n";
  return exitOk;
}

ExitStatus editProfile(const Arguments& arguments, Context& context) {
  const std::string path = absolutePath(context, arguments.operands.front());
  auto profiles = readProfiles(context.services, path);
  if (!profiles.ok()) {
    return failure(context,
                   "the profile " + path + " cannot be read. " + profiles.error().localizedDescription(),
                   "Make one with: kelvara profile new FILE");
  }
  const std::span<const std::string> assignments = std::span(arguments.operands).subspan(1);
  if (assignments.empty() && !arguments.has("--unset")) {
    failure(context, "there is nothing to change.",
            "For example: kelvara profile edit FILE imageResolution=200");
    return exitUsage;
  }
  if (!assign(assignments, arguments.value("--unset"), profiles->front(), context)) return exitFailure;
  const platform::Status written = writeProfiles(context.services, *profiles, path, true);
  if (!written.ok())
    return cannotWrite(context, written.error(), "Look whether you may write to its folder.");
  context.out << "Changed " << arguments.operands.front() << ".\n";
  return exitOk;
}

ExitStatus checkProfileFile(const Arguments& arguments, Context& context) {
  const std::string& file = arguments.operands.front();
  std::vector<Finding> findings;
  const auto profiles = readProfiles(context.services, absolutePath(context, file));
  if (profiles.ok()) {
    findings = checkProfile(profiles->front());
    if (profiles->size() > 1) {
      findings.push_back({Severity::note, "The file holds " + std::to_string(profiles->size()) +
                                              " profiles, and kelv uses the first."});
    }
  } else {
    findings.push_back({Severity::error, profiles.error().localizedDescription()});
  }
  if (file.find(".kelvcp") == std::string::npos) {
    findings.push_back({Severity::warning, "kelv knows a profile by the “.kelvcp” in its name."});
  }

  if (arguments.has("--json")) {
    context.out << "[";
    const char* separator = "";
    for (const Finding& finding : findings) {
      context.out << separator << "{\"severity\": " << jsonText(severityName(finding.severity))
                  << ", \"text\": " << jsonText(finding.text) << "}";
      separator = ", ";
    }
    context.out << "]\n";
  } else {
    for (const Finding& finding : findings) {
      context.out << file << ": " << severityName(finding.severity) << ": " << finding.text << "\n";
    }
    if (findings.empty()) context.out << file << ": kelv can use every key of this profile.\n";
  }
  const bool clean = std::all_of(findings.begin(), findings.end(),
                                 [](const Finding& finding) { return finding.severity == Severity::note; });
  return clean ? exitOk : exitFailure;
}

}  // namespace kelvara
