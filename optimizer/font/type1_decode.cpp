// Type 1 charstrings, read (Adobe Type 1 Font Format, chapters 6 to 8). Much like Type 2, with three differences that
// matter here. Stems are declared while the path is drawn and replaced by OtherSubr 3, and count from the side bearing:
// they are gathered, sorted, and become one stem list with masks. Flex is drawn through OtherSubrs 0 to 2 as seven
// moves, the first of which only names a reference point. Numbers may be quotients, kept by the div operator.
#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "optimizer/font/glyph.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxStack = 64;
constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxPath = 100'000;

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("charstring: ") + what}; }

class Type1Machine {
 public:
  Type1Machine(const Type1Context& context, CharstringBudget& budget) : context_(context), budget_(budget) {}

  Status run(ByteView code, int depth);
  Result<Glyph> finish();

 private:
  struct DeclaredStem {
    Stem stem;
    bool vertical = false;
  };

  Status execute(int op);
  Status escape(int op);
  Status callOther();
  Status blend(std::size_t results, const std::vector<double>& arguments);
  Status addStem(double edge, double width, bool vertical);
  Status addStems3(bool vertical);
  Status endFlex(double depth);
  void move(double dx, double dy);
  void draw(PathKind kind, std::initializer_list<double> numbers);
  void flushMask();
  bool need(std::size_t n) const { return stack_.size() >= n; }

  const Type1Context& context_;
  CharstringBudget& budget_;
  Glyph glyph_;
  std::vector<double> stack_, results_;  // results_: what an OtherSubr left for pop, last first
  double sideX_ = 0, sideY_ = 0;         // left side bearing point
  double owedX_ = 0, owedY_ = 0;         // side bearing, until the first move takes it
  std::vector<DeclaredStem> stems_;      // every stem ever declared, without repeats; masks are indexes into this
  StemMask active_, written_, counters_;
  bool replaced_ = false, maskDue_ = true, anyMask_ = false;
  bool flexing_ = false;
  std::vector<std::array<double, 2>> flexMoves_;
  bool ended_ = false;
};

void Type1Machine::flushMask() {
  if (!maskDue_) return;
  maskDue_ = false;
  if (anyMask_ && active_ == written_) return;
  anyMask_ = true;
  PathOp op;
  op.kind = PathKind::hintMask;
  op.mask = active_;
  glyph_.path.push_back(op);
  written_ = active_;
}

void Type1Machine::draw(PathKind kind, std::initializer_list<double> numbers) {
  flushMask();
  PathOp op;
  op.kind = kind;
  std::copy(numbers.begin(), numbers.end(), op.d.begin());
  glyph_.path.push_back(op);
}

void Type1Machine::move(double dx, double dy) {
  if (flexing_) {
    flexMoves_.push_back({dx, dy});
    return;
  }
  draw(PathKind::move, {dx + owedX_, dy + owedY_});
  owedX_ = owedY_ = 0;
}

Status Type1Machine::addStem(double edge, double width, bool vertical) {
  edge += vertical ? sideX_ : sideY_;
  // The ghost stems -20 and -21 mark one edge; other negative widths only name the edges in the other order.
  if (width < 0 && width != -20 && width != -21) {
    edge += width;
    width = -width;
  }
  std::size_t index = 0;
  while (index < stems_.size() && !(stems_[index].vertical == vertical && stems_[index].stem == Stem{edge, width})) {
    ++index;
  }
  if (index == stems_.size()) {
    if (stems_.size() == kMaxStems) return Error{ErrorKind::unsupported, "charstring: too many stem hints"};
    stems_.push_back({Stem{edge, width}, vertical});
  }
  active_.set(index);
  maskDue_ = true;
  return {};
}

Status Type1Machine::addStems3(bool vertical) {
  if (!need(6)) return damaged("stack underflow");
  const StemMask before = active_;
  for (std::size_t i = 0; i < 6; i += 2) {
    OPTIMIZER_TRY(addStem(stack_[i], stack_[i + 1], vertical));
  }
  counters_ |= active_ & ~before;
  return {};
}

Status Type1Machine::endFlex(double depth) {
  flexing_ = false;
  if (flexMoves_.size() != 7) return damaged("flex without its seven points");
  // The first move goes to the reference point and the second is relative to it.
  flexMoves_[1][0] += flexMoves_[0][0];
  flexMoves_[1][1] += flexMoves_[0][1];
  const auto& m = flexMoves_;
  draw(PathKind::curve, {m[1][0], m[1][1], m[2][0], m[2][1], m[3][0], m[3][1]});
  glyph_.path.back().flexDepth = static_cast<std::uint8_t>(std::clamp(depth, 1.0, 255.0));
  draw(PathKind::curve, {m[4][0], m[4][1], m[5][0], m[5][1], m[6][0], m[6][1]});
  flexMoves_.clear();
  return {};
}

