#include "optimizer/document/xmp.h"

#include <expat.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <memory>

#include "optimizer/document/text.h"

namespace optimizer {
namespace {

constexpr std::string_view kRdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr std::size_t kPacketBytes = std::size_t{16} << 20;
constexpr int kDepth = 200;

std::string escaped(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default:
        // Other control characters cannot be written in XML 1.0 at all.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r') out += c;
    }
  }
  return out;
}

}  // namespace

// Feeds a packet to expat and notes the properties of its descriptions.
class XmpReader {
 public:
  explicit XmpReader(Xmp& xmp) : xmp_(xmp), parser_(XML_ParserCreateNS("UTF-8", '\n')) {}

  bool read() {
    if (!parser_) return false;
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const XML_Char* name, const XML_Char** attributes) {
          static_cast<XmpReader*>(self)->start(name, attributes);
        },
        [](void* self, const XML_Char* name) { static_cast<XmpReader*>(self)->end(name); });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const XML_Char* text, int length) {
      static_cast<XmpReader*>(self)->characters({text, static_cast<std::size_t>(length)});
    });
    XML_SetStartDoctypeDeclHandler(parser_.get(), [](void* self, const XML_Char*, const XML_Char*, const XML_Char*,
                                                     int) { static_cast<XmpReader*>(self)->fail(); });
    const int size = static_cast<int>(xmp_.text_.size());
    return XML_Parse(parser_.get(), xmp_.text_.data(), size, 1) == XML_STATUS_OK && !failed_;
  }

 private:
  struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };
  using ParserHandle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser>;

  static std::pair<std::string, std::string> split(const char* name) {
    const std::string_view whole = name;
    const std::size_t at = whole.find('\n');
    if (at == std::string_view::npos) return {"", std::string(whole)};
    return {std::string(whole.substr(0, at)), std::string(whole.substr(at + 1))};
  }

  void fail() {
    failed_ = true;
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  std::size_t position() const { return static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get())); }

  void start(const char* qualified, const char** attributes) {
    const auto [space, name] = split(qualified);
    if (++depth_ > kDepth) return fail();
    if (space == kRdf && name == "RDF" && rdfDepth_ == 0) {
      rdfDepth_ = depth_;
    } else if (rdfDepth_ != 0 && depth_ == rdfDepth_ + 1 && space == kRdf && name == "Description") {
      description(attributes);
    } else if (rdfDepth_ != 0 && depth_ == rdfDepth_ + 2) {
      current_ = {space, name, "", position(), 0};
    }
  }

  void end(const char* qualified) {
    const auto [space, name] = split(qualified);
    if (rdfDepth_ != 0 && depth_ == rdfDepth_) {
      xmp_.insertAt_ = position();
      rdfDepth_ = -1;
    } else if (rdfDepth_ > 0 && depth_ == rdfDepth_ + 2) {
      // For <a/> the event carries no bytes of its own and stands at the element's start or end.
      std::size_t last = position();
      const std::size_t close = xmp_.text_.find('>', last);
      current_.end = close == std::string::npos ? last : close + 1;
      // Between the elements of a list there is only layout.
      std::string& value = current_.value;
      value.erase(value.find_last_not_of(" \t\r\n") + 1);
      value.erase(0, value.find_first_not_of(" \t\r\n"));
      xmp_.properties_.push_back(current_);
    }
    --depth_;
  }

  void characters(std::string_view text) {
    if (rdfDepth_ <= 0 || depth_ < rdfDepth_ + 2) return;
    current_.value += text;
  }

  // Properties written as attributes; expat says what they mean, the text where they stand.
  void description(const char** attributes) {
    const std::size_t tag = position();
    std::size_t at = xmp_.text_.find_first_of(" \t\r\n>/", tag);
    for (; attributes[0] != nullptr; attributes += 2) {
      const auto [space, name] = split(attributes[0]);
      if (space == kRdf && name == "about") {
        if (xmp_.about_.empty()) xmp_.about_ = attributes[1];
        continue;
      }
      if (space.empty() || space == kRdf || space == "http://www.w3.org/XML/1998/namespace") continue;
      Xmp::Property property{space, name, attributes[1], 0, 0};
      if (locate(at, name, property)) xmp_.properties_.push_back(property);
    }
  }

  // Finds prefix:name="…" in the start tag whose attributes begin at `at`.
  bool locate(std::size_t at, const std::string& wanted, Xmp::Property& property) const {
    const std::string& text = xmp_.text_;
    while (at < text.size()) {
      const std::size_t begin = at;
      while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])) != 0) ++at;
      if (at >= text.size() || text[at] == '>' || text[at] == '/') return false;
      const std::size_t equals = text.find('=', at);
      if (equals == std::string::npos) return false;
      std::string name = text.substr(at, equals - at);
      name.erase(name.find_last_not_of(" \t\r\n") + 1);
      const std::size_t quote = text.find_first_of("\"'", equals);
      if (quote == std::string::npos) return false;
      const std::size_t close = text.find(text[quote], quote + 1);
      if (close == std::string::npos) return false;
      const std::size_t colon = name.find(':');
      if (colon != std::string::npos && name.substr(0, colon) != "xmlns" && name.substr(colon + 1) == wanted &&
          taken_.count(begin) == 0) {
        property.begin = begin;
        property.end = close + 1;
        taken_[begin] = true;
        return true;
      }
      at = close + 1;
    }
    return false;
  }

  Xmp& xmp_;
  ParserHandle parser_;
  Xmp::Property current_;
  mutable std::map<std::size_t, bool> taken_;
  int depth_ = 0;
  int rdfDepth_ = 0;  // 0 before rdf:RDF, -1 after it
  bool failed_ = false;
};

