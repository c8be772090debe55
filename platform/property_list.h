// Property lists: the value type, and readers for the XML, binary and old text forms. The readers take hostile bytes: depth and
// memory are bounded, and shared references are shared.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/error.h"

namespace platform {

class PropertyList;
using PropertyListArray = std::vector<PropertyList>;
using PropertyListDictionary = std::map<std::string, PropertyList>;

struct PropertyListData {
  std::vector<std::uint8_t> bytes;
  bool operator==(const PropertyListData&) const = default;
};
// Seconds since 2001-01-01T00:00:00Z.
struct PropertyListDate {
  double seconds = 0;
  bool operator==(const PropertyListDate&) const = default;
};
// What the binary form can hold and no profile uses: null, a UID, a set, or a dictionary with keys that are not texts.
struct PropertyListOther {
  bool operator==(const PropertyListOther&) const = default;
};

// An immutable value. Copies share their containers.
class PropertyList {
 public:
  using Value = std::variant<bool, std::int64_t, std::uint64_t, double, std::string, PropertyListData, PropertyListDate,
                             std::shared_ptr<const PropertyListArray>, std::shared_ptr<const PropertyListDictionary>,
                             PropertyListOther>;  // uint64_t only for integers above the range of int64_t

  PropertyList() : value_(PropertyListOther{}) {}
  PropertyList(Value value) : value_(std::move(value)) {}
  static PropertyList array(PropertyListArray items);
  static PropertyList dictionary(PropertyListDictionary entries);

  const Value& value() const { return value_; }
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const std::string* text() const { return std::get_if<std::string>(&value_); }
  const PropertyListData* data() const { return std::get_if<PropertyListData>(&value_); }
  const PropertyListArray* arrayItems() const;
  const PropertyListDictionary* dictionaryEntries() const;
  // Integers, reals and Booleans (1 or 0) as the nearest double.
  bool number(double& result) const;
  // Numbers with a whole value that int64_t holds, Booleans as 1 or 0.
  bool integer(std::int64_t& result) const;

 private:
  Value value_;
};

// Finds out the form by itself. Errors: code 3840 of the domain NSCocoaErrorDomain for bytes that are no property list.
Result<PropertyList> parsePropertyList(const std::vector<std::uint8_t>& bytes);

// The XML form, UTF-8. An error for what cannot be written: PropertyListOther, texts that are not UTF-8 or hold control
// characters, dates outside the years 1 to 9999, more than 512 levels or 64 MiB of text.
Result<std::string> writeXmlPropertyList(const PropertyList& value);

}  // namespace platform
