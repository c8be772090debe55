// Type 2 charstrings, written (Adobe Technical Note 5177). Between two moves or masks the segments of a path can be spelt
// with ten operators, each of which takes a run of segments. The cheapest spelling is found exactly: best[i] is the
// fewest bytes for the first i segments, and every operator that can start at i is tried with every run that it allows.
#include <algorithm>
#include <cmath>
#include <limits>

#include "optimizer/base/writer.h"
#include "optimizer/font/glyph.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kStackLimit = 48;

enum Operator : std::uint8_t {
  hstem = 1, vstem = 3, vmoveto = 4, rlineto = 5, hlineto = 6, vlineto = 7, rrcurveto = 8, endchar = 14,
  hstemhm = 18, hintmask = 19, cntrmask = 20, rmoveto = 21, hmoveto = 22, vstemhm = 23, rcurveline = 24,
  rlinecurve = 25, vvcurveto = 26, hhcurveto = 27, vhcurveto = 30, hvcurveto = 31,
};

// 16.16 fixed, as the widest number of a charstring holds it.
std::int64_t fixedOf(double value) { return std::llround(value * 65536.0); }
bool isZero(double value) { return fixedOf(value) == 0; }

std::size_t numberSize(double value) {
  const std::int64_t fixed = fixedOf(value);
  if (fixed % 65536 != 0) return 5;
  const std::int64_t whole = fixed / 65536;
  if (whole >= -107 && whole <= 107) return 1;
  return whole >= -1131 && whole <= 1131 ? 2 : 3;
}

class Type2Encoder {
 public:
  Type2Encoder(const Glyph& glyph, double defaultWidth, double nominalWidth) : glyph_(glyph) {
    if (!isZero(glyph.width - defaultWidth)) {
      pendingWidth_ = glyph.width - nominalWidth;
      hasWidth_ = true;
    }
  }

  Result<Bytes> encode();

 private:
  using Segments = std::span<const PathOp>;

  void number(double value);
  void op(int code) { out_.u8(static_cast<std::uint32_t>(code)); }
  void width() {
    if (hasWidth_) number(pendingWidth_);
    hasWidth_ = false;
  }
  void stemNumbers(const std::vector<Stem>& stems, int code, bool omitOperator);
  void mask(const PathOp& path);
  void move(const PathOp& path);
  void segments(Segments run);
  void flex(const PathOp& first, const PathOp& second);
  void write(Segments run, int code);

  const Glyph& glyph_;
  Writer out_;
  double pendingWidth_ = 0;
  bool hasWidth_ = false;
  bool fits_ = true;
};

void Type2Encoder::number(double value) {
  const std::int64_t fixed = fixedOf(value);
  if (fixed < std::numeric_limits<std::int32_t>::min() || fixed > std::numeric_limits<std::int32_t>::max()) {
    fits_ = false;
    return;
  }
  if (fixed % 65536 != 0) {
    op(255);
    out_.u32(static_cast<std::uint32_t>(static_cast<std::int32_t>(fixed)));
    return;
  }
  const int whole = static_cast<int>(fixed / 65536);
  if (whole >= -107 && whole <= 107) {
    op(whole + 139);
  } else if (whole >= 108 && whole <= 1131) {
    op(247 + (whole - 108) / 256);
    op((whole - 108) % 256);
  } else if (whole <= -108 && whole >= -1131) {
    op(251 + (-whole - 108) / 256);
    op((-whole - 108) % 256);
  } else {
    op(28);
    out_.u16(static_cast<std::uint16_t>(whole));
  }
}

void Type2Encoder::stemNumbers(const std::vector<Stem>& stems, int code, bool omitOperator) {
  if (stems.empty()) return;
  double edge = 0;
  std::size_t held = hasWidth_ ? 1 : 0;
  width();
  for (const Stem& stem : stems) {
    if (held + 2 > kStackLimit) {
      op(code);
      held = 0;
    }
    // Each operator counts from the last edge of the one before only inside one operator's run.
    if (held == 0) edge = 0;
    number(stem.edge - edge);
    number(stem.width);
    edge = stem.edge + stem.width;
    held += 2;
  }
  if (!omitOperator) op(code);
}

