// Widths of CID fonts in PDF (ISO 32000-1, 9.7.4.3): the array W and its default DW, free of the PDF library.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace optimizer::font {

// One entry of W: CIDs from first on with a width each, or first to last with the same width.
struct CidWidthRun {
  std::uint32_t first = 0, last = 0;
  std::vector<double> widths;  // one for each CID, or one for all
};

// Widths of the given CIDs where the runs name them. Nothing else is looked at; bounded by the sizes of both.
// False where two runs give one of the CIDs different widths, which viewers settle differently, or there are
// too many.
bool widthsOf(const std::vector<CidWidthRun>& runs, const std::set<std::uint32_t>& cids,
              std::map<std::uint32_t, double>& widths);

// Neighbours whose text is the same become one run, across CIDs that are not mentioned; added in ascending order.
class CidTextRuns {
 public:
  struct Run {
    std::uint32_t first, last;
    std::string text;
  };

  void add(std::uint32_t cid, std::string text);
  // What comes is not joined with what was: between them stands a CID that takes the default.
  void breakOff() { broken_ = true; }
  const std::vector<Run>& runs() const { return runs_; }

 private:
  std::vector<Run> runs_;
  bool broken_ = true;
};

struct CidWidthText {
  std::string array;  // PDF syntax, "[]" where the default says everything
  double defaultWidth = 1000;  // an integer
};

// Rounded widths have two decimal places at most: a hundredth of a thousandth of the font size is not seen. But viewers
// draw glyphs on a grid of some steps a pixel, and one that lies between two steps may take the other.
enum class WidthDigits : std::uint8_t { rounded, all };

// The shortest spelling of the widths of exactly these CIDs; what others get is of no matter.
CidWidthText spellWidths(const std::map<std::uint32_t, double>& widths, WidthDigits digits = WidthDigits::rounded);

// A number as PDF writes it.
std::string widthText(double width, WidthDigits digits = WidthDigits::rounded);

}  // namespace optimizer::font
