// The three forms of property lists; see platform/property_list.h for the one entry that tells them apart.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/property_list.h"

namespace platform {

using PropertyListBytes = std::span<const std::uint8_t>;

// Bounds on hostile lists. Levels are containers within containers.
constexpr int deepestLevel = 512;
constexpr int deepestOldTextLevel = 513;
constexpr std::size_t mostValues = std::size_t{1} << 20;     // values in one list, each reference counted
constexpr std::size_t longestList = std::size_t{64} << 20;   // bytes of one list, and of the texts and data copied from it

// The binary form: "bplist0", one more byte, objects, offset table, trailer of 32 bytes. Nothing may follow.
Result<PropertyList> parseBinaryPropertyList(PropertyListBytes bytes);
// The XML form, as UTF-8 without a byte-order mark. What follows the root element is not looked at.
Result<PropertyList> parseXmlPropertyList(std::string_view text);
// The old text form, as UTF-8 without a byte-order mark: braces, parentheses, texts and data.
Result<PropertyList> parseOldTextPropertyList(std::string_view text);

// The text of bytes in the encoding that a byte-order mark or an XML declaration names, else UTF-8; as UTF-8, without the mark.
// An error for an unknown encoding or bytes that are none of its texts; UTF-8 is handed on as it is, valid or not.
Result<std::string> decodePropertyListText(PropertyListBytes bytes);

}  // namespace platform
