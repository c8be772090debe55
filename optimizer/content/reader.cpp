#include "optimizer/content/reader.h"

#include <cmath>

#include "optimizer/content/inline_image.h"

namespace optimizer::content {
namespace {

// The longest real operand lists are TJ arrays of some ten thousand elements.
constexpr std::size_t maxOperands = std::size_t{1} << 20;
constexpr int maxNesting = 64;

}  // namespace

double Instruction::number(std::size_t fromEnd, double fallback) const {
  if (fromEnd >= operands.size()) {
    return fallback;
  }
  const Token& token = operands[operands.size() - 1 - fromEnd];
  return token.isNumber() ? token.value : fallback;
}

bool Instruction::numbers(std::size_t count) const {
  if (operands.size() < count) {
    return false;
  }
  for (const Token& token : operands.last(count)) {
    if (!token.isNumber()) {
      return false;
    }
  }
  return true;
}

bool ContentReader::next(Instruction& instruction) {
  operands_.clear();
  int nesting = 0;
  for (;;) {
    const Token token = tokens_.next();
    switch (token.kind) {
      case TokenKind::end:
        damaged_ |= nesting != 0;
        return false;
      case TokenKind::arrayStart:
      case TokenKind::dictStart:
        damaged_ |= ++nesting > maxNesting;
        break;
      case TokenKind::arrayEnd:
      case TokenKind::dictEnd:
        if (--nesting < 0) {
          damaged_ = true;
          nesting = 0;
          continue;
        }
        break;
      case TokenKind::keyword: {
        const std::string_view text = token.text();
        if (text == "true" || text == "false" || text == "null") {
          break;
        }
        damaged_ |= nesting != 0;
        instruction.keyword = token;
        instruction.op = operatorOf(text);
        instruction.imageData = {};
        if (instruction.op == Op::beginInlineImage) {
          if (inlineImage(instruction)) {
            return true;
          }
          operands_.clear();
          nesting = 0;
          continue;
        }
        instruction.operands = operands_;
        return true;
      }
      default:
        break;
    }
    if (operands_.size() == maxOperands) {
      damaged_ = true;
      operands_.clear();
    }
    operands_.push_back(token);
  }
}

// False when no data follows BI: the stream goes on behind what was read.
bool ContentReader::inlineImage(Instruction& instruction) {
  operands_.clear();
  for (;;) {
    const Token token = tokens_.next();
    if (token.kind == TokenKind::keyword && token.text() == "ID") {
      break;
    }
    if (token.kind == TokenKind::end || operands_.size() == maxOperands ||
        (token.kind == TokenKind::keyword && token.text() == "EI")) {
      damaged_ = true;
      return false;
    }
    operands_.push_back(token);
  }
  instruction.operands = operands_;
  const InlineImageData data =
      findInlineImageData(instruction, {tokens_.position(), static_cast<std::size_t>(tokens_.limit() - tokens_.position())});
  damaged_ |= !data.terminated;
  instruction.imageData = data.bytes;
  instruction.imageRaw = {tokens_.position(), data.consumed};
  tokens_.seek(tokens_.position() + data.consumed);
  return true;
}

std::size_t inlineImageValue(const Instruction& image, std::string_view shortKey, std::string_view longKey) {
  const std::span<const Token> tokens = image.operands;
  std::size_t i = 0;
  while (i + 1 < tokens.size()) {
    if (tokens[i].isName() && (tokens[i].rawName() == shortKey || tokens[i].rawName() == longKey)) {
      return i + 1;
    }
    // Step over the value, whole when it is an array or a dictionary.
    int nesting = 0;
    for (++i; i < tokens.size(); ++i) {
      const TokenKind kind = tokens[i].kind;
      nesting += kind == TokenKind::arrayStart || kind == TokenKind::dictStart;
      nesting -= kind == TokenKind::arrayEnd || kind == TokenKind::dictEnd;
      if (nesting <= 0) {
        ++i;
        break;
      }
    }
  }
  return std::string_view::npos;
}

}  // namespace optimizer::content
