// A PostScript glyph, apart from how Type 1 or Type 2 charstrings spell it. Both kinds are read into this form and
// Type 2 charstrings are written from it, so conversion, subsetting and comparison share one representation.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer::font {

constexpr std::size_t kMaxStems = 96;  // Adobe Technical Note 5177, appendix B
using StemMask = std::bitset<kMaxStems>;

// A stem hint: its lower or left edge from the glyph's origin, and its width (negative for the edge hints -20, -21).
struct Stem {
  double edge = 0;
  double width = 0;
  bool operator==(const Stem&) const = default;
};

enum class PathKind : std::uint8_t { move, line, curve, hintMask, counterMask };

struct PathOp {
  PathKind kind = PathKind::move;
  // A curve that makes one flex with the curve after it: the flex depth in hundredths of a pixel. 0: no flex.
  std::uint8_t flexDepth = 0;
  // Distances, each from the point before: {dx, dy} of a move or line, three pairs of a curve.
  std::array<double, 6> d{};
  // Masks only: horizontal stems first, then the vertical ones.
  StemMask mask;
  bool operator==(const PathOp&) const = default;
};

// An accented character made of two others, by their codes in the standard encoding; the accent is moved by (dx, dy).
struct Accent {
  double dx = 0, dy = 0;
  std::uint8_t base = 0, accent = 0;
  bool operator==(const Accent&) const = default;
};

// One glyph. Contours are closed implicitly.
struct Glyph {
  double width = 0;
  std::vector<Stem> horizontalStems, verticalStems;
  std::vector<PathOp> path;
  std::optional<Accent> accent;
  bool operator==(const Glyph&) const = default;
};

// How much interpreting one font may cost. Hostile charstrings call subroutines that call subroutines: the steps are
// counted for the font as a whole.
struct CharstringBudget {
  std::size_t steps = 30'000'000;
  bool spend() { return steps > 0 && --steps > 0; }
};

// Makes the path canonical: moves that follow each other become one, a last move without a line goes, and a line that
// only closes a contour is left to the closing itself. The filled and stroked shape stays the same.
void normalizePath(Glyph& glyph);

// Subroutines of a Type 2 charstring, unbiased.
struct Type2Context {
  std::span<const ByteView> globalSubrs;
  std::span<const ByteView> localSubrs;
  double defaultWidth = 0;  // defaultWidthX of the private dictionary
  double nominalWidth = 0;  // nominalWidthX
};

// Interprets a Type 2 charstring (Adobe Technical Note 5177). Errors: damaged, unsupported (random), limit.
Result<Glyph> decodeType2(ByteView charstring, const Type2Context& context, CharstringBudget& budget);

// Spells a glyph as a Type 2 charstring without subroutines, in the fewest bytes. Errors: unsupported (a number does not
// fit, or too many stems).
Result<Bytes> encodeType2(const Glyph& glyph, double defaultWidth, double nominalWidth);

// What a Type 1 charstring needs of its font: decrypted subroutines, and the weights of a multiple master instance.
struct Type1Context {
  std::span<const ByteView> subrs;
  std::span<const double> weights;
};

// Interprets a decrypted Type 1 charstring (Adobe Type 1 Font Format, chapters 6 to 8). Hint replacement becomes hint
// masks, flex stays flex, seac an accent. Errors: damaged, unsupported (unknown OtherSubrs), limit.
Result<Glyph> decodeType1(ByteView charstring, const Type1Context& context, CharstringBudget& budget);

}  // namespace optimizer::font
