// Content streams as instructions: an operator with the operands before it (ISO 32000-1, 7.8.2), and inline images
// as one instruction (8.9.7).
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/content/operators.h"
#include "optimizer/content/tokenizer.h"

namespace optimizer::content {

struct Instruction {
  // Flat: arrays and dictionaries appear as their start, elements and end. For an inline image: the keys and values
  // between BI and ID. Valid until the next read.
  std::span<const Token> operands;
  Token keyword;  // the operator as written; for an inline image BI
  Op op = Op::unknown;
  ByteView imageData;  // inline images only: the bytes between ID's white space and EI's
  ByteView imageRaw;   // inline images only: everything behind ID up to and with EI

  // The i-th number counted from the end of the operands (0 is the last), or fallback.
  double number(std::size_t fromEnd, double fallback = 0) const;
  // True when the last `count` operands are numbers.
  bool numbers(std::size_t count) const;
};

class ContentReader {
 public:
  explicit ContentReader(ByteView bytes) : tokens_(bytes) {}

  // False at the end. Operands without an operator at the end of the stream are dropped (and are no damage).
  bool next(Instruction& instruction);

  // Something was met that readers resolve differently: unbalanced brackets, an operator inside an array, an unfinished
  // string or inline image, operand lists beyond the limit.
  bool damaged() const { return damaged_ || tokens_.damaged(); }
  const std::uint8_t* position() const { return tokens_.position(); }

 private:
  bool inlineImage(Instruction& instruction);

  Tokenizer tokens_;
  std::vector<Token> operands_;
  bool damaged_ = false;
};

// The value behind a key of an inline image (its short or long form) as the index of its first token in
// instruction.operands, or npos.
std::size_t inlineImageValue(const Instruction& image, std::string_view shortKey, std::string_view longKey);

}  // namespace optimizer::content
