#include "optimizer/font/cid_widths.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxSteps = 4'000'000;
constexpr std::uint32_t kGapWorthFilling = 2;  // a wider one costs more than a new entry
constexpr std::uint32_t kRunWorthNaming = 4;   // shorter ones are briefer in a list

}  // namespace

bool widthsOf(const std::vector<CidWidthRun>& runs, const std::set<std::uint32_t>& cids,
              std::map<std::uint32_t, double>& widths) {
  std::size_t steps = 0;
  for (const CidWidthRun& run : runs) {
    if (run.widths.empty()) continue;
    const std::uint32_t last =
        run.widths.size() == 1 ? run.last : run.first + static_cast<std::uint32_t>(run.widths.size()) - 1;
    for (auto cid = cids.lower_bound(run.first); cid != cids.end() && *cid <= last; ++cid) {
      if (++steps > kMaxSteps) return false;
      const double width = run.widths[run.widths.size() == 1 ? 0 : *cid - run.first];
      if (widths.emplace(*cid, width).first->second != width) return false;
    }
  }
  return true;
}

std::string widthText(double width, WidthDigits digits) {
  std::array<char, 64> buffer{};
  char* const limit = buffer.data() + buffer.size();
  const bool all = digits == WidthDigits::all;
  const double value = all ? width : std::round(width * 100) / 100;
  if (!(std::abs(value) < 1e9)) return "0";
  auto end = std::to_chars(buffer.data(), limit, value, std::chars_format::fixed);
  // Numbers of very many digits are none that a program for fonts wrote.
  if (!all || end.ec != std::errc()) end = std::to_chars(buffer.data(), limit, value, std::chars_format::fixed, all ? 9 : 2);
  std::string text(buffer.data(), end.ptr);
  if (text.find('.') != std::string::npos) text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  if (text == "-0" || text.empty()) return "0";
  if (text.rfind("0.", 0) == 0) return text.substr(1);
  return text;
}

void CidTextRuns::add(std::uint32_t cid, std::string text) {
  if (!broken_ && runs_.back().text == text) {
    runs_.back().last = cid;
  } else {
    runs_.push_back({cid, cid, std::move(text)});
  }
  broken_ = false;
}

CidWidthText spellWidths(const std::map<std::uint32_t, double>& widths, WidthDigits digits) {
  CidWidthText result;
  // DW is a number, but some viewers take only an integer there (poppler 22.12).
  std::map<std::string, std::size_t> counts = {{"1000", 0}};
  for (const auto& [cid, width] : widths) {
    const std::string text = widthText(width, digits);
    if (text.find('.') == std::string::npos) ++counts[text];
  }
  const auto common = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
  const std::string usual = common->first;
  (void)std::from_chars(usual.data(), usual.data() + usual.size(), result.defaultWidth);

  CidTextRuns items;
  for (const auto& [cid, width] : widths) {
    std::string text = widthText(width, digits);
    if (text == usual) {
      items.breakOff();
    } else {
      items.add(cid, std::move(text));
    }
  }
  std::string out = "[";
  bool inList = false;
  std::uint32_t next = 0;  // the CID after the open list
  const auto separate = [&] {
    if (out.back() != '[' && out.back() != ']') out += ' ';
  };
  for (const CidTextRuns::Run& item : items.runs()) {
    if (item.last - item.first + 1 >= kRunWorthNaming) {
      if (inList) out += ']';
      inList = false;
      separate();
      out += std::to_string(item.first) + ' ' + std::to_string(item.last) + ' ' + item.text;
      continue;
    }
    if (inList && item.first - next <= kGapWorthFilling) {
      for (; next < item.first; ++next) out += ' ' + usual;
      out += ' ' + item.text;
    } else {
      if (inList) out += ']';
      separate();
      out += std::to_string(item.first) + '[' + item.text;
      inList = true;
    }
    for (next = item.first + 1; next <= item.last; ++next) out += ' ' + item.text;
  }
  if (inList) out += ']';
  result.array = out + ']';
  return result;
}

}  // namespace optimizer::font