// A multiple master instance: each result is its value in the first design plus weighted deltas for the others.
Status Type1Machine::blend(std::size_t results, const std::vector<double>& arguments) {
  const std::size_t designs = context_.weights.size();
  if (designs == 0 || arguments.size() != results * designs) {
    return Error{ErrorKind::unsupported, "charstring: blend without its weights"};
  }
  std::vector<double> values(results);
  for (std::size_t i = 0; i < results; ++i) {
    values[i] = arguments[i];
    for (std::size_t k = 1; k < designs; ++k) {
      values[i] += context_.weights[k] * arguments[results + i * (designs - 1) + k - 1];
    }
  }
  results_.assign(values.rbegin(), values.rend());
  return {};
}

Status Type1Machine::callOther() {
  if (!need(2)) return damaged("stack underflow");
  const double number = stack_.back(), declared = stack_[stack_.size() - 2];
  stack_.resize(stack_.size() - 2);
  if (!(declared >= 0 && declared <= static_cast<double>(stack_.size()))) return damaged("stack underflow");
  const auto count = static_cast<std::ptrdiff_t>(declared);
  const std::vector<double> arguments(stack_.end() - count, stack_.end());
  stack_.resize(stack_.size() - static_cast<std::size_t>(count));
  results_.clear();
  if (number == 0 && count == 3) {
    OPTIMIZER_TRY(endFlex(arguments[0]));
    results_ = {arguments[2], arguments[1]};
    return {};
  }
  if (number == 1 && count == 0) {
    flexing_ = true;
    flexMoves_.clear();
    return {};
  }
  if (number == 2 && count == 0) return {};
  if (number == 3 && count == 1) {
    replaced_ = true;
    active_.reset();
    maskDue_ = true;
    results_ = {arguments[0]};
    return {};
  }
  if (number == 12 || number == 13) return {};  // counter control: a hint that may be left out
  if (number == 14) return blend(1, arguments);
  if (number == 15) return blend(2, arguments);
  if (number == 16) return blend(3, arguments);
  if (number == 17) return blend(4, arguments);
  if (number == 18) return blend(6, arguments);
  return Error{ErrorKind::unsupported, "charstring: unknown OtherSubrs entry"};
}

Status Type1Machine::escape(int op) {
  switch (op) {
    case 0:  // dotsection
      break;
    case 1:  // vstem3
    case 2:  // hstem3
      OPTIMIZER_TRY(addStems3(op == 1));
      break;
    case 6:  // seac: asb adx ady bchar achar
      if (!need(5)) return damaged("stack underflow");
      if (!(stack_[3] >= 0 && stack_[3] <= 255 && stack_[4] >= 0 && stack_[4] <= 255)) {
        return damaged("accent code out of range");
      }
      glyph_.accent = Accent{stack_[1] + sideX_ - stack_[0], stack_[2] + sideY_,
                             static_cast<std::uint8_t>(stack_[3]), static_cast<std::uint8_t>(stack_[4])};
      ended_ = true;
      break;
    case 7:  // sbw
      if (!need(4)) return damaged("stack underflow");
      if (stack_[3] != 0) return Error{ErrorKind::unsupported, "charstring: vertical width"};
      sideX_ = owedX_ = stack_[0];
      sideY_ = owedY_ = stack_[1];
      glyph_.width = stack_[2];
      break;
    case 12: {  // div
      if (!need(2)) return damaged("stack underflow");
      const double divisor = stack_.back();
      if (divisor == 0) return damaged("division by zero");
      stack_.pop_back();
      stack_.back() /= divisor;
      return {};
    }
    case 16:
      return callOther();
    case 17:  // pop
      if (results_.empty()) return damaged("pop without a result");
      stack_.push_back(results_.back());
      results_.pop_back();
      return {};
    case 33:  // setcurrentpoint: only after flex, where the point is known already
      break;
    default:
      return Error{ErrorKind::unsupported, "charstring: unknown operator"};
  }
  stack_.clear();
  return {};
}

