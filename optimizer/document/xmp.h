// An XMP packet (ISO 16684-1) as text in which single properties are read, set and removed; everything else keeps its
// bytes.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer {

// Namespaces of the properties that the engine knows.
namespace xmp {
inline constexpr std::string_view kDublinCore = "http://purl.org/dc/elements/1.1/";
inline constexpr std::string_view kBasic = "http://ns.adobe.com/xap/1.0/";
inline constexpr std::string_view kPdf = "http://ns.adobe.com/pdf/1.3/";
inline constexpr std::string_view kPdfAId = "http://www.aiim.org/pdfa/ns/id/";
inline constexpr std::string_view kPdfUaId = "http://www.aiim.org/pdfua/ns/id/";
inline constexpr std::string_view kPdfXId = "http://www.npes.org/pdfx/ns/id/";
}  // namespace xmp

class Xmp {
 public:
  // How a property's value is written (ISO 16684-1, 7.5 to 7.7).
  enum class Form { text, languageAlternative, sequence };

  // Nothing where the bytes are no well-formed packet in UTF-8, or hold a document type.
  static std::optional<Xmp> parse(ByteView packet);

  // The text of a property, white space around it left out, list items joined; nothing where it is absent.
  std::optional<std::string> property(std::string_view space, std::string_view name) const;
  bool hasNamespace(std::string_view space) const;

  // "" removes. False where the packet has no place for properties.
  bool set(std::string_view space, std::string_view name, Form form, const std::string& value);
  void remove(std::string_view space, std::string_view name);
  // Removes every property of a namespace.
  void removeNamespace(std::string_view space);
  // Shortens the white space that packets carry for editing in place.
  void trimPadding();

  const std::string& text() const { return text_; }

 private:
  // A property as an element or as an attribute of a description: where it stands in the text, and what it says.
  struct Property {
    std::string space, name, value;
    std::size_t begin = 0, end = 0;
  };
  friend class XmpReader;

  bool read();
  void erase(const std::vector<Property>& properties);

  std::string text_;
  std::vector<Property> properties_;
  std::string about_;
  std::size_t insertAt_ = std::string::npos;  // before the end of rdf:RDF
};

}  // namespace optimizer
