// PDF syntax in as few bytes as it allows (ISO 32000-1, 7.3).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// PDF syntax before objects have their numbers: which object's belongs where in the text.
struct CompactText {
  struct Reference {
    std::size_t at;
    std::uint32_t object;
  };
  std::string text;
  std::vector<Reference> references;

  // Bytes of it with numbers of five digits.
  std::size_t size() const { return text.size() + references.size() * 5; }
  // numbers: by object.
  void appendTo(std::string& out, const std::vector<int>& numbers) const;
};

// Who an indirect object is among those that are written; nothing where it is not: then null stands there.
using ObjectIndex = std::function<std::optional<std::uint32_t>(const QPDFObjectHandle&)>;

// Appends value; white space only where two tokens would run together. Entries that are null are left out.
void appendCompact(CompactText& out, QPDFObjectHandle value, const ObjectIndex& indexOf);

// Appends one entry of an object's own dictionary, unless it is null.
void appendEntry(CompactText& out, const std::string& key, QPDFObjectHandle value, const ObjectIndex& indexOf);

// A name, which begins with a solidus, with what is not regular in it spelled as numbers.
std::string compactName(const std::string& name);
// A string as literal or hexadecimal, whichever is shorter.
std::string compactString(const std::string& bytes);
// A decimal number without zeros that say nothing: "-0.50" is "-.5".
std::string compactNumber(const std::string& text);

}  // namespace optimizer
