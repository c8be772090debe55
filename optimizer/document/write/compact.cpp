#include "optimizer/document/write/compact.h"

#include <algorithm>
#include <cctype>

#include "optimizer/base/limits.h"

namespace optimizer {
namespace {

bool isRegular(char c) {
  return std::string_view("()<>[]{}/%").find(c) == std::string_view::npos &&
         static_cast<unsigned char>(c) > ' ';
}

// Keeps tokens apart that would otherwise be read as one. A solidus at the end is a name without characters.
void appendToken(std::string& out, const std::string& token) {
  const bool open = !out.empty() && (isRegular(out.back()) || out.back() == '/');
  if (open && !token.empty() && isRegular(token.front())) out += ' ';
  out += token;
}

void append(std::string& out, QPDFObjectHandle value, const NumberOf& numberOf, int depth);

void appendEntries(std::string& out, QPDFObjectHandle dictionary, const NumberOf& numberOf, int depth,
                   bool ofStream) {
  for (const auto& [key, constant] : dictionary.getDictAsMap()) {
    QPDFObjectHandle value = constant;
    if (ofStream && key == "/Length") continue;
    if (value.isIndirect() ? numberOf(value) == 0 : value.isNull()) continue;
    out += QPDFObjectHandle::newName(key).unparse();
    append(out, value, numberOf, depth + 1);
  }
}

void append(std::string& out, QPDFObjectHandle value, const NumberOf& numberOf, int depth) {
  if (depth > 0 && value.isIndirect()) {
    const int number = numberOf(value);
    appendToken(out, number == 0 ? "null" : std::to_string(number) + " 0 R");
  } else if (depth > limits::kNesting) {
    appendToken(out, "null");
  } else if (value.isDictionary()) {
    out += "<<";
    appendEntries(out, value, numberOf, depth, false);
    out += ">>";
  } else if (value.isArray()) {
    out += '[';
    const int count = value.getArrayNItems();
    for (int i = 0; i < count; ++i) append(out, value.getArrayItem(i), numberOf, depth + 1);
    out += ']';
  } else if (value.isString()) {
    out += compactString(value.getStringValue());
  } else if (value.isReal()) {
    appendToken(out, compactNumber(value.getRealValue()));
  } else {
    appendToken(out, value.unparseResolved());
  }
}

}  // namespace

std::string compactString(const std::string& bytes) {
  // Parentheses need no escape where they are balanced.
  int open = 0;
  bool balanced = true;
  for (char c : bytes) {
    if (c == '(') ++open;
    if (c == ')' && --open < 0) balanced = false;
  }
  balanced = balanced && open == 0;
  std::string literal = "(";
  for (char c : bytes) {
    if (c == '\\' || (!balanced && (c == '(' || c == ')'))) {
      literal += '\\';
      literal += c;
    } else if (c == '\r') {  // a reader would turn it into a line feed
      literal += "\\r";
    } else {
      literal += c;
    }
  }
  literal += ')';
  if (literal.size() <= bytes.size() * 2 + 2) return literal;
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string hex = "<";
  for (char c : bytes) {
    hex += kDigits[static_cast<unsigned char>(c) >> 4];
    hex += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return hex + ">";
}

std::string compactNumber(const std::string& text) {
  const std::size_t sign = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  const std::size_t point = text.find('.');
  const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
  const std::string whole = text.substr(sign, point == std::string::npos ? std::string::npos : point - sign);
  std::string fraction = point == std::string::npos ? "" : text.substr(point + 1);
  if (whole.size() + fraction.size() == 0 || !std::all_of(whole.begin(), whole.end(), isDigit) ||
      !std::all_of(fraction.begin(), fraction.end(), isDigit)) {
    return text;
  }
  fraction.erase(fraction.find_last_not_of('0') + 1);
  std::string out = whole.substr(std::min(whole.find_first_not_of('0'), whole.size()));
  if (!fraction.empty()) out += "." + fraction;
  if (out.empty()) return "0";
  return text[0] == '-' ? "-" + out : out;
}

void appendCompact(std::string& out, QPDFObjectHandle value, const NumberOf& numberOf) {
  append(out, value, numberOf, 0);
}

void appendStreamDictionary(std::string& out, QPDFObjectHandle dictionary, std::size_t length,
                            const NumberOf& numberOf) {
  out += "<<";
  appendEntries(out, dictionary, numberOf, 0, true);
  out += "/Length " + std::to_string(length) + ">>";
}

}  // namespace optimizer
