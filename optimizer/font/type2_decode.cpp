// Type 2 charstrings, read (Adobe Technical Note 5177). A stack machine: numbers are pushed, an operator takes the whole
// stack. The first operator that clears the stack may find one number more than it needs: the glyph's width. Subroutines
// are called by a number biased by their count. Arithmetic is evaluated, so what remains is the plain path.
#include <algorithm>
#include <cmath>
#include <vector>

#include "optimizer/font/glyph.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxStack = 192;  // the note says 48; real fonts exceed it, and readers allow it
constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxPath = 100'000;

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("charstring: ") + what}; }

class Type2Machine {
 public:
  Type2Machine(const Type2Context& context, CharstringBudget& budget) : context_(context), budget_(budget) {
    glyph_.width = context.defaultWidth;
  }

  Status run(ByteView code, int depth);
  Glyph take() { return std::move(glyph_); }
  bool ended() const { return ended_; }

 private:
  Status execute(int op, ByteView code, std::size_t& at);
  Status escape(int op);
  Status arithmetic(int op);
  Status call(std::span<const ByteView> subrs, int depth);
  Status stems(std::vector<Stem>& list);
  Status mask(PathKind kind, ByteView code, std::size_t& at);
  void takeWidth(bool present);
  void emit(PathKind kind, std::initializer_list<double> numbers, int flexDepth = 0);
  void lines(std::size_t from, std::size_t to);
  void curves(std::size_t from, std::size_t to);
  void alternatingLines(bool horizontal);
  void alternatingCurves(bool horizontal);
  std::size_t count() const { return stack_.size(); }
  bool pop(double& value) {
    if (stack_.empty()) return false;
    value = stack_.back();
    stack_.pop_back();
    return true;
  }

  const Type2Context& context_;
  CharstringBudget& budget_;
  Glyph glyph_;
  std::vector<double> stack_;
  std::array<double, 32> memory_{};
  bool widthSeen_ = false;
  bool ended_ = false;
};

void Type2Machine::takeWidth(bool present) {
  if (!widthSeen_ && present && !stack_.empty()) {
    glyph_.width = context_.nominalWidth + stack_.front();
    stack_.erase(stack_.begin());
  }
  widthSeen_ = true;
}

void Type2Machine::emit(PathKind kind, std::initializer_list<double> numbers, int flexDepth) {
  PathOp op;
  op.kind = kind;
  op.flexDepth = static_cast<std::uint8_t>(flexDepth);
  std::copy(numbers.begin(), numbers.end(), op.d.begin());
  glyph_.path.push_back(op);
}

void Type2Machine::lines(std::size_t from, std::size_t to) {
  for (std::size_t i = from; i + 2 <= to; i += 2) emit(PathKind::line, {stack_[i], stack_[i + 1]});
}

void Type2Machine::curves(std::size_t from, std::size_t to) {
  for (std::size_t i = from; i + 6 <= to; i += 6) {
    emit(PathKind::curve,
         {stack_[i], stack_[i + 1], stack_[i + 2], stack_[i + 3], stack_[i + 4], stack_[i + 5]});
  }
}

void Type2Machine::alternatingLines(bool horizontal) {
  for (const double distance : stack_) {
    if (horizontal) {
      emit(PathKind::line, {distance, 0});
    } else {
      emit(PathKind::line, {0, distance});
    }
    horizontal = !horizontal;
  }
}

void Type2Machine::alternatingCurves(bool horizontal) {
  std::size_t i = 0;
  while (i + 4 <= count()) {
    const bool last = count() - i == 5;
    const double extra = last ? stack_[i + 4] : 0;
    if (horizontal) {
      emit(PathKind::curve, {stack_[i], 0, stack_[i + 1], stack_[i + 2], extra, stack_[i + 3]});
    } else {
      emit(PathKind::curve, {0, stack_[i], stack_[i + 1], stack_[i + 2], stack_[i + 3], extra});
    }
    horizontal = !horizontal;
    i += last ? 5 : 4;
  }
}

