#include "optimizer/codec/jpx_coding.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/codec/jpx_visibility.h"

namespace optimizer {
namespace {

// A precinct is not larger (ISO/IEC 15444-1, A.6.1), and there is one of each resolution.
constexpr std::uint32_t mostSide = 32768;

// What is coded takes about so many bits for each coefficient that is not zero, over a wide range of steps:
// five to six in photographs, less in drawings. The step errs on the fine side.
constexpr double bitsOfOne = 5, reserve = 1.1, finestBase = 1.0 / 16;
// Where it does not, the next one is finer by this at least.
constexpr double leastChange = 0.85;
// One nearly always does, and two where a picture is mostly blank; a size that is out of reach is not chased.
constexpr int mostCodings = 4;

jpx::BlockArea areaOf(std::vector<jpx::Samples>& components, const jpx::Band& band,
                      const jpx::BlockPlace& place) {
  jpx::Samples& component = components[band.component];
  return {component.row(place.top) + place.left, component.width, place.width, place.height};
}

// Calls work(band, place) for every block; several at a time.
template <typename Work>
void eachInParts(const jpx::Layout& layout, const Work& work) {
  std::vector<std::pair<const jpx::Band*, jpx::BlockPlace>> places;
  for (const jpx::Band& band : layout.bands)
    jpx::eachBlock(band, [&](const jpx::BlockPlace& place) { places.emplace_back(&band, place); });
  constexpr std::size_t enough = 8;  // to be worth a thread's while
  inParts(0, places.size(), enough, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) work(*places[i].first, places[i].second);
  });
}

}  // namespace

Result<JpxCoding> JpxCoding::begin(const Pixels& pixels, std::size_t mostBytes) {
  if (pixels.bits() != 8 || (pixels.channels() != 1 && pixels.channels() != 3) || pixels.width() > mostSide ||
      pixels.height() > mostSide) {
    return Error{ErrorKind::unsupported, "JPEG 2000 codes 8-bit grey and RGB only"};
  }
  return JpxCoding(pixels, mostBytes);
}

JpxCoding::JpxCoding(const Pixels& pixels, std::size_t mostBytes)
    : mostBytes_(mostBytes), coefficients_(jpx::componentsOf(pixels)) {
  jpx::Layout layout = jpx::layoutOf(pixels.width(), pixels.height(), pixels.channels());
  std::vector<float> visibility = jpx::visibilityOf(layout, coefficients_);
  for (jpx::Samples& component : coefficients_) jpx::transform(component, layout.levels);
  ones_ = reserve * static_cast<double>(mostBytes) * 8 / bitsOfOne;
  const double base = std::max(finestBase, jpx::baseFor(layout, coefficients_, visibility, ones_));
  const jpx::Quantiser quantiser(base, layout.levels);
  picture_ = std::make_unique<jpx::CodedPicture>(
      jpx::CodedPicture{std::move(layout), quantiser, std::move(visibility), {}});
}

void JpxCoding::code() {
  const jpx::Layout& layout = picture_->layout;
  for (int coding = 1;; ++coding) {
    std::vector<std::optional<jpx::CodedBlock>> blocks(layout.blocks);
    eachInParts(layout, [&](const jpx::Band& band, const jpx::BlockPlace& place) {
      blocks[place.block].emplace(areaOf(coefficients_, band, place), band.orientation(),
                                  picture_->quantiser.stepOf(band),
                                  jpx::lowestPlane(picture_->visibility[place.block]));
    });
    picture_->blocks.clear();
    picture_->blocks.reserve(blocks.size());
    for (std::optional<jpx::CodedBlock>& block : blocks) picture_->blocks.push_back(std::move(*block));
    if (picture_->quantiser.base() <= finestBase || coding == mostCodings) break;
    jpx::Cuts all;
    for (const jpx::CodedBlock& block : picture_->blocks)
      all.push_back(static_cast<std::uint16_t>(block.passes().size()));
    const auto size = static_cast<double>(jpx::sizeOfJp2(*picture_, all)),
               wanted = static_cast<double>(mostBytes_);
    if (size >= wanted) break;
    ones_ *= reserve * wanted / size;
    const double base = std::min(jpx::baseFor(layout, coefficients_, picture_->visibility, ones_),
                                 picture_->quantiser.base() * leastChange);
    picture_->quantiser = jpx::Quantiser(std::max(finestBase, base), layout.levels);
  }
  rate_ = std::make_unique<jpx::RateControl>(*picture_);
}

jpx::Slopes JpxCoding::slopesFor(std::size_t bytes) {
  if (!rate_) code();
  return rate_->slopesFor(bytes);
}

Pixels JpxCoding::shown(const jpx::Cuts& cuts) {
  const jpx::Layout& layout = picture_->layout;
  std::vector<jpx::Samples>& components = coefficients_;
  for (jpx::Samples& component : components)
    std::fill(component.values.begin(), component.values.end(), 0.0f);
  eachInParts(layout, [&](const jpx::Band& band, const jpx::BlockPlace& place) {
    picture_->blocks[place.block].show(cuts[place.block], areaOf(components, band, place),
                                       picture_->quantiser.stepOf(band));
  });
  inParts(0, components.size(), 1, [&](std::size_t begin, std::size_t end) {
    for (std::size_t c = begin; c < end; ++c) jpx::transformBack(components[c], layout.levels);
  });
  return jpx::pixelsOf(components);
}

Pixels JpxCoding::shownHalved(const jpx::Cuts& cuts) const {
  const jpx::Layout& layout = picture_->layout;
  // The coarser bands are in the top left quarter.
  const std::uint32_t width = (layout.width + 1) / 2, height = (layout.height + 1) / 2;
  std::vector<jpx::Samples> components(
      layout.components, jpx::Samples{width, height, std::vector<float>(std::size_t{width} * height)});
  eachInParts(layout, [&](const jpx::Band& band, const jpx::BlockPlace& place) {
    if (band.level == 1 && (band.highAcross || band.highDown)) return;
    picture_->blocks[place.block].show(cuts[place.block], areaOf(components, band, place),
                                       picture_->quantiser.stepOf(band));
  });
  for (jpx::Samples& component : components) jpx::transformBack(component, layout.levels - 1);
  return jpx::pixelsOf(components);
}

EncodedImage JpxCoding::encoded(const jpx::Cuts& cuts) const {
  EncodedImage image;
  image.codec = Codec::jpeg2000;
  image.data = jpx::writeJp2(*picture_, cuts);
  image.filter = "JPXDecode";
  image.width = picture_->layout.width;
  image.height = picture_->layout.height;
  image.kind = picture_->layout.components == 1 ? ColorKind::grey : ColorKind::rgb;
  image.lossless = false;
  return image;
}

}  // namespace optimizer
