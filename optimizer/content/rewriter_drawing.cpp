// What content draws: paths, text, inline images.
#include <algorithm>
#include <array>
#include <cmath>

#include "optimizer/content/rewriter.h"
#include "optimizer/content/spelling.h"

namespace optimizer::content::rewriting {

int Rewriter::decimals() const {
  const Matrix& m = state_.matrix;
  // The largest stretch of any direction: the greater singular value.
  const double half = (m.a * m.a + m.b * m.b + m.c * m.c + m.d * m.d) / 2, area = m.determinant();
  const double scale = std::sqrt(half + std::sqrt(std::max(0.0, half * half - area * area)));
  const double step = 2 * options_.tolerance / scale;
  if (options_.tolerance <= 0 || !(scale > 0) || !std::isfinite(step)) {
    return 9;
  }
  return static_cast<int>(std::clamp(std::ceil(-std::log10(step)), 0.0, 9.0));
}

void Rewriter::path(const Instruction& in) {
  if (!pathOpen_) {
    flush();
    pathOpen_ = true;
  }
  ++textEffects_;
  const std::size_t count = in.op == Op::move || in.op == Op::line ? 2 : in.op == Op::curve ? 6 : 4;
  if (in.operands.size() != count || !in.numbers(count)) {
    currentPoint_.clear();
    write(in);
    return;
  }
  // Widths and heights are what makes thin bars: one more decimal.
  const int places = decimals();
  std::array<std::string, 6> numbers;
  for (std::size_t i = 0; i < count; ++i) {
    const bool size = in.op == Op::rectangle && i >= 2;
    appendRounded(in.operands[i], size ? std::min(places + 1, 9) : places, numbers[i]);
  }
  std::size_t first = 0, last = count;
  std::string_view keyword = in.keyword.text();
  const std::string end = numbers[count - 2] + ' ' + numbers[count - 1];
  if (in.op == Op::curve) {
    if (numbers[0] + ' ' + numbers[1] == currentPoint_) {
      keyword = "v";
      first = 2;
    } else if (numbers[2] + ' ' + numbers[3] == end) {
      keyword = "y";
      last = 4;
    }
  }
  std::string text;
  for (std::size_t i = first; i < last; ++i) {
    join(text, numbers[i]);
  }
  join(text, keyword);
  emit(text);
  currentPoint_ = in.op == Op::rectangle ? std::string() : end;
}

// Closing is part of some painting operators (8.5.3). Filling closes by itself, too, but an h before it stays: some
// readers fit only closed rectangles to their pixels.
void Rewriter::paint(const Instruction& in) {
  flush();
  std::string_view keyword = in.keyword.text();
  if (in.op == Op::fillOld) {
    keyword = "f";
  }
  if (closePending_) {
    switch (in.op) {
      case Op::stroke: keyword = "s"; closePending_ = false; break;
      case Op::fillStroke: keyword = "b"; closePending_ = false; break;
      case Op::eoFillStroke: keyword = "b*"; closePending_ = false; break;
      default: emitClose(); break;
    }
  }
  write(in, keyword);
  ++textEffects_;
  effects_ += in.op != Op::endPath;
  pathOpen_ = false;
  currentPoint_.clear();
}

// Strings that stand side by side become one, adjustments of nothing go.
void Rewriter::showArray(const Instruction& in) {
  const std::span<const Token> operands = in.operands;
  if (operands.size() < 2 || operands.front().kind != TokenKind::arrayStart ||
      operands.back().kind != TokenKind::arrayEnd) {
    write(in);
    return;
  }
  std::string text = "[", bytes;
  bool open = false;
  int strings = 0, others = 0;
  const auto close = [&] {
    if (open) {
      appendLiteral(bytes, text);
      bytes.clear();
      open = false;
    }
  };
  for (const Token& token : operands.subspan(1, operands.size() - 2)) {
    if (token.isString()) {
      if (open && !state_.simpleFont) {
        close();
      }
      strings += !open;
      open = true;
      appendStringValue(token, bytes);
    } else if (!(token.isNumber() && !token.irregular && token.value == 0)) {
      close();
      ++others;
      append(token, text);
    }
  }
  if (strings == 1 && others == 0) {
    std::string shown;
    appendLiteral(bytes, shown);
    emit(shown + "Tj");
    return;
  }
  close();
  emit(text + "]TJ");
}

void Rewriter::inlineImage(const Instruction& in) {
  flush();
  ++effects_;
  ++textEffects_;
  std::string text = "BI";
  for (const Token& token : in.operands) {
    // Names and keywords of the dictionary stay as they are, and so does every byte from ID to EI.
    join(text, token.text());
  }
  join(text, "ID");
  emit(text);
  out_.append(reinterpret_cast<const char*>(in.imageRaw.data()), in.imageRaw.size());
  images_.push_back(in.imageRaw);
}

// Where an inline image ends may hang on what follows it, and that is written anew: each must read as it did.
bool Rewriter::imagesStand() const {
  if (images_.empty()) {
    return true;
  }
  ContentReader reader({reinterpret_cast<const std::uint8_t*>(out_.data()), out_.size()});
  Instruction in;
  std::size_t count = 0;
  while (reader.next(in)) {
    if (in.op != Op::beginInlineImage) {
      continue;
    }
    if (count == images_.size() || !std::equal(in.imageRaw.begin(), in.imageRaw.end(), images_[count].begin(),
                                               images_[count].end())) {
      return false;
    }
    ++count;
  }
  return count == images_.size() && !reader.damaged();
}

}  // namespace optimizer::content::rewriting