Status Type2Machine::stems(std::vector<Stem>& list) {
  takeWidth(count() % 2 == 1);
  double edge = 0;
  for (std::size_t i = 0; i + 2 <= count(); i += 2) {
    if (glyph_.horizontalStems.size() + glyph_.verticalStems.size() >= kMaxStems) {
      return damaged("more stem hints than allowed");
    }
    edge += stack_[i];
    list.push_back({edge, stack_[i + 1]});
    edge += stack_[i + 1];
  }
  stack_.clear();
  return {};
}

Status Type2Machine::mask(PathKind kind, ByteView code, std::size_t& at) {
  if (!stack_.empty()) {
    OPTIMIZER_TRY(stems(glyph_.verticalStems));
  }
  widthSeen_ = true;
  const std::size_t stemCount = glyph_.horizontalStems.size() + glyph_.verticalStems.size();
  const std::size_t size = (stemCount + 7) / 8;
  if (code.size() - at < size) return damaged("hint mask is cut off");
  PathOp op;
  op.kind = kind;
  for (std::size_t i = 0; i < stemCount; ++i) {
    if (code[at + i / 8] & (0x80u >> (i % 8))) op.mask.set(i);
  }
  at += size;
  glyph_.path.push_back(op);
  return {};
}

Status Type2Machine::call(std::span<const ByteView> subrs, int depth) {
  double number = 0;
  if (!pop(number)) return damaged("subroutine call without a number");
  const int bias = subrs.size() < 1240 ? 107 : subrs.size() < 33900 ? 1131 : 32768;
  const int index = static_cast<int>(number) + bias;
  if (index < 0 || static_cast<std::size_t>(index) >= subrs.size()) return damaged("no such subroutine");
  return run(subrs[static_cast<std::size_t>(index)], depth + 1);
}

Status Type2Machine::arithmetic(int op) {
  const auto need = [&](std::size_t n) { return count() >= n; };
  const auto top = [&](std::size_t n) -> double& { return stack_[count() - n]; };
  switch (op) {
    case 9:  // abs
    case 14:  // neg
    case 5:  // not
    case 26:  // sqrt
      if (!need(1)) return damaged("stack underflow");
      top(1) = op == 9 ? std::abs(top(1)) : op == 14 ? -top(1) : op == 5 ? (top(1) == 0 ? 1 : 0)
                                                                         : std::sqrt(std::max(0.0, top(1)));
      return {};
    case 3:  // and
    case 4:  // or
    case 10:  // add
    case 11:  // sub
    case 12:  // div
    case 15:  // eq
    case 24: {  // mul
      if (!need(2)) return damaged("stack underflow");
      const double a = top(2), b = top(1);
      if (op == 12 && b == 0) return damaged("division by zero");
      stack_.pop_back();
      top(1) = op == 3    ? (a != 0 && b != 0 ? 1 : 0)
               : op == 4  ? (a != 0 || b != 0 ? 1 : 0)
               : op == 10 ? a + b
               : op == 11 ? a - b
               : op == 12 ? a / b
               : op == 15 ? (a == b ? 1 : 0)
                          : a * b;
      return {};
    }
    case 18:  // drop
      if (!need(1)) return damaged("stack underflow");
      stack_.pop_back();
      return {};
    case 20: {  // put
      if (!need(2)) return damaged("stack underflow");
      const double index = top(1);
      if (!(index >= 0 && index < 32)) return damaged("no such storage");
      memory_[static_cast<std::size_t>(index)] = top(2);
      stack_.resize(count() - 2);
      return {};
    }
    case 21: {  // get
      if (!need(1)) return damaged("stack underflow");
      const double index = top(1);
      if (!(index >= 0 && index < 32)) return damaged("no such storage");
      top(1) = memory_[static_cast<std::size_t>(index)];
      return {};
    }
    case 22: {  // ifelse
      if (!need(4)) return damaged("stack underflow");
      const double chosen = top(2) <= top(1) ? top(4) : top(3);
      stack_.resize(count() - 3);
      top(1) = chosen;
      return {};
    }
    case 27:  // dup
      if (!need(1)) return damaged("stack underflow");
      stack_.push_back(top(1));
      return {};
    case 28:  // exch
      if (!need(2)) return damaged("stack underflow");
      std::swap(top(1), top(2));
      return {};
    case 29: {  // index
      if (!need(2)) return damaged("stack underflow");
      const double n = std::max(0.0, top(1));
      if (!(n + 2 <= static_cast<double>(count()))) return damaged("stack underflow");
      top(1) = top(static_cast<std::size_t>(n) + 2);
      return {};
    }
    case 30: {  // roll
      if (!need(2)) return damaged("stack underflow");
      const double n = top(2), j = top(1);
      stack_.resize(count() - 2);
      if (!(n > 0 && n <= static_cast<double>(count())) || !(std::abs(j) < 1e6)) return damaged("bad roll");
      const auto size = static_cast<long>(n);
      const long shift = ((static_cast<long>(j) % size) + size) % size;
      std::rotate(stack_.end() - size, stack_.end() - shift, stack_.end());
      return {};
    }
    default:
      return Error{ErrorKind::unsupported, "charstring: unknown operator"};
  }
}

