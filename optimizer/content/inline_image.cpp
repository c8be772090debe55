#include "optimizer/content/inline_image.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace optimizer::content {
namespace {

constexpr std::size_t npos = std::string_view::npos;

std::optional<double> numberOf(const Instruction& image, std::string_view shortKey, std::string_view longKey) {
  const std::size_t at = inlineImageValue(image, shortKey, longKey);
  if (at == npos || !image.operands[at].isNumber()) {
    return std::nullopt;
  }
  return image.operands[at].value;
}

std::optional<int> componentsOf(const Instruction& image) {
  const std::size_t at = inlineImageValue(image, "CS", "ColorSpace");
  if (at == npos) {
    return std::nullopt;
  }
  const Token& token = image.operands[at];
  if (token.kind == TokenKind::arrayStart && at + 1 < image.operands.size()) {
    const std::string_view family = image.operands[at + 1].text();
    return family == "/I" || family == "/Indexed" ? std::optional(1) : std::nullopt;
  }
  const std::string_view name = token.text();
  if (name == "/G" || name == "/DeviceGray" || name == "/CalGray") {
    return 1;
  }
  if (name == "/RGB" || name == "/DeviceRGB" || name == "/CalRGB") {
    return 3;
  }
  if (name == "/CMYK" || name == "/DeviceCMYK") {
    return 4;
  }
  return std::nullopt;
}

bool startsWithEi(ByteView rest, std::size_t at) {
  return at + 2 <= rest.size() && rest[at] == 'E' && rest[at + 1] == 'I' &&
         (at + 2 == rest.size() || !isRegular(rest[at + 2]));
}

// Behind a true EI come a few tokens of content: only characters that occur there, and an operator soon.
bool looksLikeContent(ByteView rest) {
  const ByteView window = rest.first(std::min<std::size_t>(rest.size(), 200));
  Tokenizer tokens(window);
  for (int count = 0; count < 12; ++count) {
    const Token token = tokens.next();
    if (token.kind == TokenKind::end || token.data + token.size == window.data() + window.size()) {
      return !tokens.damaged() || window.size() < rest.size();
    }
    if (token.kind == TokenKind::keyword) {
      const std::string_view text = token.text();
      return operatorOf(text) != Op::unknown || text == "true" || text == "false" || text == "null";
    }
    if (token.isString() || token.kind == TokenKind::dictStart) {
      return !tokens.damaged();
    }
  }
  return true;
}

InlineImageData found(ByteView rest, std::size_t begin, std::size_t dataEnd, std::size_t ei) {
  return {rest.subspan(begin, dataEnd - begin), ei + 2, true};
}

}  // namespace

std::optional<std::size_t> inlineImageLength(const Instruction& image) {
  if (inlineImageValue(image, "F", "Filter") != npos) {
    const Token& filter = image.operands[inlineImageValue(image, "F", "Filter")];
    if (filter.text() != "null") {
      return std::nullopt;
    }
  }
  const std::optional<double> width = numberOf(image, "W", "Width");
  const std::optional<double> height = numberOf(image, "H", "Height");
  if (!width || !height || !(*width >= 1 && *width <= 1e6) || !(*height >= 1 && *height <= 1e6)) {
    return std::nullopt;
  }
  const std::size_t mask = inlineImageValue(image, "IM", "ImageMask");
  double bits = numberOf(image, "BPC", "BitsPerComponent").value_or(0);
  if (mask != npos && image.operands[mask].text() == "true") {
    bits = 1;
  } else {
    const std::optional<int> components = componentsOf(image);
    if (!components || !(bits >= 1 && bits <= 16)) {
      return std::nullopt;
    }
    bits = std::floor(bits) * *components;
  }
  const std::size_t row = static_cast<std::size_t>(std::floor(*width) * bits + 7) / 8;
  return row * static_cast<std::size_t>(*height);
}

InlineImageData findInlineImageData(const Instruction& image, ByteView rest) {
  // One white-space character belongs to ID; CR LF counts as one.
  std::size_t begin = 0;
  if (!rest.empty() && isWhiteSpace(rest[0])) {
    begin = rest[0] == '\r' && rest.size() > 1 && rest[1] == '\n' ? 2 : 1;
  }

  std::optional<std::size_t> length = inlineImageLength(image);
  if (!length) {
    // PDF 2.0 gives the filtered length.
    const std::optional<double> given = numberOf(image, "L", "Length");
    if (given && *given >= 0 && *given <= 4e9) {
      length = static_cast<std::size_t>(*given);
    }
  }
  if (length && *length <= rest.size() - begin) {
    std::size_t ei = begin + *length;
    while (ei < rest.size() && isWhiteSpace(rest[ei])) {
      ++ei;
    }
    if (startsWithEi(rest, ei)) {
      return found(rest, begin, begin + *length, ei);
    }
  }

  for (std::size_t at = begin; at < rest.size(); ++at) {
    const void* hit = std::memchr(rest.data() + at, 'E', rest.size() - at);
    if (hit == nullptr) {
      break;
    }
    at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - rest.data());
    const bool separated = at == begin || isWhiteSpace(rest[at - 1]) || rest[at - 1] == '>';
    if (separated && startsWithEi(rest, at) && looksLikeContent(rest.subspan(at + 2))) {
      const std::size_t dataEnd = at > begin && isWhiteSpace(rest[at - 1]) ? at - 1 : at;
      return found(rest, begin, dataEnd, at);
    }
  }
  return {rest.subspan(begin), rest.size(), false};
}

}  // namespace optimizer::content
