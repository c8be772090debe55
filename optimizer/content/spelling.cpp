#include "optimizer/content/spelling.h"

#include <charconv>
#include <cmath>

namespace optimizer::content {
namespace {

// text: digits with an optional sign and point.
void appendTrimmed(std::string_view text, std::string& out) {
  bool negative = false;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    negative = text[0] == '-';
    text.remove_prefix(1);
  }
  while (!text.empty() && text[0] == '0') {
    text.remove_prefix(1);
  }
  if (text.find('.') != std::string_view::npos) {
    while (text.back() == '0') {
      text.remove_suffix(1);
    }
    if (text.back() == '.') {
      text.remove_suffix(1);
    }
  }
  if (text.empty()) {
    out += '0';
    return;
  }
  if (negative) {
    out += '-';
  }
  out += text;
}

bool balanced(std::string_view bytes) {
  int depth = 0;
  for (char byte : bytes) {
    depth += byte == '(';
    depth -= byte == ')';
    if (depth < 0) {
      return false;
    }
  }
  return depth == 0;
}

}  // namespace

void appendNumber(const Token& number, std::string& out) {
  if (number.irregular) {
    out += number.text();
  } else {
    appendTrimmed(number.text(), out);
  }
}

void appendRounded(const Token& number, int decimals, std::string& out) {
  const std::string_view text = number.text();
  const std::size_t point = text.find('.');
  if (number.irregular || point == std::string_view::npos ||
      text.size() - point - 1 <= static_cast<std::size_t>(decimals) || std::abs(number.value) > 1e8) {
    appendNumber(number, out);
    return;
  }
  char rounded[32];
  const std::to_chars_result end =
      std::to_chars(rounded, rounded + sizeof rounded, number.value, std::chars_format::fixed, decimals);
  appendTrimmed({rounded, static_cast<std::size_t>(end.ptr - rounded)}, out);
}

void appendLiteral(std::string_view bytes, std::string& out) {
  const bool plain = balanced(bytes);
  out += '(';
  for (char byte : bytes) {
    if (byte == '\r') {
      out += "\\r";
      continue;
    }
    if (byte == '\\' || (!plain && (byte == '(' || byte == ')'))) {
      out += '\\';
    }
    out += byte;
  }
  out += ')';
}

}  // namespace optimizer::content
