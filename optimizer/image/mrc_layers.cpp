#include "optimizer/image/mrc_layers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/lossy_jpx.h"
#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/mrc_segment.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/score.h"

namespace optimizer {
namespace {

// A page whose ink is outside these shares is not text on paper.
constexpr double leastInk = 0.002, mostInk = 0.35;
constexpr double mostPicture = 0.5;

constexpr double foregroundDpi = 25;
// Coarse colours of the ink are cheap, but the background may have to pay for them.
// Where inks differ in colour the eye sees what structure does not, so they are held higher and keep all
// their chroma.
constexpr std::array<int, 2> greyInkQualities = {12, 30}, colorInkQualities = {35, 60};
// The background is as fine as the page is looked at; where there are pictures, as fine as the web wants
// them.
constexpr double paperDpi = viewingDpi, pictureDpi = 150;
// The mask stays as fine as the page up to here; beyond, it is reduced to half of it.
constexpr double finestMask = 450;

constexpr std::array<int, 24> ladder = {12, 15, 18, 22, 26, 30, 34, 38, 42, 46, 50, 54,
                                        58, 62, 66, 70, 74, 77, 80, 83, 86, 89, 91, 93};

// Like that of any picture, but without a close-up: the mask keeps what is sharp.
constexpr LookFloor layeredFloor = {0.965, 0.945, 0.72, 4.0, 0, 0};

// At this resolution a page is read closely. Grain is gone from the layers there and may be; strokes may not.
constexpr double readingDpi = 200, legibleBusy = 0.925;

// Four dictionaries and the form's content.
constexpr std::size_t overhead = 700;
constexpr double advantage = 0.95;

std::uint32_t sideAt(std::uint32_t side, double dpi, double wanted) {
  if (dpi <= wanted) return side;
  return std::max(1u, static_cast<std::uint32_t>(std::lround(side * wanted / dpi)));
}

class Layering {
 public:
  Layering(const Pixels& page, double dpiX, double dpiY, const Settings& settings, std::size_t toBeat)
      : page_(page), dpiX_(dpiX), dpiY_(dpiY), settings_(settings), toBeat_(toBeat) {}

  std::optional<LayeredImage> run();

 private:
  bool splitOff();
  Pixels inkColors() const;
  bool useForeground(EncodedImage coded);
  bool codeBoth(const Pixels& colors, int quality, const LookReference& view);
  void prepareBackground();
  Pixels composed(const Pixels& background) const;
  bool looksRight(const EncodedImage& background, const LookReference& view) const;
  std::optional<EncodedImage> codeBackground(const LookReference& view);
  void tryWavelets(EncodedImage& background, const LookReference& view) const;
  bool legible(const LookReference& closeUp) const;
  std::size_t bytesLeft() const;

  const Pixels& page_;
  double dpiX_, dpiY_;
  const Settings& settings_;
  std::size_t toBeat_;