void Type2Encoder::mask(const PathOp& path) {
  width();
  op(path.kind == PathKind::hintMask ? hintmask : cntrmask);
  const std::size_t stemCount = glyph_.horizontalStems.size() + glyph_.verticalStems.size();
  for (std::size_t i = 0; i < stemCount; i += 8) {
    unsigned byte = 0;
    for (std::size_t k = i; k < i + 8 && k < stemCount; ++k) {
      if (path.mask.test(k)) byte |= 0x80u >> (k - i);
    }
    out_.u8(byte);
  }
}

void Type2Encoder::move(const PathOp& path) {
  width();
  if (isZero(path.d[1])) {
    number(path.d[0]);
    op(hmoveto);
  } else if (isZero(path.d[0])) {
    number(path.d[1]);
    op(vmoveto);
  } else {
    number(path.d[0]);
    number(path.d[1]);
    op(rmoveto);
  }
}

void Type2Encoder::flex(const PathOp& first, const PathOp& second) {
  const std::array<double, 6>&a = first.d, &b = second.d;
  const double dy = a[1] + a[3] + a[5] + b[1] + b[3] + b[5];
  const bool level = isZero(a[5]) && isZero(b[1]) && first.flexDepth == 50 && isZero(dy);
  if (level && isZero(a[1]) && isZero(b[5])) {
    for (const double v : {a[0], a[2], a[3], a[4], b[0], b[2], b[4]}) number(v);
    op(12);
    op(34);
  } else if (level) {
    for (const double v : {a[0], a[1], a[2], a[3], a[4], b[0], b[2], b[3], b[4]}) number(v);
    op(12);
    op(36);
  } else {
    for (const double v : a) number(v);
    for (const double v : b) number(v);
    number(first.flexDepth);
    op(12);
    op(35);
  }
}

// Numbers that operator code would need for segment k of a run, written to sink. False where the segment does not suit.
// last tells whether the run ends here, which alternating curves need to know.
template <typename Sink>
bool numbersOf(const PathOp& segment, std::size_t k, bool last, int code, Sink&& sink) {
  const std::array<double, 6>& d = segment.d;
  const bool line = segment.kind == PathKind::line;
  switch (code) {
    case rlineto:
      if (!line) return false;
      sink(d[0]);
      sink(d[1]);
      return true;
    case hlineto:
    case vlineto: {
      if (!line) return false;
      const bool horizontal = (code == hlineto) == (k % 2 == 0);
      if (!isZero(horizontal ? d[1] : d[0])) return false;
      sink(horizontal ? d[0] : d[1]);
      return true;
    }
    case rrcurveto:
      if (line) return false;
      for (const double v : d) sink(v);
      return true;
    case hhcurveto:
      if (line || !isZero(d[5]) || (k > 0 && !isZero(d[1]))) return false;
      if (k == 0 && !isZero(d[1])) sink(d[1]);
      for (const double v : {d[0], d[2], d[3], d[4]}) sink(v);
      return true;
    case vvcurveto:
      if (line || !isZero(d[4]) || (k > 0 && !isZero(d[0]))) return false;
      if (k == 0 && !isZero(d[0])) sink(d[0]);
      for (const double v : {d[1], d[2], d[3], d[5]}) sink(v);
      return true;
    case hvcurveto:
    case vhcurveto: {
      if (line) return false;
      const bool horizontal = (code == hvcurveto) == (k % 2 == 0);
      if (!isZero(horizontal ? d[1] : d[0])) return false;
      const double extra = horizontal ? d[4] : d[5];
      if (!isZero(extra) && !last) return false;
      sink(horizontal ? d[0] : d[1]);
      sink(d[2]);
      sink(d[3]);
      sink(horizontal ? d[5] : d[4]);
      if (!isZero(extra)) sink(extra);
      return true;
    }
    case rcurveline:  // curves, then one line
      if (last != line || (last && k == 0)) return false;
      for (std::size_t i = 0; i < (line ? 2u : 6u); ++i) sink(d[i]);
      return true;
    case rlinecurve:  // lines, then one curve
      if (last == line || (last && k == 0)) return false;
      for (std::size_t i = 0; i < (line ? 2u : 6u); ++i) sink(d[i]);
      return true;
    default:
      return false;
  }
}

