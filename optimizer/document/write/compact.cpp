#include "optimizer/document/write/compact.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "optimizer/base/limits.h"

namespace optimizer {
namespace {

bool isRegular(char c) {
  return std::string_view("()<>[]{}/%").find(c) == std::string_view::npos &&
         static_cast<unsigned char>(c) > ' ';
}

// Keeps tokens apart that would otherwise be read as one. A solidus at the end is a name without characters.
void keepApart(std::string& out) {
  if (!out.empty() && (isRegular(out.back()) || out.back() == '/')) out += ' ';
}

void appendToken(std::string& out, const std::string& token) {
  if (!token.empty() && isRegular(token.front())) keepApart(out);
  out += token;
}

void appendReference(CompactText& out, std::uint32_t object) {
  keepApart(out.text);
  out.references.push_back({out.text.size(), object});
  out.text += " 0 R";
}

void appendValue(CompactText& out, QPDFObjectHandle& value, const ObjectIndex& indexOf, int depth);

void appendKeyAndValue(CompactText& out, const std::string& key, QPDFObjectHandle& value, const ObjectIndex& indexOf,
                       int depth) {
  if (value.isIndirect()) {
    const std::optional<std::uint32_t> object = indexOf(value);
    if (!object) return;
    out.text += compactName(key);
    appendReference(out, *object);
  } else if (!value.isNull()) {
    out.text += compactName(key);
    appendValue(out, value, indexOf, depth);
  }
}

void appendItem(CompactText& out, QPDFObjectHandle& item, const ObjectIndex& indexOf, int depth) {
  if (!item.isIndirect()) return appendValue(out, item, indexOf, depth);
  if (const std::optional<std::uint32_t> object = indexOf(item)) {
    appendReference(out, *object);
  } else {
    appendToken(out.text, "null");
  }
}

// Of an indirect object its own value. depth: 0 for that.
void appendValue(CompactText& out, QPDFObjectHandle& value, const ObjectIndex& indexOf, int depth) {
  std::string& text = out.text;
  if (depth > limits::kNesting) return appendToken(text, "null");
  switch (value.getTypeCode()) {
    case ot_dictionary: {
      text += "<<";
      std::map<std::string, QPDFObjectHandle> entries = value.getDictAsMap();
      for (auto& [key, entry] : entries) appendKeyAndValue(out, key, entry, indexOf, depth + 1);
      text += ">>";
      break;
    }
    case ot_array: {
      text += '[';
      std::vector<QPDFObjectHandle> items = value.getArrayAsVector();
      for (QPDFObjectHandle& item : items) appendItem(out, item, indexOf, depth + 1);
      text += ']';
      break;
    }
    case ot_string:
      text += compactString(value.getStringValue());
      break;
    case ot_name:
      text += compactName(value.getName());
      break;
    case ot_real:
      appendToken(text, compactNumber(value.getRealValue()));
      break;
    default:
      appendToken(text, value.unparseResolved());
  }
}

}  // namespace

void CompactText::appendTo(std::string& out, const std::vector<int>& numbers) const {
  std::size_t from = 0;
  for (const Reference& reference : references) {
    out.append(text, from, reference.at - from);
    out += std::to_string(numbers[reference.object]);
    from = reference.at;
  }
  out.append(text, from);
}

std::string compactName(const std::string& name) {
  const auto isPlain = [](char c) { return isRegular(c) && c <= '~' && c != '#'; };
  if (!name.empty() && std::all_of(name.begin() + 1, name.end(), isPlain)) return name;
  return QPDFObjectHandle::newName(name).unparse();
}

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

void appendCompact(CompactText& out, QPDFObjectHandle value, const ObjectIndex& indexOf) {
  appendValue(out, value, indexOf, 0);
}

void appendEntry(CompactText& out, const std::string& key, QPDFObjectHandle value, const ObjectIndex& indexOf) {
  appendKeyAndValue(out, key, value, indexOf, 1);
}

}  // namespace optimizer
