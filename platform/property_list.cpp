#include "platform/property_list.h"

#include <cmath>

namespace platform {

PropertyList PropertyList::array(PropertyListArray items) {
  return PropertyList(Value(std::make_shared<const PropertyListArray>(std::move(items))));
}

PropertyList PropertyList::dictionary(PropertyListDictionary entries) {
  return PropertyList(Value(std::make_shared<const PropertyListDictionary>(std::move(entries))));
}

const PropertyListArray* PropertyList::arrayItems() const {
  const auto* items = std::get_if<std::shared_ptr<const PropertyListArray>>(&value_);
  return items ? items->get() : nullptr;
}

const PropertyListDictionary* PropertyList::dictionaryEntries() const {
  const auto* entries = std::get_if<std::shared_ptr<const PropertyListDictionary>>(&value_);
  return entries ? entries->get() : nullptr;
}

bool PropertyList::number(double& result) const {
  if (const bool* flag = boolean()) return result = *flag, true;
  if (const auto* signedValue = std::get_if<std::int64_t>(&value_)) return result = static_cast<double>(*signedValue), true;
  if (const auto* unsignedValue = std::get_if<std::uint64_t>(&value_))
    return result = static_cast<double>(*unsignedValue), true;
  if (const auto* real = std::get_if<double>(&value_)) return result = *real, true;
  return false;
}

bool PropertyList::integer(std::int64_t& result) const {
  if (const bool* flag = boolean()) return result = *flag, true;
  if (const auto* signedValue = std::get_if<std::int64_t>(&value_)) return result = *signedValue, true;
  const auto* real = std::get_if<double>(&value_);
  if (!real || std::trunc(*real) != *real || *real < -0x1p63 || *real >= 0x1p63) return false;
  if (*real == 0 && std::signbit(*real)) return false;  // no integer is minus zero
  return result = static_cast<std::int64_t>(*real), true;
}

}  // namespace platform
