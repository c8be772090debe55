#include "kelvara/profile_commands.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <optional>
#include <ostream>
#include <vector>

#include "kelv/profile/profile_keys.h"
#include "kelvara/json.h"
#include "kelvara/key_texts.h"
#include "kelvara/profile_files.h"
#include "kelvara/ready_profiles.h"

namespace kelvara {
namespace {

constexpr const char* listRemedy = "Ready profiles are listed by: kelvara profile list";

// A ready profile by its name, or the first profile of a file.
std::optional<kelv::CompressionProfile> findProfile(Context& context, const std::string& nameOrFile) {
  if (const ReadyProfile* ready = findReadyProfile(nameOrFile)) return ready->values;
  auto profiles = readProfiles(context.services, absolutePath(context, nameOrFile));
  if (profiles.ok()) return std::move(profiles->front());
  failure(context,
          "there is no ready profile “" + nameOrFile + "”, and no profile file of that name can be read. " +
              profiles.error().localizedDescription(),
          listRemedy);
  return std::nullopt;
}

void showAsJson(const kelv::CompressionProfile& profile, std::ostream& out) {
  out << "{";
  const char* separator = "";
  for (const auto& [key, value] : profile) {
    out << separator << jsonText(key) << ": ";
    const std::string text = readableValue(value);
    out << (text.starts_with("(") ? jsonText(text) : text);
    separator = ", ";
  }
  out << "}\n";
}

using Rows = std::vector<std::array<std::string, 3>>;

// Three columns, each as wide as its widest text.
void printRows(const Rows& rows, std::ostream& out) {
  std::size_t nameWidth = 0;
  std::size_t valueWidth = 0;
  for (const auto& [name, value, meaning] : rows) {
    nameWidth = std::max(nameWidth, name.size());
    valueWidth = std::max(valueWidth, value.size());
  }
  for (const auto& [name, value, meaning] : rows) {
    out << std::left << std::setw(static_cast<int>(nameWidth) + 2) << name
        << std::setw(static_cast<int>(valueWidth) + 2) << value << meaning << "\n";
  }
}

}  // namespace

ExitStatus listProfiles(const Arguments& arguments, Context& context) {
  const bool json = arguments.has("--json");
  if (json) context.out << "[";
  const char* separator = "";
  for (const ReadyProfile& profile : readyProfiles()) {
    if (json) {
      context.out << separator << "{\"name\": " << jsonText(profile.name)
                  << ", \"summary\": " << jsonText(profile.summary) << "}";
      separator = ", ";
    } else {
      context.out << std::left << std::setw(9) << profile.name << profile.summary << "\n";
    }
  }
  if (json) context.out << "]\n";
  return exitOk;
}

ExitStatus showProfile(const Arguments& arguments, Context& context) {
  const std::string& name = arguments.operands.front();
  const std::optional<kelv::CompressionProfile> profile = findProfile(context, name);
  if (!profile) return exitFailure;
  if (arguments.has("--json")) {
    showAsJson(*profile, context.out);
    return exitOk;
  }
  if (const ReadyProfile* ready = findReadyProfile(name)) {
    context.out << ready->name << ": " << ready->summary << ".\n" << ready->text << "\n\n";
  }
  Rows rows;
  for (const kelv::ProfileKey& key : kelv::profileKeys()) {
    const auto entry = profile->find(key.name);
    const bool isSet = entry != profile->end();
    if (!isSet && !arguments.has("--all")) continue;
    rows.push_back({key.name, isSet ? readableValue(entry->second) : defaultValue(key),
                    keyMeaning(key.name) + (isSet ? "" : " (by default)")});
  }
  for (const auto& [key, value] : *profile) {
    if (kelv::findProfileKey(key) == nullptr)
      rows.push_back({key, readableValue(value), "(kelv knows no such key)"});
  }
  printRows(rows, context.out);
  return exitOk;
}

ExitStatus exportProfile(const Arguments& arguments, Context& context) {
  std::vector<std::string> files = arguments.operands;
  const ReadyProfile* profile = &readyProfiles().front();
  if (files.size() > 1) {
    if (const ReadyProfile* named = findReadyProfile(files.front())) {
      profile = named;
      files.erase(files.begin());
    } else if (files.front().find(".kelvcp") == std::string::npos) {
      return failure(context, "there is no ready profile “" + files.front() + "”.", listRemedy);
    }
  } else if (findReadyProfile(files.front()) != nullptr) {
    failure(context, "the file to write is missing.",
            "For example: kelvara profile export " + files.front() + " " + files.front() + ".kelvcp");
    return exitUsage;
  }
  for (const std::string& file : files) {
    if (file.find(".kelvcp") == std::string::npos) {
      return failure(context, file + " would not be found by kelv, which knows a profile by its “.kelvcp”.",
                     "Let the file's name end in .kelvcp.");
    }
    const platform::Status written = writeProfile(context.services, profile->values,
                                                  absolutePath(context, file), arguments.has("--force"));
    if (!written.ok()) {
      return failure(context, "the profile cannot be written. " + written.error().localizedDescription(),
                     "Name another file, or replace one that is there with --force.");
    }
    context.out << "Wrote the profile " << profile->name << " to " << file << ".\n";
  }
  return exitOk;
}

}  // namespace kelvara
