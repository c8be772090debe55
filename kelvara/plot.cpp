#include "kelvara/plot.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "kelvara/json.h"
#include "kelvara/sizes.h"

namespace kelvara {
namespace {

std::string day(const Snapshot& snapshot, platform::Formatting& formatting) {
  return formatting.date(platform::TimePoint(std::chrono::seconds(snapshot.time)), "yyyy-MM-dd");
}

double most(const std::vector<Snapshot>& history) {
  double largest = 0;
  for (const Snapshot& snapshot : history) largest = std::max(largest, snapshot.saved());
  return largest;
}

// 1, 2 or 5 times a power of ten, not below value.
double roundStep(double value) {
  const double power = std::pow(10.0, std::floor(std::log10(value)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= value) return factor * power;
  }
  return 10 * power;
}

constexpr double width = 720;
constexpr double height = 320;
constexpr double left = 90;
constexpr double right = 20;
constexpr double top = 40;
constexpr double bottom = 40;

std::string text(double x, double y, const char* anchor, const std::string& content) {
  return "<text x=\"" + jsonNumber(x) + "\" y=\"" + jsonNumber(y) + "\" text-anchor=\"" + anchor + "\">" +
         content + "</text>\n";
}

}  // namespace

std::string plotAsText(const std::vector<Snapshot>& history, platform::Formatting& formatting) {
  std::map<std::string, double> savedByDay;  // the last of each day
  for (const Snapshot& snapshot : history) savedByDay[day(snapshot, formatting)] = snapshot.saved();
  constexpr double longestBar = 40;
  const double largest = most(history);
  std::string plot;
  for (const auto& [date, saved] : savedByDay) {
    std::string size = readableSize(saved);
    size.insert(0, size.size() < 10 ? 10 - size.size() : 0, ' ');
    const double share = largest > 0 ? std::max(saved, 0.0) / largest : 0;
    plot += date + "  " + size + "  ";
    for (int block = 0; block < static_cast<int>(std::lround(share * longestBar)); ++block) plot += "█";
    plot += "\n";
  }
  return plot;
}

std::string plotAsSvg(const std::vector<Snapshot>& history, platform::Formatting& formatting) {
  const double largest = std::max(most(history), 1.0);
  const double step = roundStep(largest / 4);
  const double ceiling = std::ceil(largest / step) * step;
  const double first = history.empty() ? 0 : static_cast<double>(history.front().time);
  const double span = history.empty() ? 1 : std::max(1.0, static_cast<double>(history.back().time) - first);
  const auto x = [&](double time) { return left + (time - first) / span * (width - left - right); };
  const auto y = [&](double saved) { return height - bottom - saved / ceiling * (height - top - bottom); };

  std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + jsonNumber(width) + " " +
                    jsonNumber(height) + "\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#333\">\n";
  svg += "<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
  svg += text(left, 24, "start", "Saved by kelv so far");
  for (double level = 0; level <= ceiling * 1.001; level += step) {
    svg += "<path d=\"M" + jsonNumber(left) + " " + jsonNumber(y(level)) + "H" + jsonNumber(width - right) +
           "\" stroke=\"#ddd\"/>\n";
    svg += text(left - 8, y(level) + 4, "end", readableSize(level));
  }
  // The totals stay as they are until the next snapshot, so the line goes in steps.
  std::string line;
  for (const Snapshot& snapshot : history) {
    const std::string atX = jsonNumber(x(static_cast<double>(snapshot.time)));
    const std::string atY = jsonNumber(y(std::max(snapshot.saved(), 0.0)));
    line += line.empty() ? "M" + atX + " " + atY : "H" + atX + "V" + atY;
  }
  svg += "<path d=\"" + line + "\" fill=\"none\" stroke=\"#2b6cb0\" stroke-width=\"2\"/>\n";
  if (!history.empty()) {
    svg += text(left, height - 14, "start", day(history.front(), formatting));
    svg += text(width - right, height - 14, "end", day(history.back(), formatting));
  }
  return svg + "</svg>\n";
}

}  // namespace kelvara
