// What content sets: colours, parameters, the graphics state stack, text objects. Written when something may depend on it.
#include <cmath>

#include "optimizer/content/rewriter.h"

namespace optimizer::content::rewriting {

void Rewriter::flush() {
  flushColor(state_.wanted.fill, state_.written.fill);
  flushColor(state_.wanted.stroke, state_.written.stroke);
  for (std::size_t slot = 0; slot < slotCount; ++slot) {
    const std::string& wanted = state_.wanted.values[slot];
    std::string& written = state_.written.values[slot];
    if (!wanted.empty() && wanted != written) {
      emit(wanted);
      written = wanted;
    }
  }
}

void Rewriter::flushColor(const Color& wanted, Color& written) {
  if (wanted == written || wanted == Color()) {
    return;
  }
  if (wanted.space.empty() || wanted.space != written.space || wanted.color.empty()) {
    emit(wanted.space);
  }
  emit(wanted.color);
  written = wanted;
}

void Rewriter::forget(std::initializer_list<Slot> slots) {
  for (Slot slot : slots) {
    state_.wanted.values[slot].clear();
    state_.written.values[slot].clear();
  }
}

void Rewriter::set(Slot slot, const Instruction& in) {
  state_.wanted.values[slot] = spell(in);
  if (slot <= font) {  // what a graphics state dictionary may hold, too
    state_.graphicsState.clear();
  }
}

void Rewriter::setColor(Color& wanted, Color& written, const Instruction& in) {
  if (!wanted.space.empty()) {
    wanted.color = spell(in);
    return;
  }
  // The space is not known here: it was set before this content, or by g, rg or k.
  flush();
  write(in);
  ++textEffects_;
  wanted = written = {};
}

Bracket Rewriter::openBracket(std::size_t effects) const {
  Bracket bracket;
  bracket.written = state_.written;
  bracket.start = out_.size();
  bracket.effects = effects;
  bracket.clean = !pathOpen_ && !text_;
  return bracket;
}

void Rewriter::save() {
  Bracket bracket = openBracket(effects_);
  flush();
  emit("q");
  ++textEffects_;
  bracket.state = state_;
  saved_.push_back(std::move(bracket));
}

void Rewriter::restore() {
  ++textEffects_;
  if (saved_.empty()) {
    // One too many: readers pass over it, but it may be somebody else's.
    emit("Q");
    ++effects_;
    state_ = {};
    state_.matrix.a = std::nan("");
    return;
  }
  Bracket bracket = std::move(saved_.back());
  saved_.pop_back();
  state_ = std::move(bracket.state);
  if (bracket.effects == effects_ && bracket.clean && !pathOpen_ && !text_) {
    out_.resize(bracket.start);
    state_.written = std::move(bracket.written);
  } else {
    emit("Q");
  }
}

void Rewriter::beginText() {
  text_ = openBracket(textEffects_);
  emit("BT");
}

void Rewriter::endText() {
  if (text_ && text_->effects == textEffects_ && text_->clean && !pathOpen_) {
    out_.resize(text_->start);
    state_.written = std::move(text_->written);
  } else {
    emit("ET");
  }
  text_.reset();
}

void Rewriter::graphicsState(const Instruction& in) {
  std::string text = spell(in);
  flush();
  if (text == state_.graphicsState) {
    return;
  }
  emit(text);
  ++textEffects_;
  forget({lineWidth, lineCap, lineJoin, miterLimit, dash, intent, flatness, font});
  state_.simpleFont = false;
  state_.graphicsState = std::move(text);
}

void Rewriter::matrix(const Instruction& in) {
  if (in.operands.size() == 6 && in.numbers(6)) {
    const Matrix inner{in.number(5), in.number(4), in.number(3), in.number(2), in.number(1), in.number(0)};
    if (inner.identity() && !pathOpen_) {
      return;
    }
    state_.matrix = concat(inner, state_.matrix);
  } else {
    state_.matrix.a = std::nan("");
  }
  state_.graphicsState.clear();  // a soft mask is bound to the matrix of its moment
  write(in);
  ++textEffects_;
}

}  // namespace optimizer::content::rewriting
