// The three forms of property lists; see platform/property_list.h for the one entry that tells them apart.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/property_list.h"

namespace platform {

using PropertyListBytes = std::span<const std::uint8_t>;

constexpr int deepestLevel = 512;                                // containers within containers
constexpr std::size_t mostValues = std::size_t{4} << 20;         // values in one list
constexpr std::size_t longestList = std::size_t{256} << 20;      // bytes of one list

// True where the bytes claim to be the binary form (the magic, and a trailer that can be meant).
bool looksLikeBinaryPropertyList(PropertyListBytes bytes);
Result<PropertyList> parseBinaryPropertyList(PropertyListBytes bytes);
Result<PropertyList> parseXmlPropertyList(PropertyListBytes bytes);
Result<PropertyList> parseOldTextPropertyList(PropertyListBytes bytes);

// The text of bytes in the encoding that a byte-order mark or, for XML, the declaration names (else UTF-8), as UTF-8.
// None when they are not valid in it.
Result<std::string> decodePropertyListText(PropertyListBytes bytes);

}  // namespace platform
