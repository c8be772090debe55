#include "optimizer/codec/jpx_rate.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "optimizer/base/vectorised.h"
#include "optimizer/codec/jpx_visibility.h"

namespace optimizer::jpx {
namespace {

// Bins of an eighth of an octave by the bits of a float.
constexpr unsigned binShift = 20, binsOfOctave = 8;
constexpr int lowestOctave = -9, octaves = 20;

}  // namespace

double baseFor(const Layout& layout, const std::vector<Samples>& components,
               const std::vector<float>& visibility, double ones) {
  constexpr std::size_t count = std::size_t{octaves} * binsOfOctave;
  constexpr std::uint32_t lowest = (127 + lowestOctave) * binsOfOctave;
  // The lowest holds what is smaller still. Two of them: neighbours are often alike, and counts of one bin wait for each
  // other.
  std::array<std::array<std::uint64_t, count + 1>, 2> bins{};
  std::array<std::uint32_t, blockSide> numbers;
  for (const Band& band : layout.bands) {
    const float step = Quantiser(1, layout.levels).stepOf(band);
    eachBlock(band, [&](const BlockPlace& place) {
      const float scale = std::ldexp(1 / step, -static_cast<int>(lowestPlane(visibility[place.block])));
      for (std::uint32_t y = 0; y < place.height; ++y) {
        vectorised([&]() OPTIMIZER_LOOP {
          const float* row = components[band.component].row(place.top + y) + place.left;
          for (std::uint32_t x = 0; x < place.width; ++x) {
            const std::uint32_t bin = std::bit_cast<std::uint32_t>(std::abs(row[x]) * scale) >> binShift;
            numbers[x] = std::clamp<std::uint32_t>(bin, lowest - 1, lowest - 1 + count) - (lowest - 1);
          }
        });
        for (std::uint32_t x = 0; x < place.width; ++x) ++bins[x & 1][numbers[x]];
      }
    });
  }
  std::size_t bin = count;
  for (double found = 0; bin > 0 && found < ones;) {
    found += static_cast<double>(bins[0][bin] + bins[1][bin]);
    --bin;
  }
  return std::exp2(lowestOctave + static_cast<double>(bin) / binsOfOctave);
}

// The convex hull of each block's passes.
RateControl::RateControl(const CodedPicture& picture) : picture_(picture) {
  first_.reserve(picture.blocks.size() + 1);
  for (const Band& band : picture.layout.bands) {
    const double norm = picture.quantiser.stepOf(band) * bandNorm(band.level, band.highAcross, band.highDown);
    const std::size_t end = band.firstBlock + std::size_t{band.blocksAcross} * band.blocksDown;
    for (std::size_t block = band.firstBlock; block < end; ++block) {
      const double seen = norm * picture.visibility[block], weight = seen * seen;
      first_.push_back(places_.size());
      const std::vector<PassEnd>& passes = picture.blocks[block].passes();
      const auto slopeFrom = [&](std::size_t before, std::size_t to) {
        // To be there at all takes some bits of a packet's header.
        const double gain = passes[to - 1].gain - (before > 0 ? passes[before - 1].gain : 0);
        const double size =
            passes[to - 1].cut.size() - (before > 0 ? double(passes[before - 1].cut.size()) : -1.0);
        return size <= 0 ? (gain > 0 ? 1e30 : 0) : gain * weight / size;
      };
      for (std::size_t i = 1; i <= passes.size(); ++i) {
        for (;;) {
          const bool bottom = places_.size() == first_.back();
          const double slope = slopeFrom(bottom ? 0 : places_.back().passes, i);
          if (slope <= 0) break;
          if (!bottom && slope >= places_.back().slope) {
            places_.pop_back();
            continue;
          }
          places_.push_back({static_cast<float>(slope), static_cast<std::uint16_t>(i)});
          break;
        }
      }
    }
  }
  first_.push_back(places_.size());
  for (const Place& place : places_) {
    steepest_ = std::max(steepest_, place.slope);
    flattest_ = flattest_ == 0 ? place.slope : std::min(flattest_, place.slope);
  }
}

Cuts RateControl::cutsAt(const Slopes& slopes) const {
  Cuts cuts(picture_.blocks.size());
  for (const Band& band : picture_.layout.bands) {
    const float slope = band.component == 0 ? slopes.luma : slopes.chroma;
    eachBlock(band, [&](const BlockPlace& place) {
      const std::size_t block = place.block;
      for (std::size_t i = first_[block]; i < first_[block + 1] && places_[i].slope >= slope; ++i)
        cuts[block] = places_[i].passes;
    });
  }
  return cuts;
}

Slopes RateControl::slopesFor(std::size_t bytes) const {
  const auto fits = [&](float slope) { return sizeOfJp2(picture_, cutsAt({slope, slope})) <= bytes; };
  if (fits(flattest_)) return {flattest_, flattest_};
  // Floats above zero are in the order of their bits.
  auto low = std::bit_cast<std::uint32_t>(flattest_), high = std::bit_cast<std::uint32_t>(steepest_) + 1;
  while (high - low > 1) {
    const std::uint32_t middle = low + (high - low) / 2;
    (fits(std::bit_cast<float>(middle)) ? high : low) = middle;
  }
  return {std::bit_cast<float>(high), std::bit_cast<float>(high)};
}

}  // namespace optimizer::jpx
