#include "platform/linux/file_errors.h"
#include "platform/linux/property_list_forms.h"

namespace platform {

Result<PropertyList> parsePropertyList(const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty()) return propertyListError("Cannot parse a NULL or zero-length data");
  return parseXmlPropertyList(bytes);
}

}  // namespace platform
