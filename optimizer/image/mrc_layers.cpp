#include "optimizer/image/mrc_layers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/mrc_paper.h"
#include "optimizer/image/mrc_plane.h"
#include "optimizer/image/mrc_regions.h"
#include "optimizer/image/mrc_segment.h"
#include "optimizer/image/resample.h"
#include "optimizer/image/score.h"
#include "optimizer/image/strokes.h"

namespace optimizer {
namespace {

// A page whose ink is outside these shares is not text on paper.
constexpr double leastInk = 0.002, mostInk = 0.35;
constexpr double mostPicture = 0.5;
// Below this share pictures are specks.
constexpr double leastPicture = 0.02;
constexpr std::size_t mostPictures = 6;

// Of the layers' resolution: colours of ink change slowly.
constexpr double inkShareOfDpi = 0.36;
// Coarse colours of the ink are cheap, but the background may have to pay for them.
// Where inks differ in colour the eye sees what structure does not, so they are held higher and keep all
// their chroma.
constexpr std::array<int, 2> greyInkQualities = {12, 30}, colorInkQualities = {35, 60};
// What paper is tried at beyond the settings' resolution, where that does not keep the look.
constexpr std::array<double, 3> paperSteps = {100, 150, 200};
constexpr int mostInVain = 3;
constexpr double pictureDpi = 150;
// The mask stays as fine as the page up to here; beyond, it is reduced to half of it.
constexpr double finestMask = 450;

// Like that of any picture, but without a close-up: the mask keeps what is sharp.
constexpr LookFloor layeredFloor = {0.965, 0.945, 0.72, 4.0, 0.96, 0};
// A cell of the page that keeps less of its structure is no text on paper.
constexpr double leastAlike = 0.8;
// What the layers should leave above the floor before any of them is coded: where it is little, coding them
// takes more bytes than finer layers would. Where none leave so much, a tenth of it must do.
constexpr double leastReserve = 0.1;
LookFloor withReserve(LookFloor floor, double share) {
  floor.structure += 0.006 * share;
  floor.busy += 0.006 * share;
  floor.shown += 0.006 * share;
  floor.worst += 0.06 * share;
  return floor;
}

// At this resolution a page is read closely. Grain is gone from the layers there and may be; strokes may not,
// but for so few cells of a page: specks, and the inside of heavy letters.
constexpr double readingDpi = 200;
constexpr double mostLost = 0.0008;

// Four dictionaries and the form's content; a dictionary more for each picture.
constexpr std::size_t overhead = 700, pictureOverhead = 180;
constexpr double advantage = 0.95;

std::uint32_t sideAt(std::uint32_t side, double dpi, double wanted) {
  if (dpi <= wanted) return side;
  return std::max(1u, static_cast<std::uint32_t>(std::lround(side * wanted / dpi)));
}

// How a page looks, as far as it has been judged.
struct Judgement {
  std::optional<Look> look;
  std::optional<double> shown;
  std::optional<double> strokes;  // times as many are lost as may be
  std::size_t lost = 0;           // cells with lost strokes, once that is known

  // Up to what has been judged.
  Loss against(const LookFloor& floor) const {
    Loss loss;
    if (look) loss = lossOf(*look, floor);
    if (shown) loss.structure = std::max(loss.structure, (1 - *shown) / (1 - floor.shown));
    // The number of cells grows fast with the loss that makes them fail.
    if (strokes) loss.structure = std::max(loss.structure, std::sqrt(*strokes));
    return loss;
  }
};

class Layering {
 public:
  Layering(const Pixels& page, double dpiX, double dpiY, const Settings& settings, std::size_t toBeat,
           const ColorConverter* shown)
      : page_(page), dpiX_(dpiX), dpiY_(dpiY), settings_(settings), toBeat_(toBeat), shown_(shown) {}

  std::optional<LayeredImage> run();

 private:
  struct Size {
    std::uint32_t width, height;
    bool operator==(const Size&) const = default;
  };
  // A resolution at which the paper is tried.
  struct Step {
    Size size;
    Judgement uncoded;
    Pixels paper;  // once it has been made, while it is wanted
    bool done = false;
  };
  Size sizeAt(double dpi) const {
    return {sideAt(page_.width(), dpiX_, dpi), sideAt(page_.height(), dpiY_, dpi)};
  }
  Pixels asShown(const Pixels& pixels) const { return shown_ != nullptr ? shown_->convert(pixels) : pixels; }