Status Type2Machine::escape(int op) {
  const std::vector<double>& s = stack_;
  switch (op) {
    case 34:  // hflex
      if (count() < 7) return damaged("stack underflow");
      emit(PathKind::curve, {s[0], 0, s[1], s[2], s[3], 0}, 50);
      emit(PathKind::curve, {s[4], 0, s[5], -s[2], s[6], 0});
      break;
    case 35: {  // flex
      if (count() < 13) return damaged("stack underflow");
      const int depth = static_cast<int>(std::clamp(s[12], 1.0, 255.0));
      emit(PathKind::curve, {s[0], s[1], s[2], s[3], s[4], s[5]}, depth);
      emit(PathKind::curve, {s[6], s[7], s[8], s[9], s[10], s[11]});
      break;
    }
    case 36:  // hflex1
      if (count() < 9) return damaged("stack underflow");
      emit(PathKind::curve, {s[0], s[1], s[2], s[3], s[4], 0}, 50);
      emit(PathKind::curve, {s[5], 0, s[6], s[7], s[8], -(s[1] + s[3] + s[7])});
      break;
    case 37: {  // flex1
      if (count() < 11) return damaged("stack underflow");
      const double dx = s[0] + s[2] + s[4] + s[6] + s[8], dy = s[1] + s[3] + s[5] + s[7] + s[9];
      const bool horizontal = std::abs(dx) > std::abs(dy);
      emit(PathKind::curve, {s[0], s[1], s[2], s[3], s[4], s[5]}, 50);
      emit(PathKind::curve, {s[6], s[7], s[8], s[9], horizontal ? s[10] : -dx, horizontal ? -dy : s[10]});
      break;
    }
    case 0:  // dotsection
      break;
    default:
      return arithmetic(op);
  }
  stack_.clear();
  return {};
}

