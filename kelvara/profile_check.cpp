#include "kelvara/profile_check.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>
#include <optional>

#include "kelv/profile/profile_keys.h"
#include "kelvara/key_texts.h"
#include "kelvara/profile_files.h"

namespace kelvara {
namespace {

using kelv::CompressionProfile;
using kelv::ProfileKey;
using kelv::ValueType;

// Single-character insertions, deletions and exchanges between two names, case aside.
std::size_t distance(std::string_view left, std::string_view right) {
  const auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? letter + 32 : +letter; };
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t exchanged = diagonal + (lower(left[i]) == lower(right[j]) ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, exchanged});
    }
  }
  return row.back();
}

std::string unknownKey(std::string_view name) {
  const std::string near = nearestKey(name);
  return "There is no key " + std::string(name) + (near.empty() ? "." : ": is " + near + " meant?");
}

bool isUsable(const CompressionProfile& profile, const ProfileKey& key) {
  switch (key.type) {
    case ValueType::real:
      return kelv::floatValue(profile, key.name).has_value();
    case ValueType::int32:
      return kelv::int32Value(profile, key.name).has_value();
    case ValueType::uint32:
      return kelv::uint32Value(profile, key.name).has_value();
    case ValueType::flag:
      return kelv::flagValue(profile, key.name).has_value();
    case ValueType::text:
      return kelv::textValue(profile, key.name).has_value();
  }
  return false;
}

// A number outside of what its meaning allows, such as a quality of 80 where 0.8 is meant.
std::optional<std::string> outOfRange(const CompressionProfile& profile, const ProfileKey& key) {
  const std::string name = key.name;
  if (name == "imageQuality") {
    const float quality = *kelv::floatValue(profile, name);
    if (quality < 0.01F || quality > 1 || std::isnan(quality)) {
      return "imageQuality is a fraction from 0.01 to 1, so 80 percent is 0.8.";
    }
  } else if (name == "imageResolution") {
    const float resolution = *kelv::floatValue(profile, name);
    if (!(resolution >= 0) || std::isinf(resolution)) {
      return "imageResolution is a number of dots per inch, or 0 for no change.";
    }
  } else if (key.type == ValueType::uint32) {
    if (*kelv::uint32Value(profile, name) > 3) return name + " is a number from 0 to 3.";
  } else if (key.type == ValueType::int32) {
    const std::int32_t number = *kelv::int32Value(profile, name);
    if (number != 0 && number != 1) return name + " is 0 or 1.";
  }
  return std::nullopt;
}

void checkKnownKeys(const CompressionProfile& profile, std::vector<Finding>& findings) {
  for (const ProfileKey& key : kelv::profileKeys()) {
    const std::string name = key.name;
    const auto entry = profile.find(name);
    if (entry == profile.end()) {
      if (key.required)
        findings.push_back({Severity::error, name + " is missing, and kelv stops without it."});
      continue;
    }
    if (!isUsable(profile, key)) {
      const std::string held =
          name + " is " + readableValue(entry->second) + " and not of the type " + typeName(key);
      if (key.required) {
        findings.push_back({Severity::error, held + ", and kelv stops without it."});
      } else {
        findings.push_back({Severity::warning, held + ": kelv takes " + defaultValue(key) + "."});
      }
    } else if (const std::optional<std::string> problem = outOfRange(profile, key)) {
      findings.push_back({key.required ? Severity::error : Severity::warning, *problem});
    }
  }
}

void checkCombinations(const CompressionProfile& profile, std::vector<Finding>& findings) {
  for (const kelv::InformationKeys& keys : kelv::informationKeys()) {
    if (!profile.contains(keys.customKey) || kelv::flagValue(profile, keys.removeKey).value_or(false))
      continue;
    findings.push_back({Severity::note, std::string(keys.customKey) + " has no effect unless " +
                                            keys.removeKey + " is true."});
  }
  const bool both = kelv::flagValue(profile, "updateModificationAndCreationDate").has_value();
  const bool modification = kelv::flagValue(profile, "updateModificationDate").has_value();
  if (both != modification) {
    findings.push_back(
        {Severity::note, std::string(both ? "updateModificationAndCreationDate" : "updateModificationDate") +
                             " has no effect unless " +
                             (both ? "updateModificationDate" : "updateModificationAndCreationDate") +
                             " is set too."});
  }
}

platform::PlatformError problem(const std::string& text) {
  return {"", 1, {{platform::localizedDescriptionKey, text}}, nullptr};
}

template <typename Number>
std::optional<Number> parseNumber(const std::string& text) {
  Number number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<bool> parseFlag(const std::string& text) {
  if (text == "true" || text == "yes" || text == "on" || text == "1") return true;
  if (text == "false" || text == "no" || text == "off" || text == "0") return false;
  return std::nullopt;
}

std::optional<platform::PropertyList> parseValue(const ProfileKey& key, const std::string& text) {
  switch (key.type) {
    case ValueType::real:
      if (const auto number = parseNumber<double>(text)) return platform::PropertyList(*number);
      break;
    case ValueType::int32:
      if (const auto flag = parseFlag(text)) return platform::PropertyList(std::int64_t{*flag ? 1 : 0});
      break;
    case ValueType::uint32:
      if (const auto number = parseNumber<std::uint32_t>(text))
        return platform::PropertyList(std::int64_t{*number});
      break;
    case ValueType::flag:
      if (const auto flag = parseFlag(text)) return platform::PropertyList(*flag);
      break;
    case ValueType::text:
      return platform::PropertyList(text);
  }
  return std::nullopt;
}

}  // namespace

std::vector<Finding> checkProfile(const CompressionProfile& profile) {
  std::vector<Finding> findings;
  if (profile.empty()) {
    findings.push_back({Severity::warning, "The profile is empty: kelv uses its default profile."});
    return findings;
  }
  checkKnownKeys(profile, findings);
  for (const auto& entry : profile) {
    if (kelv::findProfileKey(entry.first) == nullptr)
      findings.push_back({Severity::warning, unknownKey(entry.first)});
  }
  checkCombinations(profile, findings);
  return findings;
}

std::string nearestKey(std::string_view name) {
  std::string nearest;
  std::size_t least = std::max<std::size_t>(2, name.size() / 3) + 1;
  for (const ProfileKey& key : kelv::profileKeys()) {
    const std::size_t between = distance(name, key.name);
    if (between >= least) continue;
    least = between;
    nearest = key.name;
  }
  return nearest;
}

platform::Result<Assignment> parseAssignment(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) return problem("“" + text + "” is not of the form KEY=VALUE.");
  const std::string name = text.substr(0, equals);
  const ProfileKey* key = kelv::findProfileKey(name);
  if (key == nullptr) return problem(unknownKey(name));
  const std::string value = text.substr(equals + 1);
  std::optional<platform::PropertyList> parsed = parseValue(*key, value);
  if (!parsed) return problem(name + " is " + typeName(*key) + ", and “" + value + "” is not.");
  const CompressionProfile alone = {{name, *parsed}};
  if (const std::optional<std::string> outside = outOfRange(alone, *key)) return problem(*outside);
  return Assignment{name, std::move(*parsed)};
}

}  // namespace kelvara
