#include "optimizer/content/inline_dictionary.h"

#include <exception>
#include <string>
#include <string_view>
#include <utility>

#include "optimizer/base/limits.h"
#include "optimizer/content/inline_image.h"

namespace optimizer::content {
namespace {

// A palette is one token, Decode arrays and parameters have some ten.
constexpr std::size_t maxTokens = 512;

using Pair = std::pair<std::string_view, std::string_view>;

constexpr Pair keys[] = {{"BPC", "BitsPerComponent"},
                         {"CS", "ColorSpace"},
                         {"D", "Decode"},
                         {"DP", "DecodeParms"},
                         {"F", "Filter"},
                         {"H", "Height"},
                         {"I", "Interpolate"},
                         {"IM", "ImageMask"},
                         {"Intent", "Intent"},
                         {"L", "Length"},
                         {"W", "Width"}};
constexpr Pair spaces[] = {{"/G", "/DeviceGray"}, {"/RGB", "/DeviceRGB"}, {"/CMYK", "/DeviceCMYK"}};
constexpr Pair filters[] = {{"/A85", "/ASCII85Decode"},  {"/AHx", "/ASCIIHexDecode"},
                            {"/CCF", "/CCITTFaxDecode"}, {"/DCT", "/DCTDecode"},
                            {"/Fl", "/FlateDecode"},     {"/LZW", "/LZWDecode"},
                            {"/RL", "/RunLengthDecode"}};

template <std::size_t count>
std::optional<std::string> fullName(const Pair (&table)[count], std::string_view name) {
  for (const auto& [abbreviation, full] : table) {
    if (name == abbreviation || name == full) {
      return std::string(full);
    }
  }
  return std::nullopt;
}

bool isDefined(QPDFObjectHandle colorSpaces, const std::string& name) {
  return colorSpaces.isDictionary() && colorSpaces.hasKey(name);
}

// A device space, under its name only.
std::optional<QPDFObjectHandle> deviceSpace(QPDFObjectHandle value, QPDFObjectHandle colorSpaces) {
  if (!value.isName()) {
    return std::nullopt;
  }
  const std::optional<std::string> name = fullName(spaces, value.getName());
  // Some readers take a resource of that name first.
  if (!name || isDefined(colorSpaces, value.getName()) || isDefined(colorSpaces, *name)) {
    return std::nullopt;
  }
  return QPDFObjectHandle::newName(*name);
}

std::optional<QPDFObjectHandle> colorSpace(QPDFObjectHandle value, QPDFObjectHandle colorSpaces) {
  if (value.isName()) {
    if (std::optional<QPDFObjectHandle> device = deviceSpace(value, colorSpaces)) {
      return device;
    }
    if (fullName(spaces, value.getName()) || !isDefined(colorSpaces, value.getName())) {
      return std::nullopt;
    }
    QPDFObjectHandle resource = colorSpaces.getKey(value.getName());
    if (resource.isArray()) {
      return resource.isIndirect() ? resource : resource.shallowCopy();
    }
    return deviceSpace(resource, colorSpaces);
  }
  if (!value.isArray() || value.getArrayNItems() != 4) {
    return std::nullopt;
  }
  QPDFObjectHandle family = value.getArrayItem(0);
  const std::optional<QPDFObjectHandle> base = deviceSpace(value.getArrayItem(1), colorSpaces);
  if (!base || !value.getArrayItem(2).isInteger() || !value.getArrayItem(3).isString() ||
      !(family.isNameAndEquals("/I") || family.isNameAndEquals("/Indexed")) ||
      isDefined(colorSpaces, family.getName())) {
    return std::nullopt;
  }
  return QPDFObjectHandle::newArray(
      {QPDFObjectHandle::newName("/Indexed"), *base, value.getArrayItem(2), value.getArrayItem(3)});
}

std::optional<QPDFObjectHandle> filter(QPDFObjectHandle value) {
  if (value.isName()) {
    const std::optional<std::string> name = fullName(filters, value.getName());
    return name ? std::optional(QPDFObjectHandle::newName(*name)) : std::nullopt;
  }
  if (!value.isArray() || value.getArrayNItems() > limits::kFilters) {
    return std::nullopt;
  }
  QPDFObjectHandle names = QPDFObjectHandle::newArray();
  for (int i = 0; i < value.getArrayNItems(); ++i) {
    const std::optional<std::string> name =
        value.getArrayItem(i).isName() ? fullName(filters, value.getArrayItem(i).getName()) : std::nullopt;
    if (!name) {
      return std::nullopt;
    }
    names.appendItem(QPDFObjectHandle::newName(*name));
  }
  return names;
}

// The tokens as text that the PDF library parses; nothing where they are no plain values.
std::optional<std::string> textOf(std::span<const Token> tokens) {
  std::string text = "<<";
  int nesting = 0;
  for (const Token& token : tokens) {
    if (token.irregular || (token.kind == TokenKind::keyword && token.text() != "true" &&
                            token.text() != "false" && token.text() != "null")) {
      return std::nullopt;
    }
    nesting += token.kind == TokenKind::arrayStart || token.kind == TokenKind::dictStart;
    nesting -= token.kind == TokenKind::arrayEnd || token.kind == TokenKind::dictEnd;
    if (nesting < 0 || nesting > 4) {
      return std::nullopt;
    }
    text += ' ';
    text += token.text();
  }
  return nesting == 0 ? std::optional(text + ">>") : std::nullopt;
}

// Keys of the outermost level; false where one is no name, has no value or is there twice.
bool keysAreClear(std::span<const Token> tokens) {
  std::string seen = " ";
  for (std::size_t i = 0; i < tokens.size();) {
    if (!tokens[i].isName() || i + 1 == tokens.size()) {
      return false;
    }
    std::string_view full;
    for (const auto& [abbreviation, name] : keys) {
      if (tokens[i].rawName() == abbreviation || tokens[i].rawName() == name) {
        full = name;
      }
    }
    const std::string word = " " + std::string(full) + " ";
    if (full.empty() || seen.find(word) != std::string::npos) {
      return false;
    }
    seen += word;
    int nesting = 0;
    do {
      if (++i == tokens.size()) {
        return false;
      }
      const TokenKind kind = tokens[i].kind;
      nesting += kind == TokenKind::arrayStart || kind == TokenKind::dictStart;
      nesting -= kind == TokenKind::arrayEnd || kind == TokenKind::dictEnd;
    } while (nesting > 0);
    ++i;
  }
  return true;
}

}  // namespace

std::optional<QPDFObjectHandle> inlineImageDictionary(const Instruction& image,
                                                      QPDFObjectHandle colorSpaces) {
  if (image.operands.size() > maxTokens || !keysAreClear(image.operands)) {
    return std::nullopt;
  }
  const std::optional<std::string> text = textOf(image.operands);
  if (!text) {
    return std::nullopt;
  }
  try {
    QPDFObjectHandle given = QPDFObjectHandle::parse(*text), dictionary = QPDFObjectHandle::newDictionary();
    for (const auto& [abbreviation, name] : keys) {
      const std::string shortKey = "/" + std::string(abbreviation), key = "/" + std::string(name);
      std::optional<QPDFObjectHandle> value = given.getKey(given.hasKey(key) ? key : shortKey);
      if (name == "Length" || value->isNull()) {
        continue;
      }
      if (name == "ColorSpace") {
        value = colorSpace(*value, colorSpaces);
      } else if (name == "Filter") {
        value = filter(*value);
      }
      if (!value) {
        return std::nullopt;
      }
      dictionary.replaceKey(key, *value);
    }
    return dictionary;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

bool endsUnmistakably(const Instruction& image) {
  if (inlineImageLength(image)) {
    return true;
  }
  const ByteView data = image.imageData;
  for (std::size_t i = 0; i + 1 < data.size(); ++i) {
    if (data[i] == 'E' && data[i + 1] == 'I' && (i == 0 || !isRegular(data[i - 1])) &&
        (i + 2 == data.size() || !isRegular(data[i + 2]))) {
      return false;
    }
  }
  return true;
}

}  // namespace optimizer::content
