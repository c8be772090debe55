// Content streams as tokens (ISO 32000-1, 7.2 and 7.8.2), without copying: a token is a view of the stream's bytes.
// Total on any bytes: whatever does not lex is skipped or becomes the nearest token, and `damaged` says so.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "optimizer/base/bytes.h"

namespace optimizer::content {

enum class TokenKind : std::uint8_t {
  number,
  name,        // with its leading slash
  string,      // (literal), with its parentheses
  hexString,   // <hex>, with its brackets
  arrayStart,
  arrayEnd,
  dictStart,
  dictEnd,
  keyword,     // an operator, true, false, null, or anything else made of regular characters
  end,
};

struct Token {
  const std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  TokenKind kind = TokenKind::end;
  // A number not written as ISO 32000-1, 7.3.3 has it ("--5", "1.2.3", "-"): readers differ over its value.
  bool irregular = false;
  double value = 0;  // numbers only

  std::string_view text() const { return {reinterpret_cast<const char*>(data), size}; }
  bool isNumber() const { return kind == TokenKind::number; }
  bool isName() const { return kind == TokenKind::name; }
  bool isString() const { return kind == TokenKind::string || kind == TokenKind::hexString; }
  // The name without its slash, escapes still in place.
  std::string_view rawName() const { return text().substr(1); }
};

class Tokenizer {
 public:
  // The bytes must outlive the tokens. Streams of 4 GiB and more are cut off there.
  explicit Tokenizer(ByteView bytes);

  // kind is `end` at the end, again and again.
  Token next();

  const std::uint8_t* position() const { return at_; }
  const std::uint8_t* limit() const { return end_; }
  // Goes on reading at a position between begin and limit().
  void seek(const std::uint8_t* position) { at_ = position; }

  // An unfinished string, or a bracket or brace that fits nowhere, was met.
  bool damaged() const { return damaged_; }

 private:
  Token number();
  Token literalString();
  Token angle();

  const std::uint8_t* at_;
  const std::uint8_t* end_;
  bool damaged_ = false;
};

bool isWhiteSpace(std::uint8_t byte);
bool isDelimiter(std::uint8_t byte);
inline bool isRegular(std::uint8_t byte) { return !isWhiteSpace(byte) && !isDelimiter(byte); }

// The characters of a name token, without slash, #xx resolved. A number sign without two digits is a zero byte, as in the
// keys of qpdf's dictionaries.
std::string nameValue(const Token& token);
// Appends the bytes of a string token (either kind), escapes resolved, to `bytes`.
void appendStringValue(const Token& token, std::string& bytes);

}  // namespace optimizer::content
