// The XML form, over expat: plist, dict, key, array, string, data, date, integer, real, true, false. Attributes and the document
// type's name are ignored; a document type with declarations of its own is refused, so nothing can expand.
#include <expat.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>

#include "platform/linux/file_errors.h"
#include "platform/linux/property_list_forms.h"

namespace platform {
namespace {

std::string_view withoutLeadingBlanks(std::string_view text) {
  const std::size_t at = text.find_first_not_of(" \t\r\n");
  return at == std::string_view::npos ? std::string_view() : text.substr(at);
}

// Blanks and a sign first, decimal or 0x digits, from -2^63 to 2^64 - 1; nothing behind.
std::optional<PropertyList> parseInteger(std::string_view text) {
  text = withoutLeadingBlanks(text);
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text = withoutLeadingBlanks(text.substr(1));
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  constexpr std::uint64_t lowest = std::uint64_t{1} << 63;
  if (negative) {
    if (magnitude > lowest) return std::nullopt;
    return PropertyList(PropertyList::Value(static_cast<std::int64_t>(0 - magnitude)));
  }
  if (magnitude < lowest) return PropertyList(PropertyList::Value(static_cast<std::int64_t>(magnitude)));
  return PropertyList(PropertyList::Value(magnitude));
}

std::optional<PropertyList> parseReal(std::string_view text) {
  std::string copy(withoutLeadingBlanks(text));
  std::string_view digits = copy;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
  double value = 0;
  for (const char* word : {"nan", "inf", "infinity"}) {
    if (digits.size() == std::strlen(word) && strncasecmp(digits.data(), word, digits.size()) == 0) {
      value = *word == 'n' ? std::nan("") : HUGE_VAL;
      return PropertyList(PropertyList::Value(negative ? -value : value));
    }
  }
  const std::size_t start = digits.empty() ? 0 : static_cast<std::size_t>(digits.front() == '.');
  if (digits.size() <= start || digits[start] < '0' || digits[start] > '9') return std::nullopt;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::invalid_argument || end != digits.data() + digits.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) value = std::strtod(copy.c_str() + (copy.size() - digits.size()), nullptr);
  return PropertyList(PropertyList::Value(negative ? -value : value));
}

// YYYY-MM-DDThh:mm:ssZ; values beyond their range wrap over.
std::optional<PropertyList> parseDate(const std::string& text) {
  static constexpr std::string_view shape = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != shape.size()) return std::nullopt;
  int fields[6] = {};
  int field = 0;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] == 'd') {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      fields[field] = fields[field] * 10 + (text[i] - '0');
    } else {
      if (text[i] != shape[i]) return std::nullopt;
      ++field;
    }
  }
  tm time = {};
  time.tm_year = fields[0] - 1900;
  time.tm_mon = fields[1] - 1;
  time.tm_mday = fields[2];
  time.tm_hour = fields[3];
  time.tm_min = fields[4];
  time.tm_sec = fields[5];
  constexpr double epoch = 978307200;  // 2001-01-01 in Unix seconds
  return PropertyList(PropertyList::Value(PropertyListDate{static_cast<double>(timegm(&time)) - epoch}));
}

// Base 64 (RFC 4648, 4): other ASCII characters are skipped, an incomplete last group is dropped.
std::optional<PropertyList> parseData(const std::string& text) {
  static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  PropertyListData data;
  std::uint32_t group = 0;
  int count = 0, padding = 0;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) >= 0x80) return std::nullopt;
    std::size_t value = alphabet.find(c);
    if (c == '=') {
      ++padding;
      value = 0;
    } else {
      if (value == std::string_view::npos) continue;
      padding = 0;
    }
    group = group << 6 | static_cast<std::uint32_t>(value);
    if (++count < 4) continue;
    for (int i = 0; i < 3 - std::min(padding, 2); ++i) data.bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * i)));
    group = 0;
    count = 0;
  }
  return PropertyList(PropertyList::Value(std::move(data)));
}

// Builds the value while expat walks the elements.
class Builder {
 public:
  Result<PropertyList> parse(std::string_view text) {
    // Expat wants the declaration, where there is one, at the very start.
    text = withoutLeadingBlanks(text);
    // Which it would take for UTF-16, whatever encoding it is told.
    if (text.empty() || text.front() != '<' || text.substr(0, 2) == std::string_view("<\0", 2))
      return propertyListError("Unexpected start of the list");
    parser_ = XML_ParserCreate("UTF-8");
    if (!parser_) return propertyListError("Out of memory");
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(parser_, [](void* self, const char* name, const char**) { of(self).start(name); },
                          [](void* self, const char* name) { of(self).end(name); });
    XML_SetCharacterDataHandler(parser_,
                                [](void* self, const char* text, int length) { of(self).characters(text, length); });
    XML_SetDoctypeDeclHandler(
        parser_, [](void* self, const char*, const char*, const char*, int internal) { of(self).doctype(internal); },
        [](void*) {});
    XML_SetCommentHandler(parser_, [](void* self, const char*) { of(self).notInLeaf("comment"); });
    XML_SetProcessingInstructionHandler(
        parser_, [](void* self, const char*, const char*) { of(self).notInLeaf("processing instruction"); });
    XML_SetSkippedEntityHandler(parser_, [](void* self, const char*, int) { of(self).fail("Unknown entity"); });
    const XML_Status status =
        text.size() > INT_MAX ? XML_STATUS_ERROR : XML_Parse(parser_, text.data(), static_cast<int>(text.size()), 1);
    if (status != XML_STATUS_OK && !done_ && failure_.empty()) fail(XML_ErrorString(XML_GetErrorCode(parser_)));
    const auto line = static_cast<unsigned long>(XML_GetCurrentLineNumber(parser_));
    XML_ParserFree(parser_);
    if (failure_.empty() && result_) return std::move(*result_);
    if (failure_.empty()) failure_ = "No value in the list";
    return propertyListError(failure_ + " on line " + std::to_string(line));
  }

