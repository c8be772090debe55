#include <charconv>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "platform/property_list.h"
#include "platform/utf8.h"

namespace platform {
namespace {

// Shared values are written out at each place that refers to them; a list made to grow that way stops here.
constexpr std::size_t longestText = std::size_t{64} << 20;
constexpr int deepestLevel = 512;

// XML 1.0, 2.2: of the control characters below the blank only tab, line feed and carriage return can be written.
bool canBeWritten(const std::string& text) {
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
  }
  // Nor can the two last code points of the first plane.
  return isValidUtf8(text) && text.find("\xEF\xBF\xBE") == std::string::npos &&
         text.find("\xEF\xBF\xBF") == std::string::npos;
}

void appendEscaped(std::string& out, const std::string& text) {
  for (const char c : text) {
    switch (c) {
      case '\r': out += "&#13;"; break;  // a bare one would be read as a line feed
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

// Years of four digits only: "" for a date that the form has no text for.
std::string dateText(double seconds) {
  constexpr double first = -63113904000;  // 0001-01-01 in seconds since 2001
  constexpr double last = 252423993600;   // 10000-01-01
  if (!(seconds >= first && seconds < last)) return "";
  const auto time = static_cast<std::time_t>(std::floor(seconds)) + 978307200;
  tm utc;
  gmtime_r(&time, &utc);
  char buffer[80];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02dZ", utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday,
                utc.tm_hour, utc.tm_min, utc.tm_sec);
  return buffer;
}

class Writer {
 public:
  bool value(const PropertyList& list, int level) {
    if (out.size() > longestText) return false;
    const bool isContainer = list.arrayItems() || list.dictionaryEntries();
    if (isContainer && level >= deepestLevel) return false;
    return std::visit([&](const auto& held) { return write(held, level); }, list.value());
  }

  std::string out;

 private:
  void indent(int level) { out.append(static_cast<std::size_t>(level), '\t'); }

  bool element(const char* tag, const std::string& text, int level) {
    if (!canBeWritten(text)) return false;
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
  bool write(const PropertyListDate& date, int level) {
    const std::string text = dateText(date.seconds);
    return !text.empty() && element("date", text, level);
  }

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
      if (!element("key", key, level + 1) || !value(held, level + 1)) return false;
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
