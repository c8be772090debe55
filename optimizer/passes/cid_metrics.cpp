#include "optimizer/passes/cid_metrics.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace optimizer {
namespace {

constexpr int kMostNumbers = 200'000;

std::optional<std::uint32_t> cidAt(QPDFObjectHandle array, int place) {
  QPDFObjectHandle item = array.getArrayItem(place);
  if (!item.isInteger() || item.getIntValue() < 0 || item.getIntValue() > 65535) return std::nullopt;
  return static_cast<std::uint32_t>(item.getIntValue());
}

// The entries of W (each CID has one number) or W2 (it has three), with all numbers of a run; nothing where
// the array is not as it should be.
std::optional<std::vector<font::CidWidthRun>> readRuns(QPDFObjectHandle array, int each) {
  std::vector<font::CidWidthRun> runs;
  int total = 0;
  const int count = array.getArrayNItems();
  for (int i = 0; i + 1 < count;) {
    font::CidWidthRun run;
    const auto first = cidAt(array, i);
    if (!first) return std::nullopt;
    run.first = run.last = *first;
    QPDFObjectHandle numbers = array.getArrayItem(i + 1);
    int from = 0, until = 0;
    if (numbers.isArray()) {
      until = numbers.getArrayNItems();
      if (until % each != 0) return std::nullopt;
      if (until > 0) run.last = *first + static_cast<std::uint32_t>(until / each) - 1;
      i += 2;
    } else {
      const auto last = cidAt(array, i + 1);
      if (!last || *last < *first || i + 2 + each > count) return std::nullopt;
      run.last = *last;
      numbers = array;
      from = i + 2;
      until = i += 2 + each;
    }
    if ((total += until - from + 1) > kMostNumbers) return std::nullopt;
    for (int k = from; k < until; ++k) {
      QPDFObjectHandle number = numbers.getArrayItem(k);
      if (!number.isNumber()) return std::nullopt;
      run.widths.push_back(number.getNumericValue());
    }
    runs.push_back(std::move(run));
  }
  return runs;
}

using Metrics = std::array<double, 3>;  // displacement downwards, and the place of the vertical origin

// Those of the given CIDs; nothing where runs disagree or there are too many.
std::optional<std::map<std::uint32_t, Metrics>> metricsOf(const std::vector<font::CidWidthRun>& runs,
                                                          const std::set<std::uint32_t>& cids) {
  std::map<std::uint32_t, Metrics> found;
  int steps = 0;
  for (const font::CidWidthRun& run : runs) {
    const std::vector<double>& numbers = run.widths;
    if (numbers.empty()) continue;
    for (auto cid = cids.lower_bound(run.first); cid != cids.end() && *cid <= run.last; ++cid) {
      if (++steps > kMostNumbers) return std::nullopt;
      const std::size_t at = numbers.size() == 3 ? 0 : std::size_t{3} * (*cid - run.first);
      const Metrics metrics = {numbers[at], numbers[at + 1], numbers[at + 2]};
      if (found.emplace(*cid, metrics).first->second != metrics) return std::nullopt;
    }
  }
  return found;
}

// Equal neighbours become one run, across CIDs that nothing shows; the rest stand in lists.
std::string spell(const std::map<std::uint32_t, Metrics>& metrics, const std::set<std::uint32_t>& cids,
                  font::WidthDigits digits) {
  font::CidTextRuns items;
  for (const std::uint32_t cid : cids) {
    const auto at = metrics.find(cid);
    if (at == metrics.end()) {
      items.breakOff();
      continue;
    }
    std::string text;
    for (const double number : at->second) text += (text.empty() ? "" : " ") + font::widthText(number, digits);
    items.add(cid, std::move(text));
  }
  std::string out = "[";
  bool inList = false;
  std::uint32_t next = 0;  // the CID after the open list
  for (const font::CidTextRuns::Run& item : items.runs()) {
    if (inList && item.first == item.last && next == item.first) {
      out += ' ' + item.text;
      ++next;
      continue;
    }
    if (inList) out += ']';
    inList = item.first == item.last;
    next = item.first + 1;
    if (out.back() != '[' && out.back() != ']') out += ' ';
    out += std::to_string(item.first);
    out += inList ? '[' + item.text : ' ' + std::to_string(item.last) + ' ' + item.text;
  }
  if (inList) out += ']';
  return out + ']';
}

bool remove(QPDFObjectHandle dictionary, const char* key) {
  if (!dictionary.hasKey(key)) return false;
  dictionary.removeKey(key);
  return true;
}

}  // namespace

bool trimCidWidths(QPDFObjectHandle holder, const std::set<std::uint32_t>& cids, font::WidthDigits digits) {
  QPDFObjectHandle old = holder.getKey("/W"), usual = holder.getKey("/DW");
  if (!old.isArray()) return false;
  if (!usual.isNull() && !usual.isInteger()) return false;  // viewers disagree on others
  const auto runs = readRuns(old, 1);
  std::map<std::uint32_t, double> widths;
  if (!runs || !font::widthsOf(*runs, cids, widths)) return false;
  for (const std::uint32_t cid : cids) widths.emplace(cid, usual.isNull() ? 1000 : usual.getNumericValue());
  const font::CidWidthText text = font::spellWidths(widths, digits);
  QPDFObjectHandle fresh = QPDFObjectHandle::parse(text.array);
  if (fresh.unparse().size() >= old.unparseResolved().size()) return false;
  if (text.array == "[]") {
    holder.removeKey("/W");
  } else {
    holder.replaceKey("/W", fresh);
  }
  if (text.defaultWidth == 1000) {
    holder.removeKey("/DW");
  } else {
    holder.replaceKey("/DW", QPDFObjectHandle::parse(font::widthText(text.defaultWidth)));
  }
  return true;
}

bool trimVerticalMetrics(QPDFObjectHandle holder, const std::set<std::uint32_t>& cids, bool upright,
                         font::WidthDigits digits) {
  if (!upright) {
    const bool any = remove(holder, "/W2");
    return remove(holder, "/DW2") || any;
  }
  QPDFObjectHandle old = holder.getKey("/W2");
  if (!old.isArray()) return false;
  const auto runs = readRuns(old, 3);
  if (!runs) return false;
  const auto metrics = metricsOf(*runs, cids);
  if (!metrics) return false;
  if (metrics->empty()) return remove(holder, "/W2");
  QPDFObjectHandle fresh = QPDFObjectHandle::parse(spell(*metrics, cids, digits));
  if (fresh.unparse().size() >= old.unparseResolved().size()) return false;
  holder.replaceKey("/W2", fresh);
  return true;
}

}  // namespace optimizer
