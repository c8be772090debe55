// Encodings of property lists written as text.
#include <unicode/ucnv.h>

#include <algorithm>
#include <array>

#include "platform/linux/file_errors.h"
#include "platform/linux/property_list_forms.h"
#include "platform/utf8.h"

namespace platform {
namespace {

struct Mark {
  std::string_view bytes;
  std::size_t shortest;  // bytes of a list that the mark is taken in
  const char* encoding;
};

using namespace std::string_view_literals;

// The marks of UTF-32 come first: that of its little-endian form begins like UTF-16's.
constexpr std::array marks = {Mark{"\xEF\xBB\xBF"sv, 3, ""}, Mark{"\xFF\xFE\0\0"sv, 4, "UTF-32LE"},
                              Mark{"\0\0\xFE\xFF"sv, 4, "UTF-32BE"}, Mark{"\xFF\xFE"sv, 3, "UTF-16LE"},
                              Mark{"\xFE\xFF"sv, 3, "UTF-16BE"}};

// The encoding that an XML declaration at the start names, else "".
std::string declaredEncoding(std::string_view text) {
  if (text.substr(0, 5) != "<?xml") return "";
  const std::string_view declaration = text.substr(0, std::min(text.find('>'), std::size_t{1000}));
  std::size_t at = declaration.find("encoding");
  if (at == std::string_view::npos) return "";
  at = declaration.find_first_of("\"'", at);
  if (at == std::string_view::npos) return "";
  const std::size_t end = declaration.find(declaration[at], at + 1);
  return end == std::string_view::npos ? "" : std::string(declaration.substr(at + 1, end - at - 1));
}

Result<std::string> convert(std::string_view text, const std::string& encoding) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(encoding.c_str(), &status);
  if (U_FAILURE(status)) return propertyListError("Encountered unknown encoding (" + encoding + ")");
  ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  std::u16string units(2 * text.size() + 8, u'\0');
  const auto length = ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), text.data(),
                                    static_cast<int32_t>(text.size()), &status);
  ucnv_close(converter);
  if (U_FAILURE(status)) return propertyListError("The data is not valid in its encoding (" + encoding + ")");
  units.resize(static_cast<std::size_t>(length));
  return utf8FromUtf16(units);
}

}  // namespace

Result<std::string> decodePropertyListText(PropertyListBytes bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  for (const Mark& mark : marks) {
    if (text.size() < mark.shortest || text.substr(0, mark.bytes.size()) != mark.bytes) continue;
    const std::string_view rest = text.substr(mark.bytes.size());
    return *mark.encoding ? convert(rest, mark.encoding) : Result<std::string>(std::string(rest));
  }
  std::string encoding = declaredEncoding(text);
  std::transform(encoding.begin(), encoding.end(), encoding.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  if (encoding.empty() || encoding == "UTF-8") return std::string(text);
  return convert(text, encoding);
}

}  // namespace platform
