#include "optimizer/content/tokenizer.h"

#include <algorithm>
#include <array>
#include <limits>

namespace optimizer::content {
namespace {

enum : std::uint8_t { regular = 0, white = 1, delimiter = 2 };

constexpr std::array<std::uint8_t, 256> classes = [] {
  std::array<std::uint8_t, 256> table{};
  for (int byte : {0, 9, 10, 12, 13, 32}) {
    table[static_cast<std::size_t>(byte)] = white;
  }
  for (char byte : {'(', ')', '<', '>', '[', ']', '{', '}', '/', '%'}) {
    table[static_cast<std::uint8_t>(byte)] = delimiter;
  }
  return table;
}();

int hexDigit(std::uint8_t byte) {
  if (byte >= '0' && byte <= '9') {
    return byte - '0';
  }
  const std::uint8_t lower = byte | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

Token make(TokenKind kind, const std::uint8_t* begin, const std::uint8_t* end) {
  Token token;
  token.data = begin;
  token.size = static_cast<std::uint32_t>(end - begin);
  token.kind = kind;
  return token;
}

}  // namespace

bool isWhiteSpace(std::uint8_t byte) { return classes[byte] == white; }
bool isDelimiter(std::uint8_t byte) { return classes[byte] == delimiter; }

Tokenizer::Tokenizer(ByteView bytes)
    : at_(bytes.data()),
      end_(bytes.data() + std::min<std::size_t>(bytes.size(), std::numeric_limits<std::uint32_t>::max())) {}

Token Tokenizer::next() {
  while (at_ != end_) {
    const std::uint8_t byte = *at_;
    if (classes[byte] == white) {
      ++at_;
      continue;
    }
    const std::uint8_t* begin = at_;
    switch (byte) {
      case '%':
        while (at_ != end_ && *at_ != '\n' && *at_ != '\r') {
          ++at_;
        }
        continue;
      case '/':
        ++at_;
        while (at_ != end_ && classes[*at_] == regular) {
          ++at_;
        }
        return make(TokenKind::name, begin, at_);
      case '(':
        return literalString();
      case '<':
        return angle();
      case '[':
        return make(TokenKind::arrayStart, begin, ++at_);
      case ']':
        return make(TokenKind::arrayEnd, begin, ++at_);
      case '>':
        ++at_;
        if (at_ != end_ && *at_ == '>') {
          return make(TokenKind::dictEnd, begin, ++at_);
        }
        damaged_ = true;
        continue;
      case ')':
      case '{':
      case '}':
        ++at_;
        damaged_ = true;
        continue;
      default:
        break;
    }
    if ((byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '+') {
      return number();
    }
    while (at_ != end_ && classes[*at_] == regular) {
      ++at_;
    }
    return make(TokenKind::keyword, begin, at_);
  }
  return make(TokenKind::end, end_, end_);
}

// A number ends at the first character that cannot belong to one, so "1 w2 0 l" and "0.5w" lex as most readers do.
Token Tokenizer::number() {
  const std::uint8_t* begin = at_;
  bool negative = false;
  bool irregular = false;
  if (*at_ == '-' || *at_ == '+') {
    negative = *at_ == '-';
    ++at_;
  }
  while (at_ != end_ && (*at_ == '-' || *at_ == '+')) {
    irregular = true;
    ++at_;
  }
  double value = 0;
  int digits = 0;
  while (at_ != end_ && *at_ >= '0' && *at_ <= '9') {
    value = value * 10 + (*at_++ - '0');
    ++digits;
  }
  if (at_ != end_ && *at_ == '.') {
    ++at_;
    // Sums and divides once: digits beyond 2^53 add nothing.
    double fraction = 0;
    double unit = 1;
    while (at_ != end_ && *at_ >= '0' && *at_ <= '9') {
      if (unit < 1e15) {
        fraction = fraction * 10 + (*at_ - '0');
        unit *= 10;
      }
      ++at_;
      ++digits;
    }
    value += fraction / unit;
  }
  while (at_ != end_ && ((*at_ >= '0' && *at_ <= '9') || *at_ == '.' || *at_ == '-' || *at_ == '+')) {
    irregular = true;
    ++at_;
  }
  Token token = make(TokenKind::number, begin, at_);
  token.irregular = irregular || digits == 0;
  token.value = negative ? -value : value;
  return token;
}

Token Tokenizer::literalString() {
  const std::uint8_t* begin = at_++;
  std::size_t depth = 1;
  while (at_ != end_) {
    const std::uint8_t byte = *at_++;
    if (byte == '\\') {
      if (at_ != end_) {
        ++at_;
      }
    } else if (byte == '(') {
      ++depth;
    } else if (byte == ')' && --depth == 0) {
      return make(TokenKind::string, begin, at_);
    }
  }
  damaged_ = true;
  return make(TokenKind::string, begin, at_);
}

Token Tokenizer::angle() {
  const std::uint8_t* begin = at_++;
  if (at_ != end_ && *at_ == '<') {
    return make(TokenKind::dictStart, begin, ++at_);
  }
  while (at_ != end_) {
    const std::uint8_t byte = *at_++;
    if (byte == '>') {
      return make(TokenKind::hexString, begin, at_);
    }
    damaged_ |= hexDigit(byte) < 0 && classes[byte] != white;
  }
  damaged_ = true;
  return make(TokenKind::hexString, begin, at_);
}

std::string nameValue(const Token& token) {
  std::string value;
  value.reserve(token.size);
  for (std::uint32_t i = 1; i < token.size; ++i) {
    if (token.data[i] == '#' && i + 2 < token.size) {
      const int high = hexDigit(token.data[i + 1]);
      const int low = hexDigit(token.data[i + 2]);
      if (high >= 0 && low >= 0 && (high | low) != 0) {
        value.push_back(static_cast<char>(high << 4 | low));
        i += 2;
        continue;
      }
    }
    const bool stray = token.data[i] == '#';
    value.push_back(stray ? '\0' : static_cast<char>(token.data[i]));
  }
  return value;
}

namespace {

void appendHex(const Token& token, std::string& bytes) {
  int high = -1;
  for (std::uint32_t i = 1; i < token.size; ++i) {
    const int digit = hexDigit(token.data[i]);
    if (digit < 0) {
      continue;
    }
    if (high < 0) {
      high = digit;
    } else {
      bytes.push_back(static_cast<char>(high << 4 | digit));
      high = -1;
    }
  }
  if (high >= 0) {  // an odd last digit stands for digit0
    bytes.push_back(static_cast<char>(high << 4));
  }
}

// Appends what the escape at `at` (behind the backslash) stands for and returns the position behind it.
const std::uint8_t* appendEscape(const std::uint8_t* at, const std::uint8_t* end, std::string& bytes) {
  const std::uint8_t byte = *at++;
  switch (byte) {
    case 'n': bytes.push_back('\n'); return at;
    case 'r': bytes.push_back('\r'); return at;
    case 't': bytes.push_back('\t'); return at;
    case 'b': bytes.push_back('\b'); return at;
    case 'f': bytes.push_back('\f'); return at;
    case '\n': return at;
    case '\r': return at != end && *at == '\n' ? at + 1 : at;
    default: break;
  }
  if (byte < '0' || byte > '7') {
    bytes.push_back(static_cast<char>(byte));
    return at;
  }
  int value = byte - '0';
  for (int digits = 1; digits < 3 && at != end && *at >= '0' && *at <= '7'; ++digits) {
    value = value * 8 + (*at++ - '0');
  }
  bytes.push_back(static_cast<char>(value));
  return at;
}

}  // namespace

void appendStringValue(const Token& token, std::string& bytes) {
  if (token.kind == TokenKind::hexString) {
    appendHex(token, bytes);
    return;
  }
  if (token.size < 2) {
    return;
  }
  const std::uint8_t* at = token.data + 1;
  const std::uint8_t* end = token.data + token.size;
  if (end[-1] == ')') {  // an unfinished string has no closing parenthesis
    --end;
  }
  while (at != end) {
    const std::uint8_t byte = *at++;
    if (byte == '\\' && at != end) {
      at = appendEscape(at, end, bytes);
    } else if (byte == '\r') {  // an end of line reads as a single line feed
      bytes.push_back('\n');
      at += at != end && *at == '\n';
    } else {
      bytes.push_back(static_cast<char>(byte));
    }
  }
}

}  // namespace optimizer::content
