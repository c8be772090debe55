// The shortest spelling of tokens (ISO 32000-1, 7.3).
#pragma once

#include <string>
#include <string_view>

#include "optimizer/content/tokenizer.h"

namespace optimizer::content {

// Appends the number as briefly as it can be written without changing its value. An irregular number stays as it is.
void appendNumber(const Token& number, std::string& out);

// The same, its value rounded to so many decimals (0 to 9) where that is shorter.
void appendRounded(const Token& number, int decimals, std::string& out);

// Appends a literal string of these bytes: only what must be escaped is (7.3.4.2).
void appendLiteral(std::string_view bytes, std::string& out);

}  // namespace optimizer::content
