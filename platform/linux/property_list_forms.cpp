#include "platform/linux/property_list_forms.h"

#include <algorithm>

#include "platform/linux/file_errors.h"

namespace platform {

Result<PropertyList> parsePropertyList(const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return propertyListError("Cannot parse a NULL or zero-length data");
  if (bytes.size() > longestList) return propertyListError("The data is too long");
  static constexpr std::string_view magic = "bplist0";
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()), std::min(bytes.size(), magic.size()));
  if (start == magic) {
    Result<PropertyList> list = parseBinaryPropertyList(bytes);
    if (list) return list;
  }
  const Result<std::string> text = decodePropertyListText(bytes);
  if (!text) return text.error();
  Result<PropertyList> xml = parseXmlPropertyList(*text);
  if (xml) return xml;
  Result<PropertyList> oldText = parseOldTextPropertyList(*text);
  if (oldText) return oldText;
  PlatformError error = xml.error();
  error.userInfo.emplace_back("kCFPropertyListOldStyleParsingError", oldText.error().description());
  return error;
}

}  // namespace platform
