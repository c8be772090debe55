#include "optimizer/image/candidates.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace optimizer {
namespace {

// What the strongest level saves of a draft, about.
constexpr double strongestShare = 0.95;

unsigned bitsForColors(std::size_t colors) {
  return colors <= 2 ? 1 : colors <= 4 ? 2 : colors <= 16 ? 4 : 8;
}

PackedSamples packIndexes(const Pixels& indexes, unsigned bits) {
  PackedSamples packed{indexes.width(),
                       indexes.height(),
                       1,
                       bits,
                       ColorKind::indexed,
                       (std::size_t{indexes.width()} * bits + 7) / 8,
                       {}};
  packed.samples.resize(packed.stride * packed.height);
  for (std::uint32_t y = 0; y < indexes.height(); ++y) {
    const std::uint8_t* in = indexes.row(y);
    std::uint8_t* out = packed.samples.data() + packed.stride * y;
    for (std::uint32_t x = 0; x < indexes.width(); ++x) {
      const std::size_t at = std::size_t{x} * bits;
      out[at >> 3] = static_cast<std::uint8_t>(out[at >> 3] | (in[x] << (8 - bits - (at & 7))));
    }
  }
  return packed;
}

}  // namespace

std::size_t Candidate::estimate() const {
  const std::size_t data =
      draft ? static_cast<std::size_t>(static_cast<double>(draft->estimate) * strongestShare) : 0;
  return data + image.cost();
}

void Candidate::finish(int effort) {
  if (!draft) return;
  EncodedImage coded = encodeFlate(samples, *draft, effort);
  image.data = std::move(coded.data);
  image.decodeParms = std::move(coded.decodeParms);
  draft.reset();
  samples = {};
}

Candidate plainCandidate(const PackedSamples& samples) {
  Candidate candidate;
  candidate.draft = draftFlate(samples);
  candidate.samples = samples;
  candidate.image.codec = Codec::flate;
  candidate.image.filter = "FlateDecode";
  candidate.image.width = samples.width;
  candidate.image.height = samples.height;
  candidate.image.bitsPerComponent = samples.bits;
  candidate.image.kind = samples.kind;
  return candidate;
}

Candidate plainCandidate(const Pixels& pixels) { return plainCandidate(packedOf(pixels)); }

unsigned bitsForLevels(const Bytes& levels) {
  for (unsigned bits : {1u, 2u, 4u}) {
    const unsigned step = 255 / ((1u << bits) - 1);
    if (std::all_of(levels.begin(), levels.end(), [step](std::uint8_t level) { return level % step == 0; }))
      return bits;
  }
  return 8;
}

Candidate greyCandidate(const Pixels& grey, const std::optional<Bytes>& levels) {
  const unsigned bits = levels ? bitsForLevels(*levels) : 8;
  if (bits == 8) return plainCandidate(grey);
  Pixels steps = grey;
  const unsigned step = 255 / ((1u << bits) - 1);
  for (std::uint8_t& sample : steps.samples()) sample = static_cast<std::uint8_t>(sample / step);
  Candidate candidate = plainCandidate(packIndexes(steps, bits));
  candidate.image.kind = ColorKind::grey;
  return candidate;
}

Candidate indexedCandidate(const Pixels& indexes, const Bytes& palette, unsigned channels,
                           ColorKind paletteKind) {
  Candidate candidate = plainCandidate(packIndexes(indexes, bitsForColors(palette.size() / channels)));
  candidate.image.palette = palette;
  candidate.image.paletteKind = paletteKind;
  return candidate;
}

Bytes sortedPalette(const Bytes& palette, unsigned channels) {
  std::vector<Bytes> colors;
  for (std::size_t i = 0; i + channels <= palette.size(); i += channels) {
    colors.emplace_back(palette.begin() + static_cast<std::ptrdiff_t>(i),
                        palette.begin() + static_cast<std::ptrdiff_t>(i + channels));
  }
  const auto brightness = [](const Bytes& color) {
    unsigned sum = 0;
    for (std::uint8_t sample : color) sum += sample;
    return sum;
  };
  std::sort(colors.begin(), colors.end(), [&](const Bytes& a, const Bytes& b) {
    return brightness(a) != brightness(b) ? brightness(a) < brightness(b) : a < b;
  });
  Bytes sorted;
  for (const Bytes& color : colors) sorted.insert(sorted.end(), color.begin(), color.end());
  return sorted;
}

void Choice::offer(Candidate candidate) {
  std::optional<Candidate>& best = candidate.image.lossless ? lossless_ : lossy_;
  if (!best || candidate.estimate() < best->estimate()) best = std::move(candidate);
}

std::size_t Choice::losslessSize() const {
  return lossless_ ? std::min(stored_, lossless_->estimate()) : stored_;
}

double Choice::lossySize() const {
  return lossy_ ? static_cast<double>(lossy_->estimate()) : std::numeric_limits<double>::infinity();
}

std::size_t Choice::lossyBudget(double advantage) const {
  const auto least = static_cast<std::size_t>(advantage * static_cast<double>(losslessSize()));
  return lossy_ ? std::min(least, lossy_->estimate()) : least;
}

RecodedImage Choice::finished(Candidate candidate) const {
  candidate.finish(effort_);
  return {std::move(candidate.image), candidate.sameSamples, false};
}

std::optional<RecodedImage> Choice::take(double advantage) {
  std::optional<RecodedImage> exact;
  std::size_t least = stored_;
  // Where the lossy form is far ahead, the lossless one need not be coded to be beaten.
  constexpr double farAhead = 0.8;
  const bool decided = lossy_ && static_cast<double>(lossy_->estimate()) <
                                     farAhead * advantage * static_cast<double>(losslessSize());
  // A draft may promise too little; only what is hopeless by far is not coded at all.
  constexpr double hopeless = 1.12;
  if (lossless_ && !decided &&
      static_cast<double>(lossless_->estimate()) < hopeless * static_cast<double>(stored_)) {
    exact = finished(std::move(*lossless_));
    if (exact->image.cost() < stored_) {
      least = exact->image.cost();
    } else {
      exact.reset();
    }
  }
  if (lossy_ && static_cast<double>(lossy_->estimate()) < hopeless * advantage * static_cast<double>(least)) {
    RecodedImage lossy = finished(std::move(*lossy_));
    if (static_cast<double>(lossy.image.cost()) < advantage * static_cast<double>(least)) return lossy;
  }
  return exact;
}

}  // namespace optimizer