 private:
  struct Level {
    std::string tag;
    PropertyListArray items;
    PropertyListDictionary entries;
    std::optional<std::string> key;
  };

  static Builder& of(void* self) { return *static_cast<Builder*>(self); }

  void fail(const std::string& reason) {
    if (failure_.empty()) failure_ = reason;
    XML_StopParser(parser_, XML_FALSE);
  }

  void doctype(int hasInternalSubset) {
    if (hasInternalSubset) fail("A document type may not declare anything");
  }

  void notInLeaf(const char* what) {
    if (!leaf_.empty()) fail(std::string("Unexpected ") + what + " inside " + leaf_);
  }

  static bool isContainer(const std::string& tag) { return tag == "plist" || tag == "dict" || tag == "array"; }

  // Levels of values: the plist element around them is none.
  std::size_t depth() const { return levels_.size() - (!levels_.empty() && levels_.front().tag == "plist"); }

  void start(const std::string& tag) {
    if (!failure_.empty() || done_) return;
    if (!leaf_.empty()) return fail("Unexpected element " + tag + " inside " + leaf_);
    if (tag == "plist" && !levels_.empty()) return fail("Unexpected element plist");
    if (++values_ > mostValues) return fail("Too many values");
    if (isContainer(tag)) {
      if (tag != "plist" && depth() >= static_cast<std::size_t>(deepestLevel)) return fail("Too many levels");
      levels_.push_back({tag, {}, {}, std::nullopt});
      return;
    }
    leaf_ = tag;
    text_.clear();
  }

  void characters(const char* text, int length) {
    if (!failure_.empty() || done_) return;
    if (!leaf_.empty()) {
      text_.append(text, static_cast<std::size_t>(length));
    } else if (!withoutLeadingBlanks({text, static_cast<std::size_t>(length)}).empty()) {
      fail("Unexpected text between elements");
    }
  }

  void end(const std::string& tag) {
    if (!failure_.empty() || done_) return;
    if (leaf_.empty()) return endContainer();
    leaf_.clear();
    if (tag == "key" && !levels_.empty() && levels_.back().tag == "dict" && !levels_.back().key) {
      levels_.back().key = std::move(text_);
      return;
    }
    std::optional<PropertyList> value;
    if (tag == "string" || tag == "key") value = PropertyList(PropertyList::Value(std::move(text_)));
    if (tag == "integer") value = parseInteger(text_);
    if (tag == "real") value = parseReal(text_);
    if (tag == "date") value = parseDate(text_);
    // <data/> is refused, <data></data> is not: the end of an element without an end tag has no bytes of its own.
    if (tag == "data" && XML_GetCurrentByteCount(parser_) > 0) value = parseData(text_);
    if ((tag == "true" || tag == "false") && text_.empty()) value = PropertyList(PropertyList::Value(tag == "true"));
    if (!value) return fail("Bad element " + tag);
    add(std::move(*value));
  }

  void endContainer() {
    Level level = std::move(levels_.back());
    levels_.pop_back();
    if (level.tag == "dict") {
      if (level.key) return fail("A key without a value");
      const auto uid = level.entries.find("CF$UID");
      const bool isUid = level.entries.size() == 1 && uid != level.entries.end() &&
                         std::holds_alternative<std::int64_t>(uid->second.value());
      add(isUid ? PropertyList() : PropertyList::dictionary(std::move(level.entries)));
    } else if (level.tag == "array") {
      add(PropertyList::array(std::move(level.items)));
    } else if (level.items.size() == 1) {
      finish(std::move(level.items.front()));
    } else {
      fail("A list holds exactly one value");
    }
  }

  void add(PropertyList value) {
    if (levels_.empty()) return finish(std::move(value));
    Level& level = levels_.back();
    if (level.tag != "dict") {
      if (level.tag == "plist" && !level.items.empty()) return fail("A list holds exactly one value");
      level.items.push_back(std::move(value));
    } else if (level.key) {
      level.entries.insert_or_assign(std::move(*level.key), std::move(value));
      level.key.reset();
    } else {
      fail("A value without a key");
    }
  }

  // What stands behind the root element is not looked at.
  void finish(PropertyList value) {
    result_ = std::move(value);
    done_ = true;
    XML_StopParser(parser_, XML_FALSE);
  }

  XML_Parser parser_ = nullptr;
  std::vector<Level> levels_;
  std::string leaf_, text_, failure_;
  std::optional<PropertyList> result_;
  std::size_t values_ = 0;
  bool done_ = false;
};

}  // namespace

Result<PropertyList> parseXmlPropertyList(std::string_view text) { return Builder().parse(text); }

}  // namespace platform
