#include "optimizer/image/mrc_compose.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "optimizer/base/vectorised.h"
#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/resample.h"

namespace optimizer {
namespace {

// Shares are of 256.
struct Tap {
  std::uint32_t first, second;
  std::uint16_t share;  // of the second
};

std::vector<Tap> tapsOf(std::uint32_t from, double begin, double end, std::uint32_t to) {
  std::vector<Tap> taps(to);
  for (std::uint32_t i = 0; i < to; ++i) {
    const double place =
        std::clamp((begin + (i + 0.5) / to * (end - begin)) * from - 0.5, 0.0, static_cast<double>(from - 1));
    const auto first = static_cast<std::uint32_t>(place);
    taps[i] = {first, std::min(first + 1, from - 1), static_cast<std::uint16_t>((place - first) * 256)};
  }
  return taps;
}

bool noneOfEight(const std::uint8_t* samples) {
  std::uint64_t eight = 0;
  std::memcpy(&eight, samples, sizeof eight);
  return eight == 0;
}

// wanted: where a sample of it is not 0; null for everywhere. Others may be left as they are.
template <unsigned N>
void mixAcross(const std::uint16_t* row, const std::vector<Tap>& columns, const std::uint8_t* wanted,
               std::uint8_t* to) {
  for (std::size_t x = 0; x < columns.size(); ++x) {
    if (wanted != nullptr && x % 8 == 0 && x + 8 <= columns.size() && noneOfEight(wanted + x)) {
      x += 7;
      to += 8 * N;
      continue;
    }
    const Tap& tap = columns[x];
    const std::uint16_t *first = row + std::size_t{tap.first} * N,
                        *second = row + std::size_t{tap.second} * N;
    const std::uint32_t share = tap.share;
    for (unsigned c = 0; c < N; ++c)
      to[c] = static_cast<std::uint8_t>((first[c] * (256 - share) + second[c] * share + 32768) >> 16);
    to += N;
  }
}

// 0 to 255 mixed with the weight c of 255.
inline std::uint8_t mixed(unsigned below, unsigned above, unsigned c) {
  const unsigned sum = below * (255 - c) + above * c + 128;
  return static_cast<std::uint8_t>((sum + (sum >> 8)) >> 8);
}

Pixels reducedTo(const Pixels& pixels, std::uint32_t width, std::uint32_t height, Reduction reduction) {
  return reduction == Reduction::area ? areaAverage(pixels, width, height)
                                      : blockAverage(pixels, width, height);
}

}  // namespace

Pixels enlargedPart(const Pixels& picture, const PagePart& part, std::uint32_t width, std::uint32_t height,
                    const Pixels* where) {
  const std::vector<Tap> columns = tapsOf(picture.width(), part.left, part.right, width),
                         rows = tapsOf(picture.height(), part.top, part.bottom, height);
  const unsigned n = picture.channels();
  Pixels out(width, height, n, picture.kind());
  std::vector<std::uint16_t> mix(picture.stride());
  for (std::uint32_t y = 0; y < height; ++y) {
    vectorised([&]() OPTIMIZER_LOOP {
      const std::uint8_t *above = picture.row(rows[y].first), *below = picture.row(rows[y].second);
      const unsigned share = rows[y].share;
      std::uint16_t* to = mix.data();
      for (std::size_t i = 0; i < mix.size(); ++i)
        to[i] = static_cast<std::uint16_t>(above[i] * (256 - share) + below[i] * share);
    });
    const std::uint8_t* wanted = where != nullptr ? where->row(y) : nullptr;
    if (n == 3) {
      mixAcross<3>(mix.data(), columns, wanted, out.row(y));
    } else {
      mixAcross<1>(mix.data(), columns, wanted, out.row(y));
    }
  }
  return out;
}

Pixels coverageIn(const Bitonal& picture, std::uint32_t width, std::uint32_t height, Reduction reduction) {
  Pixels coverage = reducedTo(expandTo8Bits(pixelsOf(picture)), width, height, reduction);
  for (std::uint8_t& sample : coverage.samples()) sample = static_cast<std::uint8_t>(255 - sample);
  return coverage;
}

Pixels paperUnder(const Pixels& view, const Pixels& coverage, const Pixels& colors, const PagePart& part,
                  const Pixels* hidden) {
  constexpr std::uint8_t mostlyInk = 120;
  constexpr float leastPaper = 0.05f;
  const Pixels ink = enlargedPart(colors, part, view.width(), view.height(), &coverage);
  Pixels out(view.width(), view.height(), view.channels(), view.kind());
  for (unsigned c = 0; c < view.channels(); ++c) {
    WeightedPlane paper{channelOf(view, c), Plane(view.width(), view.height())};
    for (std::size_t i = 0; i < coverage.samples().size(); ++i) {
      const std::uint8_t covered = coverage.samples()[i];
      paper.weights.values[i] =
          covered < mostlyInk && (hidden == nullptr || hidden->samples()[i] == 0) ? 1.0f : 0.0f;
      if (covered == 0) continue;
      const float share = static_cast<float>(covered) / 255;
      float& value = paper.values.values[i];
      value = std::clamp(
          (value - share * ink.samples()[i * view.channels() + c]) / std::max(1 - share, leastPaper), 0.0f,
          255.0f);
    }
    fillGaps(paper);
    putChannel(paper.values, out, c);
  }
  return out;
}

Composer::Composer(const Bitonal& ink, std::uint32_t width, std::uint32_t height, Reduction reduction)
    : reduction_(reduction), coverage_(coverageIn(ink, width, height, reduction)) {}

void Composer::setInk(const Pixels& colors) {
  ink_ = enlargedPart(colors, {}, width(), height(), &coverage_);
}

void Composer::keep(const Pixels& page, std::vector<PagePart> parts) {
  kept_ = std::move(parts);
  page_ = kept_.empty() ? Pixels() : reducedTo(page, width(), height(), reduction_);
}

Pixels Composer::compose(const Pixels& paper) const {
  Pixels page = paper.width() == width() && paper.height() == height()
                    ? paper
                    : enlargedPart(paper, {}, width(), height());
  const unsigned n = page.channels();
  const std::uint8_t* shares = coverage_.samples().data();
  for (std::size_t i = 0, count = coverage_.samples().size(); i < count; ++i) {
    if (i % 8 == 0 && i + 8 <= count && noneOfEight(shares + i)) {
      i += 7;
      continue;
    }
    const unsigned share = shares[i];
    if (share == 0) continue;
    for (unsigned c = 0; c < n; ++c) {
      std::uint8_t& sample = page.samples()[i * n + c];
      sample = mixed(sample, ink_.samples()[i * n + c], share);
    }
  }
  for (const PagePart& part : kept_) {
    const auto edge = [](double share, std::uint32_t side) {
      return static_cast<std::uint32_t>(std::lround(share * side));
    };
    const std::uint32_t left = edge(part.left, width()), right = edge(part.right, width());
    for (std::uint32_t y = edge(part.top, height()); y < edge(part.bottom, height()); ++y)
      std::copy(page_.row(y) + std::size_t{left} * n, page_.row(y) + std::size_t{right} * n,
                page.row(y) + std::size_t{left} * n);
  }
  return page;
}

}  // namespace optimizer