Status Type1Machine::execute(int op) {
  const std::vector<double>& s = stack_;
  static constexpr struct {
    int op;
    std::size_t needs;
  } kNeeds[] = {{1, 2}, {3, 2}, {4, 1}, {5, 2}, {6, 1}, {7, 1}, {8, 6}, {13, 2}, {21, 2}, {22, 1}, {30, 4}, {31, 4}};
  for (const auto& entry : kNeeds) {
    if (entry.op == op && !need(entry.needs)) return damaged("stack underflow");
  }
  switch (op) {
    case 1:
    case 3:
      OPTIMIZER_TRY(addStem(s[0], s[1], op == 3));
      break;
    case 4:
      move(0, s.back());
      break;
    case 5:
      draw(PathKind::line, {s[0], s[1]});
      break;
    case 6:
      draw(PathKind::line, {s[0], 0});
      break;
    case 7:
      draw(PathKind::line, {0, s[0]});
      break;
    case 8:
      draw(PathKind::curve, {s[0], s[1], s[2], s[3], s[4], s[5]});
      break;
    case 9:  // closepath
      break;
    case 13:  // hsbw
      sideX_ = owedX_ = s[0];
      glyph_.width = s[1];
      break;
    case 14:
      ended_ = true;
      break;
    case 21:
      move(s[s.size() - 2], s.back());
      break;
    case 22:
      move(s.back(), 0);
      break;
    case 30:
      draw(PathKind::curve, {0, s[0], s[1], s[2], s[3], 0});
      break;
    case 31:
      draw(PathKind::curve, {s[0], 0, s[1], s[2], 0, s[3]});
      break;
    default:
      return Error{ErrorKind::unsupported, "charstring: unknown operator"};
  }
  stack_.clear();
  return {};
}

Status Type1Machine::run(ByteView code, int depth) {
  if (depth > kMaxDepth) return Error{ErrorKind::limit, "charstring: subroutines nested too deep"};
  std::size_t at = 0;
  while (at < code.size() && !ended_) {
    if (!budget_.spend() || glyph_.path.size() > kMaxPath) {
      return Error{ErrorKind::limit, "charstring: too long"};
    }
    const int b = code[at++];
    if (b >= 32) {
      const std::size_t more = b < 247 ? 0 : b < 255 ? 1 : 4;
      if (code.size() - at < more) return damaged("number is cut off");
      if (stack_.size() >= kMaxStack) return damaged("stack overflow");
      double value = 0;
      if (b < 247) {
        value = b - 139;
      } else if (b < 251) {
        value = (b - 247) * 256 + code[at] + 108;
      } else if (b < 255) {
        value = -(b - 251) * 256 - code[at] - 108;
      } else {
        const std::uint32_t bits = static_cast<std::uint32_t>(code[at]) << 24 |
                                   static_cast<std::uint32_t>(code[at + 1]) << 16 |
                                   static_cast<std::uint32_t>(code[at + 2]) << 8 | code[at + 3];
        value = static_cast<std::int32_t>(bits);
      }
      at += more;
      stack_.push_back(value);
      continue;
    }
    if (b == 11) return {};  // return
    if (b == 10) {           // callsubr
      if (!need(1)) return damaged("subroutine call without a number");
      const double index = stack_.back();
      stack_.pop_back();
      if (!(index >= 0 && index < static_cast<double>(context_.subrs.size()))) return damaged("no such subroutine");
      OPTIMIZER_TRY(run(context_.subrs[static_cast<std::size_t>(index)], depth + 1));
    } else if (b == 12) {
      if (at >= code.size()) return damaged("operator is cut off");
      OPTIMIZER_TRY(escape(code[at++]));
    } else {
      OPTIMIZER_TRY(execute(b));
    }
  }
  return {};
}

// Sorts the stems as Type 2 wants them and renumbers the masks. Without replacement one mask of everything says nothing.
Result<Glyph> Type1Machine::finish() {
  std::vector<std::size_t> order(stems_.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto key = [&](std::size_t i) {
    const DeclaredStem& s = stems_[i];
    // An edge hint sorts by the edge that it stands for.
    const double low = s.stem.width < 0 ? s.stem.edge + s.stem.width : s.stem.edge;
    return std::tuple(s.vertical, low, s.stem.edge + s.stem.width);
  };
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return key(a) < key(b); });
  std::vector<std::size_t> rank(order.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    rank[order[i]] = i;
    const DeclaredStem& s = stems_[order[i]];
    (s.vertical ? glyph_.verticalStems : glyph_.horizontalStems).push_back(s.stem);
  }
  const auto remap = [&](const StemMask& mask) {
    StemMask mapped;
    for (std::size_t i = 0; i < rank.size(); ++i) {
      if (mask.test(i)) mapped.set(rank[i]);
    }
    return mapped;
  };
  if (!replaced_) {
    std::erase_if(glyph_.path, [](const PathOp& op) { return op.kind == PathKind::hintMask; });
  }
  for (PathOp& op : glyph_.path) {
    if (op.kind == PathKind::hintMask) op.mask = remap(op.mask);
  }
  if (counters_.any() && !glyph_.path.empty()) {
    PathOp op;
    op.kind = PathKind::counterMask;
    op.mask = remap(counters_);
    glyph_.path.insert(glyph_.path.begin(), op);
  }
  normalizePath(glyph_);
  return std::move(glyph_);
}

}  // namespace

Result<Glyph> decodeType1(ByteView charstring, const Type1Context& context, CharstringBudget& budget) {
  Type1Machine machine(context, budget);
  OPTIMIZER_TRY(machine.run(charstring, 0));
  return machine.finish();
}

}  // namespace optimizer::font