constexpr int kPathOperators[] = {rlineto,   hlineto,   vlineto,   rrcurveto,  hhcurveto,
                                  vvcurveto, hvcurveto, vhcurveto, rcurveline, rlinecurve};

void Type2Encoder::write(Segments run, int code) {
  for (std::size_t k = 0; k < run.size(); ++k) {
    numbersOf(run[k], k, k + 1 == run.size(), code, [&](double v) { number(v); });
  }
  op(code);
}

void Type2Encoder::segments(Segments run) {
  struct Step {
    std::size_t cost = std::numeric_limits<std::size_t>::max();
    std::size_t from = 0;
    int code = 0;
  };
  std::vector<Step> best(run.size() + 1);
  best[0].cost = 0;
  for (std::size_t i = 0; i < run.size(); ++i) {
    for (const int code : kPathOperators) {
      std::size_t size = 0, held = 0;
      const auto measure = [&](double v) {
        size += numberSize(v);
        ++held;
      };
      for (std::size_t j = i; j < run.size(); ++j) {
        // Offer the run that ends with segment j, then try to go on past it.
        const std::size_t sizeBefore = size, heldBefore = held;
        if (numbersOf(run[j], j - i, true, code, measure) && held <= kStackLimit) {
          const std::size_t cost = best[i].cost + size + 1;
          if (cost < best[j + 1].cost) best[j + 1] = {cost, i, code};
        }
        size = sizeBefore;
        held = heldBefore;
        if (!numbersOf(run[j], j - i, false, code, measure) || held > kStackLimit) break;
      }
    }
  }
  std::vector<std::size_t> ends;
  for (std::size_t at = run.size(); at > 0; at = best[at].from) ends.push_back(at);
  std::reverse(ends.begin(), ends.end());
  for (const std::size_t end : ends) {
    write(run.subspan(best[end].from, end - best[end].from), best[end].code);
  }
}

Result<Bytes> Type2Encoder::encode() {
  if (glyph_.horizontalStems.size() + glyph_.verticalStems.size() > kMaxStems) {
    return Error{ErrorKind::unsupported, "charstring: too many stem hints"};
  }
  const std::vector<PathOp>& path = glyph_.path;
  const auto isMask = [](const PathOp& p) {
    return p.kind == PathKind::hintMask || p.kind == PathKind::counterMask;
  };
  const bool masked = std::any_of(path.begin(), path.end(), isMask);
  stemNumbers(glyph_.horizontalStems, masked ? hstemhm : hstem, false);
  // A mask right after the vertical stems says by itself that they are stems.
  stemNumbers(glyph_.verticalStems, masked ? vstemhm : vstem, masked && isMask(path.front()));

  for (std::size_t i = 0; i < path.size();) {
    if (isMask(path[i])) {
      mask(path[i++]);
    } else if (path[i].kind == PathKind::move) {
      move(path[i++]);
    } else if (path[i].flexDepth != 0 && i + 1 < path.size() && path[i + 1].kind == PathKind::curve) {
      width();
      flex(path[i], path[i + 1]);
      i += 2;
    } else {
      width();
      std::size_t end = i + 1;
      while (end < path.size() && !isMask(path[end]) && path[end].kind != PathKind::move &&
             path[end].flexDepth == 0) {
        ++end;
      }
      segments(Segments(path).subspan(i, end - i));
      i = end;
    }
  }
  width();
  if (glyph_.accent) {
    number(glyph_.accent->dx);
    number(glyph_.accent->dy);
    number(glyph_.accent->base);
    number(glyph_.accent->accent);
  }
  op(endchar);
  if (!fits_) return Error{ErrorKind::unsupported, "charstring: a number is too large"};
  return out_.take();
}

}  // namespace

Result<Bytes> encodeType2(const Glyph& glyph, double defaultWidth, double nominalWidth) {
  return Type2Encoder(glyph, defaultWidth, nominalWidth).encode();
}

}  // namespace optimizer::font