  Bitonal ink_;
  double pictureShare_ = 0;
  LayeredImage layers_;
  std::uint32_t width_ = 0, height_ = 0;  // of the background
  Plane coverage_;                        // share of each background pixel that is ink
  std::vector<Plane> inkColor_;           // of each channel, at the background's size, as decoded
  Pixels background_;
};

std::size_t Layering::bytesLeft() const {
  const std::size_t spent = layers_.mask.cost() + layers_.foreground.cost() + overhead;
  return toBeat_ > spent ? toBeat_ - spent : 0;
}

bool Layering::splitOff() {
  InkMask found = findInk(lumaOf(page_), std::sqrt(dpiX_ * dpiY_), settings_.mrcRecognizePictures);
  if (found.inkShare < leastInk || found.inkShare > mostInk || found.pictureShare > mostPicture) return false;
  pictureShare_ = found.pictureShare;
  ink_ = std::move(found.ink);
  Pixels mask = pixelsOf(ink_);
  if (std::min(dpiX_, dpiY_) > finestMask)
    mask = thresholdTo1Bit(areaAverage(expandTo8Bits(mask), mask.width() / 2, mask.height() / 2));
  layers_.mask = encodeBitonal(mask);
  if (mask.width() != static_cast<std::uint32_t>(ink_.width)) {
    // What is judged is what is coded.
    const Pixels full = resizeBitonal(mask, page_.width(), page_.height());
    ink_ = bitonalOf(full);
  }
  return bytesLeft() > 0;
}

// Takes the coded colours as the foreground, and makes the background that goes with them.
bool Layering::useForeground(EncodedImage coded) {
  Result<Pixels> shown = decodeJpeg(coded.data);
  if (!shown) return false;
  layers_.foreground = std::move(coded);
  inkColor_.clear();
  for (unsigned c = 0; c < page_.channels(); ++c)
    inkColor_.push_back(enlarged(channelOf(*shown, c), width_, height_));
  prepareBackground();
  return true;
}

Pixels Layering::inkColors() const {
  Pixels colors(sideAt(page_.width(), dpiX_, foregroundDpi), sideAt(page_.height(), dpiY_, foregroundDpi),
                page_.channels(), page_.kind());
  const Bitonal inside = eroded(ink_);
  for (unsigned c = 0; c < page_.channels(); ++c) {
    // The colour of ink is that of its inside; thin strokes have none, and give what they have.
    WeightedPlane mean = meanOfInk(page_, c, inside, colors.width(), colors.height());
    const WeightedPlane all = meanOfInk(page_, c, ink_, colors.width(), colors.height());
    for (std::size_t i = 0; i < mean.weights.values.size(); ++i) {
      if (mean.weights.values[i] > 0) continue;
      mean.values.values[i] = all.values.values[i];
      mean.weights.values[i] = all.weights.values[i];
    }
    fillGaps(mean);
    putChannel(mean.values, colors, c);
  }
  return colors;
}

// The background that, seen through the mask's gaps and mixed with the ink at its edges, gives the page;
// under the ink whatever is smoothest.
void Layering::prepareBackground() {
  const Pixels view = areaAverage(page_, width_, height_);
  background_ = Pixels(width_, height_, page_.channels(), page_.kind());
  constexpr float hidden = 0.5f;
  for (unsigned c = 0; c < page_.channels(); ++c) {
    WeightedPlane paper{channelOf(view, c), Plane(width_, height_)};
    for (std::size_t i = 0; i < coverage_.values.size(); ++i) {
      const float ink = coverage_.values[i];
      float& value = paper.values.values[i];
      paper.weights.values[i] = ink < hidden ? 1.0f : 0.0f;
      value = std::clamp((value - ink * inkColor_[c].values[i]) / std::max(1 - ink, 0.05f), 0.0f, 255.0f);
    }
    fillGaps(paper);
    putChannel(paper.values, background_, c);
  }
}

Pixels Layering::composed(const Pixels& background) const {
  Pixels page = background;
  const unsigned channels = page.channels();
  for (std::size_t i = 0; i < coverage_.values.size(); ++i) {
    const float ink = coverage_.values[i];
    if (ink == 0) continue;
    for (unsigned c = 0; c < channels; ++c) {
      std::uint8_t& sample = page.samples()[i * channels + c];
      sample = static_cast<std::uint8_t>(sample * (1 - ink) + inkColor_[c].values[i] * ink + 0.5f);
    }
  }
  return page;
}

bool Layering::looksRight(const EncodedImage& background, const LookReference& view) const {
  const Result<Pixels> shown = decodeJpeg(background.data);
  return shown.ok() && passes(view.compare(composed(*shown)), layeredFloor);
}

// Where little is left to code (clean paper), wavelets beat blocks by far.
void Layering::tryWavelets(EncodedImage& background, const LookReference& view) const {
  constexpr double fewBits = 0.3;  // a pixel
  if (settings_.mrcLayerCodec != Codec::jpeg2000 || !allows(settings_.continuousCodecs, Codec::jpeg2000))
    return;
  if (static_cast<double>(background.data.size()) * 8 >
      fewBits * static_cast<double>(background_.pixelCount()))
    return;
  constexpr double worthIt = 0.85;
  const auto most = static_cast<std::size_t>(worthIt * static_cast<double>(background.data.size()));
  std::optional<EncodedImage> coded = smallestJpx(background_, most, [&](const Pixels& shown) {
    return lossOf(view.compare(composed(shown)), layeredFloor);
  });
  if (coded && coded->cost() < background.cost()) background = std::move(*coded);
}

std::optional<EncodedImage> Layering::codeBackground(const LookReference& view) {
  JpegOptions options;
  options.subsampleChroma = true;
  options.draft = true;
  std::size_t low = 0, high = ladder.size();
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    options.quality = ladder[middle];
    const Result<EncodedImage> draft = encodeJpeg(background_, options);
    if (!draft) return std::nullopt;
    if (looksRight(*draft, view)) {
      high = middle;
    } else {
      // A draft takes about a third more than what is kept; this one is hopeless.
      if (draft->data.size() * 2 > bytesLeft() * 3) return std::nullopt;
      low = middle + 1;
    }
  }
  options.draft = false;
  for (; low < ladder.size(); ++low) {
    options.quality = ladder[low];
    Result<EncodedImage> coded = encodeJpeg(background_, options);
    if (!coded || coded->cost() > bytesLeft()) return std::nullopt;
    if (!looksRight(*coded, view)) continue;
    tryWavelets(*coded, view);
    return std::move(*coded);
  }
  return std::nullopt;
}

// Whether the page as it is read, enlarged, keeps its strokes: faint ones that the mask misses are gone in
// the coarse background.
bool Layering::legible(const LookReference& closeUp) const {
  const Result<Pixels> colors = decodeJpeg(layers_.foreground.data);
  const Result<Pixels> paper = layers_.background.codec == Codec::jpeg2000
                                   ? decodeJpx(layers_.background.data)
                                   : decodeJpeg(layers_.background.data);
  if (!colors || !paper) return false;
  const std::uint32_t width = sideAt(page_.width(), dpiX_, readingDpi),
                      height = sideAt(page_.height(), dpiY_, readingDpi);
  const Plane coverage = coverageOf(ink_, width, height);
  const Plane behind = enlarged(channelOf(lumaOf(*paper), 0), width, height),
              ink = enlarged(channelOf(lumaOf(*colors), 0), width, height);
  Plane page(width, height);
  for (std::size_t i = 0; i < page.values.size(); ++i) {
    page.values[i] = behind.values[i] + (ink.values[i] - behind.values[i]) * coverage.values[i];
  }
  Pixels shown(width, height, 1, ColorKind::grey);
  putChannel(page, shown, 0);
  return closeUp.compare(shown).busy >= legibleBusy;
}

// Both layers, with the ink's colours at this quality.
bool Layering::codeBoth(const Pixels& colors, int quality, const LookReference& view) {
  JpegOptions options;
  options.quality = quality;
  options.subsampleChroma = false;
  Result<EncodedImage> coded = encodeJpeg(colors, options);
  if (!coded || !useForeground(std::move(*coded)) || bytesLeft() == 0) return false;
  std::optional<EncodedImage> background = codeBackground(view);
  if (!background) return false;
  layers_.background = std::move(*background);
  return true;
}

std::optional<LayeredImage> Layering::run() {
  if (!splitOff()) return std::nullopt;
  const double wanted = pictureShare_ > 0.02 ? pictureDpi : paperDpi;
  width_ = sideAt(page_.width(), dpiX_, wanted);
  height_ = sideAt(page_.height(), dpiY_, wanted);
  coverage_ = coverageOf(ink_, width_, height_);
  const LookReference view(page_, sideAt(page_.width(), dpiX_, viewingDpi),
                           sideAt(page_.height(), dpiY_, viewingDpi));
  const Pixels colors = inkColors();
  std::optional<LayeredImage> best;
  const LookReference closeUp(page_, sideAt(page_.width(), dpiX_, readingDpi),
                              sideAt(page_.height(), dpiY_, readingDpi));
  // A hopeless page shows itself at the better quality.
  const auto& qualities = page_.channels() == 1 ? greyInkQualities : colorInkQualities;
  for (auto quality = qualities.rbegin(); quality != qualities.rend(); ++quality) {
    if (codeBoth(colors, *quality, view) && legible(closeUp)) {
      if (!best || layers_.cost() < best->cost()) best = layers_;
    } else if (!best) {
      return std::nullopt;
    }
  }
  return best;
}

}  // namespace

std::size_t LayeredImage::cost() const {
  return background.cost() + foreground.cost() + mask.cost() + overhead;
}

std::optional<LayeredImage> codeInLayers(const Pixels& pixels, double dpiX, double dpiY,
                                         const Settings& settings, std::size_t toBeat) {
  if (pixels.bits() != 8 || (pixels.kind() != ColorKind::grey && pixels.kind() != ColorKind::rgb))
    return std::nullopt;
  // Of a page that is hardly finer than it is looked at, the paper alone takes nearly what the whole takes.
  constexpr double leastDpi = 130;
  if (pixels.width() < 64 || pixels.height() < 64 || dpiX < leastDpi || dpiY < leastDpi) return std::nullopt;
  const auto wanted = static_cast<std::size_t>(advantage * static_cast<double>(toBeat));
  return Layering(pixels, dpiX, dpiY, settings, wanted).run();
}

}  // namespace optimizer