  bool splitOff();
  void keepStrokes();
  bool codeMaskOfInk();
  Pixels inkColors() const;
  Pixels paperAt(Size size, const Pixels& colors) const;
  Pixels pictureIn(const PixelRegion& region, const Pixels& colors) const;
  PagePart partOf(const PixelRegion& region) const;
  bool codePictures(const Pixels& colors);
  bool codeInk(const Pixels& colors, int quality);
  CellGrid lostOn(const Pixels& shownPage) const;
  // before: cells that had lost strokes before the paper was coded. As far as is needed to refuse it.
  Judgement judge(const Pixels& paper, const LookFloor& floor, std::size_t before) const;
  void setInk(const Pixels& colors);
  LookFloor floorWith(double reserve) const;
  bool carries(Step& step, const Pixels& ink, const LookFloor& floor);
  bool inkIsAtFault(Step& finest, const Pixels& ink);
  bool codePaperAt(Step& step);
  std::size_t bytesLeft() const;

  const Pixels& page_;
  double dpiX_, dpiY_;
  const Settings& settings_;
  std::size_t toBeat_;
  const ColorConverter* shown_;

  Pixels luma_;  // as shown, of the page
  // Of the page itself, as common viewers reduce it, and as it is read.
  std::optional<LookReference> view_, shownView_, viewOfRead_;
  std::optional<StrokeReference> strokes_;
  Bitonal ink_;
  Pixels colors_;        // of the ink, before they are coded
  Pixels reducedPage_;   // to the size at which strokes are sought
  CellGrid inPictures_;  // cells of the page at reading size that are part of pictures
  std::vector<PixelRegion> regions_;
  double pictureShare_ = 0;  // of the page, that these take
  bool wantsFinerPaper_ = false;
  std::optional<Composer> viewer_, commonViewer_, reader_;
  LayeredImage layers_;
  int codedInVain_ = 0;
};

std::size_t Layering::bytesLeft() const {
  const std::size_t spent = layers_.cost();
  return toBeat_ > spent ? toBeat_ - spent : 0;
}

PagePart Layering::partOf(const PixelRegion& region) const {
  const double w = page_.width(), h = page_.height();
  return {region.left / w, region.top / h, (region.left + region.width) / w,
          (region.top + region.height) / h};
}

bool Layering::splitOff() {
  InkMask found = findInk(luma_, std::sqrt(dpiX_ * dpiY_), settings_.mrcRecognizePictures);
  if (found.inkShare < leastInk || found.inkShare > mostInk || found.pictureShare > mostPicture) return false;
  ink_ = std::move(found.ink);
  const Size reading = sizeAt(readingDpi);
  inPictures_.across = (reading.width + StrokeReference::cell - 1) / StrokeReference::cell;
  inPictures_.down = (reading.height + StrokeReference::cell - 1) / StrokeReference::cell;
  inPictures_.cells.resize(std::size_t{inPictures_.across} * inPictures_.down);
  if (found.pictureShare < leastPicture) return true;
  if (!holdsPaper(settings_.mrcPictureCodec)) {
    wantsFinerPaper_ = true;
    return true;
  }
  for (std::uint32_t y = 0; y < inPictures_.down; ++y)
    for (std::uint32_t x = 0; x < inPictures_.across; ++x) {
      const auto at = [&](std::uint32_t cell, std::uint32_t cells, std::uint32_t side, std::uint32_t limit) {
        const std::uint64_t place = (std::uint64_t{2} * cell + 1) * side / (2 * cells);
        return std::min(static_cast<std::uint32_t>(place / found.cell), limit - 1);
      };
      inPictures_.cells[std::size_t{y} * inPictures_.across + x] =
          found.pictures.cells[std::size_t{at(y, inPictures_.down, page_.height(), found.pictures.down)} *
                                   found.pictures.across +
                               at(x, inPictures_.across, page_.width(), found.pictures.across)];
    }
  return true;
}

Pixels Layering::inkColors() const {
  const Size size = sizeAt(settings_.mrcLayerDpi * inkShareOfDpi);
  Pixels colors(size.width, size.height, page_.channels(), page_.kind());
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

Pixels Layering::paperAt(Size size, const Pixels& colors) const {
  Pixels hidden;
  if (!regions_.empty()) {
    hidden = Pixels(size.width, size.height, 1, ColorKind::grey);
    // The rim stays as it is: renderers blend it with the picture.
    constexpr std::uint32_t rim = 2;
    for (const PixelRegion& region : regions_) {
      const auto at = [](std::uint32_t place, std::uint32_t from, std::uint32_t to) {
        return static_cast<std::uint32_t>(std::uint64_t{place} * to / from);
      };
      const std::uint32_t left = at(region.left, page_.width(), size.width) + rim,
                          right = at(region.left + region.width, page_.width(), size.width),
                          top = at(region.top, page_.height(), size.height) + rim,
                          bottom = at(region.top + region.height, page_.height(), size.height);
      for (std::uint32_t y = top; y + rim < bottom; ++y)
        for (std::uint32_t x = left; x + rim < right; ++x) hidden.row(y)[x] = 255;
    }
  }
  const bool reduced = reducedPage_.width() == size.width && reducedPage_.height() == size.height;
  return paperUnder(reduced ? reducedPage_ : areaAverage(page_, size.width, size.height),
                    coverageIn(ink_, size.width, size.height), colors, {},
                    hidden.empty() ? nullptr : &hidden);
}

Pixels Layering::pictureIn(const PixelRegion& region, const Pixels& colors) const {
  const Pixels part = crop(page_, region.left, region.top, region.width, region.height);
  const Bitonal ink = bitonalOf(crop(pixelsOf(ink_), region.left, region.top, region.width, region.height));
  return paperUnder(part, coverageIn(ink, region.width, region.height), colors, partOf(region));
}

// Cells whose strokes are lost.
CellGrid Layering::lostOn(const Pixels& shownPage) const { return strokes_->compare(lumaOf(shownPage)); }

// Finds strokes that would be lost at the layers' resolution, and takes them as ink. Where that does not
// help, and where ink and paper do not make up the page, that part of it becomes a picture.
void Layering::keepStrokes() {
  const Size size = sizeAt(std::max<double>(settings_.mrcLayerDpi, viewingDpi)), reading = sizeAt(readingDpi);
  const auto composed = [&]() {
    colors_ = inkColors();
    reader_.emplace(ink_, reading.width, reading.height);
    reader_->setInk(colors_);
    return asShown(reader_->compose(paperAt(size, colors_)));
  };
  reducedPage_ = areaAverage(page_, size.width, size.height);
  Pixels page = composed();
  const auto lostNow = [&]() {
    CellGrid lost = lostOn(page);
    for (std::size_t i = 0; i < lost.cells.size(); ++i) lost.cells[i] &= inPictures_.cells[i] ^ 1;
    return lost;
  };
  CellGrid lost = lostNow();
  if (lost.count() > 0) {
    addFaintInk(luma_, lost, ink_);
    page = composed();
    lost = lostNow();
  }
  if (!settings_.mrcRecognizePictures || !holdsPaper(settings_.mrcPictureCodec)) return;
  const CellGrid unlike = viewOfRead_->unlikeCells(page, lost.across, lost.down, leastAlike);
  for (std::size_t i = 0; i < lost.cells.size(); ++i) inPictures_.cells[i] |= lost.cells[i] | unlike.cells[i];
}

bool Layering::codeMaskOfInk() {
  Pixels mask = pixelsOf(ink_);
  if (std::min(dpiX_, dpiY_) > finestMask)
    mask = thresholdTo1Bit(areaAverage(expandTo8Bits(mask), mask.width() / 2, mask.height() / 2));
  layers_.mask = codeMask(mask, settings_);
  if (mask.width() != static_cast<std::uint32_t>(ink_.width)) {
    // What is judged is what is coded.
    ink_ = bitonalOf(resizeBitonal(mask, page_.width(), page_.height()));
    colors_ = inkColors();
    const Size reading = sizeAt(readingDpi);
    reader_.emplace(ink_, reading.width, reading.height);
  }
  const Size viewSize = sizeAt(viewingDpi);
  viewer_.emplace(ink_, viewSize.width, viewSize.height);
  commonViewer_.emplace(ink_, viewSize.width, viewSize.height, Reduction::blocks);
  std::vector<PagePart> parts;
  for (const PixelRegion& region : regions_) parts.push_back(partOf(region));
  viewer_->keep(page_, parts);
  commonViewer_->keep(page_, parts);
  reader_->keep(page_, parts);
  return bytesLeft() > 0;
}

bool Layering::codePictures(const Pixels& colors) {
  for (const PixelRegion& region : regions_) {
    const Pixels picture = pictureIn(region, colors);
    std::optional<CodedLayer> coded = codePicture(picture, dpiX_, dpiY_, settings_, bytesLeft());
    if (!coded) return false;
    layers_.pictures.push_back({partOf(region), std::move(coded->image)});
  }
  return true;
}

void Layering::setInk(const Pixels& colors) {
  viewer_->setInk(colors);
  commonViewer_->setInk(colors);
  reader_->setInk(colors);
}

// Takes the coded colours as the foreground.
bool Layering::codeInk(const Pixels& colors, int quality) {
  JpegOptions options;
  options.quality = quality;
  options.subsampleChroma = false;
  Result<EncodedImage> coded = encodeJpeg(colors, options);
  if (!coded) return false;
  layers_.foreground = std::move(*coded);
  return true;
}

// Strokes take longer to look for, and are there in most of what passes otherwise.
Judgement Layering::judge(const Pixels& paper, const LookFloor& floor, std::size_t before) const {
  Judgement found;
  const bool coarse = paper.width() <= viewer_->width() && paper.height() <= viewer_->height();
  const Pixels viewed = asShown((coarse ? *viewer_ : *reader_).compose(paper));
  found.look = (coarse ? *view_ : *viewOfRead_).compare(viewed);
  if (!found.against(floor).passes()) return found;
  const Pixels common = asShown(commonViewer_->compose(
      coarse ? paper : blockAverage(paper, commonViewer_->width(), commonViewer_->height())));
  found.shown = shownView_->compare(common).structure;
  if (!found.against(floor).passes()) return found;
  const CellGrid lost = lostOn(coarse ? asShown(reader_->compose(paper)) : viewed);
  const std::size_t most =
      before + static_cast<std::size_t>(mostLost * static_cast<double>(lost.cells.size()));
  found.lost = lost.count();
  found.strokes = static_cast<double>(1 + found.lost) / static_cast<double>(1 + most);
  return found;
}

LookFloor Layering::floorWith(double reserve) const {
  // Pictures count as they are; the rest must not lose more for it.
  LookFloor floor = layeredFloor;
  floor.structure += (1 - floor.structure) * pictureShare_;
  floor.shown += (1 - floor.shown) * pictureShare_;
  return withReserve(floor, reserve);
}

// Whether paper of that resolution passes before it is coded.
bool Layering::carries(Step& step, const Pixels& ink, const LookFloor& floor) {
  if (!step.uncoded.against(floor).passes()) return false;
  if (step.paper.empty()) step.paper = paperAt(step.size, ink);
  if (!step.uncoded.strokes) step.uncoded = judge(step.paper, floor, 0);
  const bool passes = step.uncoded.against(floor).passes();
  if (!passes) step.paper = {};
  return passes;
}

// What the finest paper does not make up for, none does: resolutions between do a little better at most.
bool Layering::inkIsAtFault(Step& finest, const Pixels& ink) {
  constexpr double aLittle = 1.03;
  const LookFloor least = floorWith(leastReserve);
  carries(finest, ink, floorWith(1));
  const Loss loss = finest.uncoded.against(least);
  return std::max(loss.structure, loss.chroma) > aLittle;
}

bool Layering::codePaperAt(Step& step) {
  const Pixels paper = std::move(step.paper);
  step.paper = {};
  const LookFloor floor = floorWith(0);
  const auto loss = [&](const Pixels& shown) {
    return judge(shown, floor, step.uncoded.lost).against(floor);
  };
  CodedPaper coded = codePaper(paper, settings_, bytesLeft(), loss);
  if (!coded.layer) {
    step.done = true;
    codedInVain_ = coded.outOfReach ? mostInVain : codedInVain_ + 1;
    return false;
  }
  layers_.background = std::move(coded.layer->image);
  // The same with cheaper ink.
  const EncodedImage before = layers_.foreground;
  if (!codeInk(colors_, page_.channels() == 1 ? greyInkQualities[0] : colorInkQualities[0])) return false;
  const Result<Pixels> cheapInk = decodeJpeg(layers_.foreground.data);
  if (cheapInk && layers_.foreground.cost() < before.cost()) {
    setInk(*cheapInk);
    if (loss(coded.layer->shown).passes()) return true;
  }
  layers_.foreground = before;
  return true;
}

std::optional<LayeredImage> Layering::run() {
  const Pixels shownPage = asShown(page_);
  luma_ = withDarkInk(lumaOf(shownPage));
  if (!splitOff()) return std::nullopt;
  const Size viewSize = sizeAt(viewingDpi), reading = sizeAt(readingDpi);
  const Pixels read = areaAverage(shownPage, reading.width, reading.height);
  strokes_.emplace(lumaOf(read));
  viewOfRead_.emplace(read, viewSize.width, viewSize.height);
  view_.emplace(shownPage, viewSize.width, viewSize.height);
  shownView_.emplace(shownPage, viewSize.width, viewSize.height, Reduction::blocks);
  keepStrokes();
  regions_ = regionsOf(inPictures_, static_cast<double>(page_.width()) / inPictures_.across,
                       static_cast<double>(page_.height()) / inPictures_.down, page_.width(), page_.height(),
                       mostPictures);
  std::uint64_t area = 0;
  for (const PixelRegion& region : regions_) area += region.area();
  pictureShare_ = static_cast<double>(area) / static_cast<double>(page_.pixelCount());
  if (pictureShare_ > mostPicture) return std::nullopt;
  if (!codeMaskOfInk()) return std::nullopt;
  if (!codePictures(colors_)) return std::nullopt;
  if (!codeInk(colors_, page_.channels() == 1 ? greyInkQualities[1] : colorInkQualities[1]))
    return std::nullopt;
  const double first =
      wantsFinerPaper_ ? std::max<double>(pictureDpi, settings_.mrcLayerDpi) : settings_.mrcLayerDpi;
  std::vector<Step> steps(1);
  steps[0].size = sizeAt(first);
  for (const double dpi : paperSteps) {
    const Size size = sizeAt(dpi);
    if (dpi > first && size != steps.back().size) steps.emplace_back().size = size;
  }
  const Result<Pixels> ink = decodeJpeg(layers_.foreground.data);
  if (!ink || bytesLeft() == 0) return std::nullopt;
  setInk(*ink);
  // What has been coded in vain is not coded again, and three times are enough.
  const Size view = sizeAt(viewingDpi);
  bool finestKnown = false;
  for (const double reserve : {1.0, leastReserve})
    for (Step& step : steps) {
      if (step.done || codedInVain_ >= mostInVain) continue;
      if (carries(step, *ink, floorWith(reserve))) {
        if (codePaperAt(step)) return std::move(layers_);
      } else if (!finestKnown && step.size.width >= view.width && step.size.height >= view.height) {
        finestKnown = true;
        if (inkIsAtFault(steps.back(), *ink)) return std::nullopt;
      }
    }
  return std::nullopt;
}

}  // namespace

std::size_t LayeredImage::cost() const {
  std::size_t sum = background.cost() + foreground.cost() + mask.cost() + overhead;
  for (const LayeredPicture& picture : pictures) sum += picture.image.cost() + pictureOverhead;
  return sum;
}

std::optional<LayeredImage> codeInLayers(const Pixels& pixels, double dpiX, double dpiY,
                                         const Settings& settings, std::size_t toBeat,
                                         const ColorConverter* shown) {
  if (pixels.bits() != 8 || (pixels.kind() != ColorKind::grey && pixels.kind() != ColorKind::rgb))
    return std::nullopt;
  if (!holdsPaper(settings.mrcLayerCodec) || !holdsMask(settings.mrcMaskCodec)) return std::nullopt;
  // Of a page that is hardly finer than it is looked at, the paper alone takes nearly what the whole takes.
  constexpr double leastDpi = 130;
  if (pixels.width() < 64 || pixels.height() < 64 || dpiX < leastDpi || dpiY < leastDpi) return std::nullopt;
  const auto wanted = static_cast<std::size_t>(advantage * static_cast<double>(toBeat));
  return Layering(pixels, dpiX, dpiY, settings, wanted, shown).run();
}

}  // namespace optimizer