Status Type2Machine::execute(int op, ByteView code, std::size_t& at) {
  switch (op) {
    case 1:
    case 18:
      return stems(glyph_.horizontalStems);
    case 3:
    case 23:
      return stems(glyph_.verticalStems);
    case 19:
      return mask(PathKind::hintMask, code, at);
    case 20:
      return mask(PathKind::counterMask, code, at);
    case 21:  // rmoveto
      takeWidth(count() > 2);
      if (count() < 2) return damaged("stack underflow");
      emit(PathKind::move, {stack_[count() - 2], stack_[count() - 1]});
      break;
    case 22:  // hmoveto
    case 4:   // vmoveto
      takeWidth(count() > 1);
      if (count() < 1) return damaged("stack underflow");
      emit(PathKind::move, {op == 22 ? stack_.back() : 0, op == 22 ? 0 : stack_.back()});
      break;
    case 5:
      lines(0, count());
      break;
    case 6:
    case 7:
      alternatingLines(op == 6);
      break;
    case 8:
      curves(0, count());
      break;
    case 24:  // rcurveline
      if (count() < 8) return damaged("stack underflow");
      curves(0, count() - 2);
      lines(count() - 2, count());
      break;
    case 25:  // rlinecurve
      if (count() < 8) return damaged("stack underflow");
      lines(0, count() - 6);
      curves(count() - 6, count());
      break;
    case 26: {  // vvcurveto
      std::size_t i = count() % 4 == 1 ? 1 : 0;
      double first = i == 1 ? stack_[0] : 0;
      for (; i + 4 <= count(); i += 4, first = 0) {
        emit(PathKind::curve, {first, stack_[i], stack_[i + 1], stack_[i + 2], 0, stack_[i + 3]});
      }
      break;
    }
    case 27: {  // hhcurveto
      std::size_t i = count() % 4 == 1 ? 1 : 0;
      double first = i == 1 ? stack_[0] : 0;
      for (; i + 4 <= count(); i += 4, first = 0) {
        emit(PathKind::curve, {stack_[i], first, stack_[i + 1], stack_[i + 2], stack_[i + 3], 0});
      }
      break;
    }
    case 30:
    case 31:
      alternatingCurves(op == 31);
      break;
    case 14: {  // endchar
      takeWidth(count() == 1 || count() == 5);
      if (count() >= 4) {
        const auto code8 = [](double v) { return static_cast<std::uint8_t>(std::clamp(v, 0.0, 255.0)); };
        glyph_.accent = Accent{stack_[0], stack_[1], code8(stack_[2]), code8(stack_[3])};
      }
      ended_ = true;
      break;
    }
    default:
      return Error{ErrorKind::unsupported, "charstring: unknown operator"};
  }
  stack_.clear();
  return {};
}

Status Type2Machine::run(ByteView code, int depth) {
  if (depth > kMaxDepth) return Error{ErrorKind::limit, "charstring: subroutines nested too deep"};
  std::size_t at = 0;
  while (at < code.size() && !ended_) {
    if (!budget_.spend() || glyph_.path.size() > kMaxPath) {
      return Error{ErrorKind::limit, "charstring: too long"};
    }
    const int b = code[at++];
    if (b >= 32 || b == 28) {
      const std::size_t more = b == 28 ? 2 : b < 247 ? 0 : b < 255 ? 1 : 4;
      if (code.size() - at < more) return damaged("number is cut off");
      if (stack_.size() >= kMaxStack) return damaged("stack overflow");
      double value = 0;
      if (b == 28) {
        value = static_cast<std::int16_t>(code[at] << 8 | code[at + 1]);
      } else if (b < 247) {
        value = b - 139;
      } else if (b < 251) {
        value = (b - 247) * 256 + code[at] + 108;
      } else if (b < 255) {
        value = -(b - 251) * 256 - code[at] - 108;
      } else {
        const std::uint32_t bits = static_cast<std::uint32_t>(code[at]) << 24 |
                                   static_cast<std::uint32_t>(code[at + 1]) << 16 |
                                   static_cast<std::uint32_t>(code[at + 2]) << 8 | code[at + 3];
        value = static_cast<std::int32_t>(bits) / 65536.0;
      }
      at += more;
      stack_.push_back(value);
      continue;
    }
    if (b == 11) return {};  // return
    if (b == 10 || b == 29) {
      OPTIMIZER_TRY(call(b == 10 ? context_.localSubrs : context_.globalSubrs, depth));
    } else if (b == 12) {
      if (at >= code.size()) return damaged("operator is cut off");
      OPTIMIZER_TRY(escape(code[at++]));
    } else {
      OPTIMIZER_TRY(execute(b, code, at));
    }
  }
  return {};
}

}  // namespace

Result<Glyph> decodeType2(ByteView charstring, const Type2Context& context, CharstringBudget& budget) {
  Type2Machine machine(context, budget);
  OPTIMIZER_TRY(machine.run(charstring, 0));
  Glyph glyph = machine.take();
  normalizePath(glyph);
  return glyph;
}

}  // namespace optimizer::font
