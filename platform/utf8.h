// UTF-8 (RFC 3629): checking it, and making it from UTF-16.
#pragma once

#include <string>
#include <string_view>

namespace platform {

// No overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view text);

// A surrogate without its other half becomes U+FFFD.
std::string utf8FromUtf16(std::u16string_view text);

}  // namespace platform
