#include "kelvara/profile_files.h"

#include "kelvara/files.h"
#include "kelvara/json.h"

namespace kelvara {
namespace {

platform::PlatformError plainError(const std::string& message) {
  return {"", 1, {{platform::localizedDescriptionKey, message}}, nullptr};
}

}  // namespace

platform::Result<Profiles> readProfiles(platform::Services& services, const std::string& path) {
  const auto bytes = services.files.readFile(path);
  if (!bytes.ok()) return bytes.error();
  const auto list = platform::parsePropertyList(*bytes);
  if (!list.ok()) return list.error();
  const platform::PropertyListArray* items = list->arrayItems();
  if (items == nullptr) {
    return plainError("Its top level is not an array: kelv would use its default profile without a word.");
  }
  if (items->empty())
    return plainError("It holds no profile: kelv would use its default profile without a word.");
  Profiles profiles;
  for (const platform::PropertyList& item : *items) {
    if (item.dictionaryEntries() == nullptr) {
      return plainError(
          "It holds something else than profiles: kelv would use its default profile without a word.");
    }
    profiles.push_back(*item.dictionaryEntries());
  }
  return profiles;
}

platform::Status writeProfiles(platform::Services& services, const Profiles& profiles,
                               const std::string& path, bool overwrite) {
  platform::PropertyListArray items;
  for (const kelv::CompressionProfile& profile : profiles) {
    items.push_back(platform::PropertyList::dictionary(profile));
  }
  const auto text = platform::writeXmlPropertyList(platform::PropertyList::array(std::move(items)));
  if (!text.ok()) return text.error();
  return writeWholeFile(services, *text, path, overwrite);
}

platform::Status writeProfile(platform::Services& services, const kelv::CompressionProfile& profile,
                              const std::string& path, bool overwrite) {
  return writeProfiles(services, {profile}, path, overwrite);
}

std::string readableValue(const platform::PropertyList& value) {
  if (const bool* flag = value.boolean()) return *flag ? "true" : "false";
  if (const std::string* text = value.text()) return jsonText(*text);
  if (const auto* integer = std::get_if<std::int64_t>(&value.value())) return std::to_string(*integer);
  double number = 0;
  if (value.number(number)) return jsonNumber(number);
  if (value.data() != nullptr) return "(data)";
  if (value.arrayItems() != nullptr) return "(array)";
  if (value.dictionaryEntries() != nullptr) return "(dictionary)";
  return "(other)";
}

}  // namespace kelvara
