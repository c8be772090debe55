// JSON texts (RFC 8259).
#pragma once

#include <string>
#include <string_view>

namespace kelvara {

// A text as a JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD.
std::string jsonText(std::string_view text);
// The shortest number that reads back alike; null for one that is not finite.
std::string jsonNumber(double value);
std::string jsonBool(bool value);

}  // namespace kelvara
