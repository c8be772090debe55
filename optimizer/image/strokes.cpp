#include "optimizer/image/strokes.h"

#include <algorithm>
#include <numeric>

#include "optimizer/image/score_windows.h"

namespace optimizer {
namespace {

constexpr std::uint32_t window = 7;
constexpr float samples = window * window;
// Grain is what the calmer half of the page has; a stroke's variance is above so many times that, and above
// what an eye finds on white paper.
constexpr double calm = 0.3;
constexpr float aboveGrain = 7, visible = 5;
// Beside a strong edge an eye does not see a weak one: so many places away, below this share of its variance.
constexpr std::size_t masking = 3;
constexpr float masked = 0.01f;
// Share of the contrast that must be followed.
constexpr float followed = 0.5f;
// Of the 144 places of a cell: a line through it has 40, a comma 12. Less is grain that happens to look like
// a stroke.
constexpr std::uint32_t lostPlaces = 14;

// Exact up to 9 * 255 + 4, and in 16 bits.
OPTIMIZER_LOOP inline std::uint8_t ninth(std::uint16_t sum) {
  return static_cast<std::uint8_t>(sum * 7282u >> 16);
}

// Means over 3 by 3 pixels, which leave strokes and take most of the grain.
Pixels smoothed(const Pixels& grey) {
  Pixels out(grey.width(), grey.height(), 1, ColorKind::grey);
  const std::uint32_t w = grey.width(), h = grey.height();
  std::vector<std::uint16_t> columns(w);
  for (std::uint32_t y = 0; y < h; ++y) {
    const std::uint8_t *above = grey.row(y > 0 ? y - 1 : 0), *row = grey.row(y),
                       *below = grey.row(std::min(y + 1, h - 1));
    std::uint8_t* to = out.row(y);
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint16_t* sums = columns.data();
      for (std::uint32_t x = 0; x < w; ++x)
        sums[x] = static_cast<std::uint16_t>(above[x] + row[x] + below[x]);
      for (std::uint32_t x = 1; x + 1 < w; ++x)
        to[x] = ninth(static_cast<std::uint16_t>(sums[x - 1] + sums[x] + sums[x + 1] + 4));
    });
    to[0] = to[1];
    to[w - 1] = to[w - 2];
  }
  return out;
}

// Calls row(first window row, variances of a, covariances) for each row of windows.
template <typename Row>
void windowRows(const Pixels& a, const Pixels& b, Row row) {
  const std::size_t across = (a.width() - window) / windowStep + 1;
  WindowSums columns(a.width()), windows(across);
  std::vector<float> variance(across), covariance(across);
  for (std::uint32_t y = 0; y < a.height(); ++y) {
    addRow(columns, a.row(y), b.row(y), 1);
    if (y >= window) addRow(columns, a.row(y - window), b.row(y - window), -1);
    if (y + 1 < window || (y + 1 - window) % windowStep != 0) continue;
    slide(columns.a, window, windows.a);
    slide(columns.b, window, windows.b);
    slide(columns.aa, window, windows.aa);
    slide(columns.ab, window, windows.ab);
    vectorised([&]() OPTIMIZER_LOOP {
      const std::int32_t *sa = windows.a.data(), *sb = windows.b.data(), *saa = windows.aa.data(),
                         *sab = windows.ab.data();
      float *va = variance.data(), *cov = covariance.data();
      constexpr auto m = static_cast<std::int32_t>(samples);
      for (std::size_t i = 0; i < across; ++i) {
        va[i] = static_cast<float>(m * saa[i] - sa[i] * sa[i]) / (samples * samples);
        cov[i] = static_cast<float>(m * sab[i] - sa[i] * sb[i]) / (samples * samples);
      }
    });
    row(y + 1 - window, variance, covariance);
  }
}

// The largest value within `reach` places each way.
void spreadMaximum(std::vector<float>& values, std::size_t across, std::size_t reach) {
  const std::size_t down = values.size() / across;
  std::vector<float> before(values.size());
  for (std::size_t step = 1; reach > 0; reach -= step) {
    step = std::min(reach, step * 2);
    before = values;
    for (std::size_t y = 0; y < down; ++y)
      for (std::size_t x = 0; x < across; ++x) {
        const float* at = before.data() + y * across + x;
        values[y * across + x] =
            std::max({at[0], x >= step ? *(at - step) : 0, x + step < across ? at[step] : 0});
      }
    before = values;
    for (std::size_t y = 0; y < down; ++y)
      for (std::size_t x = 0; x < across; ++x) {
        const float* at = before.data() + y * across + x;
        values[y * across + x] =
            std::max({at[0], y >= step ? *(at - step * across) : 0, y + step < down ? at[step * across] : 0});
      }
  }
}

}  // namespace

StrokeReference::StrokeReference(const Pixels& grey)
    : smooth_(smoothed(grey)), across_((grey.width() - window) / windowStep + 1) {
  constexpr std::size_t bins = 4000;
  constexpr float perLevel = 8;
  std::vector<std::uint32_t> histogram(bins);
  std::vector<float> all;
  windowRows(smooth_, smooth_,
             [&](std::uint32_t, const std::vector<float>& variance, const std::vector<float>&) {
               for (const float v : variance)
                 ++histogram[std::min(bins - 1, static_cast<std::size_t>(v * perLevel))];
               all.insert(all.end(), variance.begin(), variance.end());
             });
  const auto wanted = static_cast<std::uint64_t>(calm * static_cast<double>(all.size()));
  std::size_t bin = 0;
  for (std::uint64_t seen = histogram[0]; seen < wanted && bin + 1 < bins;) seen += histogram[++bin];
  const float least = std::max(visible, aboveGrain * (static_cast<float>(bin) + 0.5f) / perLevel);
  variance_ = all;
  spreadMaximum(all, across_, masking);
  for (std::size_t i = 0; i < all.size(); ++i)
    if (variance_[i] <= std::max(least, masked * all[i])) variance_[i] = 0;
}

CellGrid StrokeReference::compare(const Pixels& shown) const {
  CellGrid grid;
  grid.across = (smooth_.width() + cell - 1) / cell;
  grid.down = (smooth_.height() + cell - 1) / cell;
  std::vector<std::uint32_t> places(std::size_t{grid.across} * grid.down);
  const float* strokes = variance_.data();
  windowRows(smooth_, smoothed(shown),
             [&](std::uint32_t y, const std::vector<float>&, const std::vector<float>& covariance) {
               std::uint32_t* row = places.data() + std::size_t{(y + window / 2) / cell} * grid.across;
               for (std::size_t i = 0; i < across_; ++i)
                 if (strokes[i] > 0 && covariance[i] < followed * strokes[i])
                   ++row[(i * windowStep + window / 2) / cell];
               strokes += across_;
             });
  grid.cells.resize(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) grid.cells[i] = places[i] >= lostPlaces;
  return grid;
}

}  // namespace optimizer
