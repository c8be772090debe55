#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "platform/property_list.h"

namespace platform {
namespace {

void appendEscaped(std::string& out, const std::string& text) {
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      default: out += c;
    }
  }
}

void appendBase64(std::string& out, const std::vector<std::uint8_t>& bytes) {
  static constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = bytes.size() - i;
    const std::uint32_t group = static_cast<std::uint32_t>(bytes[i]) << 16 |
                                (left > 1 ? static_cast<std::uint32_t>(bytes[i + 1]) << 8 : 0u) |
                                (left > 2 ? bytes[i + 2] : 0u);
    out += alphabet[group >> 18];
    out += alphabet[group >> 12 & 63];
    out += left > 1 ? alphabet[group >> 6 & 63] : '=';
    out += left > 2 ? alphabet[group & 63] : '=';
  }
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-infinity" : "+infinity";
  char buffer[40];
  const char* const end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  return std::string(static_cast<const char*>(buffer), end);
}

std::string dateText(double seconds) {
  const auto time = static_cast<std::time_t>(std::floor(seconds)) + 978307200;
  tm utc;
  if (!gmtime_r(&time, &utc)) return "2001-01-01T00:00:00Z";
  char buffer[40];
  std::strftime(buffer, sizeof buffer, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return buffer;
}

class Writer {
 public:
  bool value(const PropertyList& list, int level) {
    return std::visit([&](const auto& held) { return write(held, level); }, list.value());
  }

  std::string out;

 private:
  void indent(int level) { out.append(static_cast<std::size_t>(level), '\t'); }

  bool element(const char* tag, const std::string& text, int level) {
    indent(level);
    out.append("<").append(tag).append(">");
    appendEscaped(out, text);
    out.append("</").append(tag).append(">\n");
    return true;
  }

  bool write(bool flag, int level) {
    indent(level);
    out += flag ? "<true/>\n" : "<false/>\n";
    return true;
  }
  bool write(std::int64_t number, int level) { return element("integer", std::to_string(number), level); }
  bool write(std::uint64_t number, int level) { return element("integer", std::to_string(number), level); }
  bool write(double number, int level) { return element("real", realText(number), level); }
  bool write(const std::string& text, int level) { return element("string", text, level); }
  bool write(const PropertyListDate& date, int level) { return element("date", dateText(date.seconds), level); }

  bool write(const PropertyListData& data, int level) {
    indent(level);
    out += "<data>\n";
    indent(level);
    appendBase64(out, data.bytes);
    out += "\n";
    indent(level);
    out += "</data>\n";
    return true;
  }

  bool write(const std::shared_ptr<const PropertyListArray>& items, int level) {
    indent(level);
    out += "<array>\n";
    for (const PropertyList& item : *items) {
      if (!value(item, level + 1)) return false;
    }
    indent(level);
    out += "</array>\n";
    return true;
  }

  bool write(const std::shared_ptr<const PropertyListDictionary>& entries, int level) {
    indent(level);
    out += "<dict>\n";
    for (const auto& [key, held] : *entries) {
      element("key", key, level + 1);
      if (!value(held, level + 1)) return false;
    }
    indent(level);
    out += "</dict>\n";
    return true;
  }

  bool write(const PropertyListOther&, int) { return false; }
};

}  // namespace

Result<std::string> writeXmlPropertyList(const PropertyList& value) {
  Writer writer;
  writer.out =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
  if (!writer.value(value, 0)) {
    return PlatformError{"NSCocoaErrorDomain", 3851,
                         {{localizedDescriptionKey, "The data couldn’t be written because it isn’t in the correct format."}},
                         nullptr};
  }
  return std::move(writer.out) + "</plist>\n";
}

}  // namespace platform
