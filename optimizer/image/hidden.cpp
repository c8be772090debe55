#include "optimizer/image/hidden.h"

#include <algorithm>
#include <vector>

#include "optimizer/image/mrc_plane.h"

namespace optimizer {
namespace {

// Flat areas stay flat.
void fillFlat(Pixels& pixels, const Pixels& alpha) {
  const unsigned channels = pixels.channels();
  const auto binOf = [channels](const std::uint8_t* sample) {
    std::size_t bin = 0;
    for (unsigned c = 0; c < std::min(channels, 3u); ++c) bin = bin << 4 | sample[c] >> 4;
    return bin;
  };
  std::vector<std::uint32_t> bins(4096);
  const std::uint8_t* sample = pixels.samples().data();
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i, sample += channels)
    if (alpha.samples()[i] != 0) ++bins[binOf(sample)];
  const auto fullest = static_cast<std::size_t>(std::max_element(bins.begin(), bins.end()) - bins.begin());
  // Of the colours in the fullest bin, the one that outweighs all others if there is one (Boyer, Moore 1981).
  Bytes color(channels);
  std::uint32_t votes = 0;
  sample = pixels.samples().data();
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i, sample += channels) {
    if (alpha.samples()[i] == 0 || binOf(sample) != fullest) continue;
    if (votes == 0) color.assign(sample, sample + channels);
    votes += std::equal(color.begin(), color.end(), sample) ? 1 : ~std::uint32_t{0};
  }
  for (std::size_t i = 0; i < pixels.pixelCount(); ++i) {
    if (alpha.samples()[i] != 0) continue;
    std::copy(color.begin(), color.end(),
              pixels.samples().begin() + static_cast<std::ptrdiff_t>(i * channels));
  }
}

}  // namespace

bool fillUnderMask(Pixels& pixels, const Pixels& alpha, bool flat) {
  if (std::find(alpha.samples().begin(), alpha.samples().end(), 0) == alpha.samples().end()) return false;
  if (flat) {
    fillFlat(pixels, alpha);
    return true;
  }
  for (unsigned c = 0; c < pixels.channels(); ++c) {
    WeightedPlane plane{channelOf(pixels, c), channelOf(alpha, 0)};
    for (float& weight : plane.weights.values) weight = weight > 0 ? 1.0f : 0.0f;
    fillGaps(plane);
    putChannel(plane.values, pixels, c);
  }
  return true;
}

}  // namespace optimizer
