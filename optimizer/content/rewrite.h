// Writes a content stream again so that it draws the same with fewer bytes (ISO 32000-1, 7.8.2): the shortest spelling of
// every token, no state set that is set already or never used, nothing saved and restored around nothing.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "optimizer/base/bytes.h"

namespace optimizer::content {

struct RewriteOptions {
  // Coordinates of paths may move by at most this much in the space in which the content starts; 0 keeps every value.
  // Only for content whose place on the page is known: forms, patterns and glyphs may be drawn at any scale.
  double tolerance = 0;
  // Whether the font resource of a name (slash and escapes resolved) shows one byte per code. Adjacent strings of others
  // are not joined, because a code may not cross the border.
  std::function<bool(const std::string& name)> isSimpleFont;
};

// Nothing when the content holds something that readers resolve differently: then it stays as it is. namesKept, when
// given, becomes true where every resource that the content names is still named for the same purpose.
std::optional<std::string> rewriteContent(ByteView content, const RewriteOptions& options = {},
                                          bool* namesKept = nullptr);

}  // namespace optimizer::content