std::optional<Xmp> Xmp::parse(ByteView packet) {
  if (packet.empty() || packet.size() > kPacketBytes) return std::nullopt;
  Xmp xmp;
  xmp.text_.assign(packet.begin(), packet.end());
  if (!isUtf8(xmp.text_) || xmp.text_.find('\0') != std::string::npos || !xmp.read()) return std::nullopt;
  return xmp;
}

bool Xmp::read() {
  properties_.clear();
  about_.clear();
  insertAt_ = std::string::npos;
  return XmpReader(*this).read();
}

std::optional<std::string> Xmp::property(std::string_view space, std::string_view name) const {
  for (const Property& property : properties_) {
    if (property.space == space && property.name == name) return property.value;
  }
  return std::nullopt;
}

bool Xmp::hasNamespace(std::string_view space) const {
  return std::any_of(properties_.begin(), properties_.end(),
                     [&](const Property& property) { return property.space == space; });
}

void Xmp::erase(const std::vector<Property>& properties) {
  if (properties.empty()) return;
  std::vector<Property> fromTheEnd = properties;
  std::sort(fromTheEnd.begin(), fromTheEnd.end(), [](const auto& a, const auto& b) { return a.begin > b.begin; });
  const std::string before = text_;
  for (const Property& property : fromTheEnd) text_.erase(property.begin, property.end - property.begin);
  // A packet that could not be read any more would be worse than one that says too much.
  if (!read()) {
    text_ = before;
    (void)read();
  }
}

void Xmp::remove(std::string_view space, std::string_view name) {
  std::vector<Property> found;
  for (const Property& property : properties_) {
    if (property.space == space && property.name == name) found.push_back(property);
  }
  erase(found);
}

void Xmp::removeNamespace(std::string_view space) {
  std::vector<Property> found;
  for (const Property& property : properties_) {
    if (property.space == space) found.push_back(property);
  }
  erase(found);
}

bool Xmp::set(std::string_view space, std::string_view name, Form form, const std::string& value) {
  remove(space, name);
  if (value.empty()) return true;
  if (insertAt_ == std::string::npos) return false;
  std::string content = escaped(value);
  if (form == Form::languageAlternative) {
    content = "<rdf:Alt><rdf:li xml:lang=\"x-default\">" + content + "</rdf:li></rdf:Alt>";
  } else if (form == Form::sequence) {
    content = "<rdf:Seq><rdf:li>" + content + "</rdf:li></rdf:Seq>";
  }
  const std::string before = text_;
  text_.insert(insertAt_, "<rdf:Description xmlns:rdf=\"" + std::string(kRdf) + "\" rdf:about=\"" + escaped(about_) +
                              "\" xmlns:p=\"" + std::string(space) + "\"><p:" + std::string(name) + ">" + content +
                              "</p:" + std::string(name) + "></rdf:Description>\n");
  if (read()) return true;
  text_ = before;
  (void)read();
  return false;
}

void Xmp::trimPadding() {
  const std::size_t end = text_.rfind("<?xpacket end");
  if (end == std::string::npos || end == 0) return;
  const std::size_t last = text_.find_last_not_of(" \t\r\n", end - 1);
  if (last == std::string::npos || end - last < 4) return;
  text_.replace(last + 1, end - last - 1, "\n");
  (void)read();
}

}  // namespace optimizer
