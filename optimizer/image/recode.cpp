#include "optimizer/image/recode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/flate.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"
#include "optimizer/image/candidates.h"
#include "optimizer/image/classify.h"
#include "optimizer/image/codec_rules.h"
#include "optimizer/image/decode.h"
#include "optimizer/image/dither.h"
#include "optimizer/image/hidden.h"
#include "optimizer/image/look.h"
#include "optimizer/image/lossy.h"
#include "optimizer/image/lossy_jpx.h"
#include "optimizer/image/quantize.h"
#include "optimizer/image/resample.h"

namespace optimizer {
namespace {

// What resampling alone must leave above the floor of `shown`, for the coding that comes after.
constexpr double codingReserve = 0.012;
// Where the settings' resolution cannot carry an image's detail, this multiple of it is tried.
constexpr double finerResolution = 4.0 / 3;

// Up to so many times the resolution an image is hardly finer than what was asked for.
constexpr double slightReduction = 1.5;

// What a palette of fewer colours must keep at the image's own size: bands in smooth colours show there.
constexpr double fewColorsCloseUp = 0.97;
// What the same coefficients of a JPEG take at least when they are coded anew.
constexpr double sameCoefficientsShare = 0.75;
// A picture larger than this keeps what its mask hides.
constexpr std::uint64_t mostFilled = 8'000'000;

// A lossy form must be this much smaller than the best lossless one to be worth its loss.
constexpr double lossyAdvantage = 0.92;
// Below this many bytes an image is not worth any loss.
constexpr std::size_t tinyImage = 600;

// JPEG 2000 costs viewers many times the work of the other codings: it must be this much smaller than the
// best of them to be taken, and there must be something to gain.
constexpr double jpxAdvantage = 0.8;
constexpr std::size_t leastForJpx = 8000;
constexpr double losslessJpxAdvantage = 0.9;
// Bytes of samples: its encoder takes more than ten times as much memory.
constexpr std::size_t mostForJpx = std::size_t{9} << 20;

// Where an image must be coded anew, whatever it takes now.
constexpr std::size_t anySize = ~std::size_t{0} / 4;

std::size_t shareOf(std::size_t bytes, double share) {
  return static_cast<std::size_t>(share * static_cast<double>(bytes));
}

struct Size {
  std::uint32_t width, height;
  bool operator==(const Size&) const = default;
};

std::uint32_t sideFor(std::uint32_t side, double dpi, double resolution) {
  if (dpi <= resolution) return side;
  return std::clamp(static_cast<std::uint32_t>(std::ceil(side * resolution / dpi - 0.01)), 1u, side);
}

// finer: multiplies the resolution.
Size targetSize(const ImageJob& job, const Resampling& wanted, double finer = 1) {
  const Size whole{job.source.width, job.source.height};
  if (job.losslessOnly || job.preblended || wanted.resolution <= 0) return whole;
  const double threshold = std::max(wanted.threshold, wanted.resolution);
  if (std::max(job.dpiX, job.dpiY) <= threshold) return whole;
  const double resolution = wanted.resolution * finer;
  return {sideFor(whole.width, job.dpiX, resolution), sideFor(whole.height, job.dpiY, resolution)};
}

// Everything that may be done to the pixels of one image, after decoding.
class Recoding {
 public:
  Recoding(const ImageJob& job, const Settings& settings)
      : job_(job), settings_(settings), rules_(job.source, settings), choice_(sizeToBeat(), settings.deflateLevel()) {}

  std::optional<RecodedImage> run();

 private:
  bool lossyAllowed() const {
    return !job_.losslessOnly && settings_.imageQuality < 100 && job_.role != ImageRole::stencil;
  }
  double advantage() const { return settings_.forceRecompression ? 1.0 : lossyAdvantage; }
  bool sampled() const {
    return job_.source.coding == ImageCoding::raw || job_.source.coding == ImageCoding::flate;
  }

  bool forced() const {
    const bool losslessSource = sampled() || presentCodec(job_.source) == Codec::bitonal;
    return rules_.mustChange() || (settings_.forceRecompression && (lossyAllowed() || losslessSource));
  }
  std::size_t sizeToBeat() const { return forced() ? anySize : job_.source.storedBytes; }
  // Viewers that reduce an image average its stored samples and apply the Decode array afterwards: turned round, the
  // averages would be rounded to other neighbours.
  bool keepsDecode() const { return settings_.imageQuality >= 100 && !job_.source.plainDecode(); }
  // Whether samples of that class may be coded by Flate, or stay coded so.
  bool mayDeflate(bool allowed) const {
    return allowed || (presentCodec(job_.source) == Codec::flate && !rules_.mustChange());
  }

  void offerSameSamples();
  void offerBitonal(const Pixels& pixels, bool lossless);
  void offerLossless(const Pixels& pixels, const ImageFacts& facts, bool exact);
  // False where a JPEG of these pixels cannot keep the look, but one of more of them might.
  bool offerLossy(const Views* views, const Pixels& pixels, const ImageFacts& facts);
  void offerFewerColors(const Pixels& pixels, const ImageFacts& facts, const LookTarget& target,
                        const Views& views);
  bool mayBeJpx(const Pixels& pixels, std::size_t jpegBytes) const;
  std::optional<EncodedImage> jpxFor(const LookTarget& target, const Pixels& pixels, std::size_t jpegBytes) const;
  void offerJpxLike(const Pixels& pixels, const EncodedImage& jpeg);
  void offerLosslessJpx(const Pixels& pixels);
  void bitonalImage(const Pixels& pixels);
  void becomeBitonal(const Pixels& pixels);
  void tonedImage(Pixels pixels);
  Pixels reduced(const Pixels& pixels, const ImageFacts& facts, Size size) const;
  bool fillHidden(Pixels& pixels, const ImageFacts& facts);

  const ImageJob& job_;
  const Settings& settings_;
  const CodecRules rules_;
  Choice choice_;
  Pixels alpha_;  // of the soft mask, where it has the picture's size
};

// Any coding whose samples need no understanding: the same samples in fewer bytes.
void Recoding::offerSameSamples() {
  if (job_.source.coding == ImageCoding::jpeg) {
    // Coding anew is what was asked for, not the same coefficients once more.
    if (rules_.mustChange() || (settings_.forceRecompression && lossyAllowed())) return;
    Result<Bytes> smaller = optimizeJpeg(job_.source.data);
    if (!smaller) return;
    EncodedImage image;
    image.codec = Codec::jpeg;
    image.filter = "DCTDecode";
    if (job_.source.colorTransform) {
      image.decodeParms = "<</ColorTransform " + std::to_string(*job_.source.colorTransform) + ">>";
    }
    image.width = job_.source.width;
    image.height = job_.source.height;
    image.data = std::move(*smaller);
    choice_.offer({std::move(image), {}, {}, true});
  } else if (sampled() &&
             mayDeflate(job_.source.color.kind == ColorKind::indexed ? rules_.indexed(Codec::flate)
                        : job_.source.bits == 1                      ? rules_.bitonal(Codec::flate)
                                                                     : rules_.continuous(Codec::flate))) {
    Result<PackedSamples> samples = decodeSamples(job_.source);
    if (!samples) return;
    Candidate candidate = plainCandidate(*samples);
    candidate.sameSamples = true;
    choice_.offer(std::move(candidate));
  }
}

void Recoding::offerBitonal(const Pixels& pixels, bool lossless) {
  const ImageSource& source = job_.source;
  const bool asStored = keepsDecode() && source.bits == 1 && source.color.kind == ColorKind::grey &&
                        source.invertedDecode();
  if (rules_.bitonal(Codec::bitonal)) {
    Candidate bitonal{encodeBitonal(asStored ? inverted(pixels) : pixels), {}, {}, asStored};
    bitonal.image.lossless = lossless;
    choice_.offer(std::move(bitonal));
  }
  if (!asStored && mayDeflate(rules_.bitonal(Codec::flate))) {
    Candidate flate = plainCandidate(pixels);
    flate.image.lossless = lossless;
    choice_.offer(std::move(flate));
  }
}

// Grey and colours where the settings leave them no other coding.
void Recoding::becomeBitonal(const Pixels& pixels) {
  const Pixels grey = lumaOf(pixels);
  const Size size = targetSize(job_, settings_.monochrome);
  const Pixels smaller = resample(grey, size.width, size.height);
  Candidate bitonal{
      encodeBitonal(ditherTo1Bit(smaller, static_cast<Dithering>(settings_.ditheringMode))), {}, {}, false};
  bitonal.image.lossless = false;
  choice_.offer(std::move(bitonal));
}

void Recoding::bitonalImage(const Pixels& pixels) {
  offerBitonal(pixels, true);
  const Size size = targetSize(job_, settings_.bitonal);
  if (size == Size{pixels.width(), pixels.height()} || settings_.imageQuality >= 100) return;
  const Pixels grey = resample(expandTo8Bits(pixels), size.width, size.height);
  const Pixels bitonal = ditherTo1Bit(grey, static_cast<Dithering>(settings_.ditheringMode));
  if (lookDecides(settings_, settings_.bitonal)) {
    if (!looksRight(Views(expandTo8Bits(pixels), job_), bitonal, maskFloor)) return;
  }
  offerBitonal(bitonal, false);
}

void Recoding::offerLossless(const Pixels& pixels, const ImageFacts& facts, bool exact) {
  const bool reduce = settings_.reduceColorComplexity || !exact;
  const auto offer = [&](Candidate candidate) {
    candidate.image.lossless = exact;
    choice_.offer(std::move(candidate));
  };
  const ColorKind kind = pixels.kind();
  // RGB that is grey: as DeviceGray where that looks the same; else a palette in its own space does as well.
  const bool toGrey = reduce && facts.grey && kind == ColorKind::rgb && job_.deviceColors && !job_.preblended;
  if (kind == ColorKind::grey || toGrey) {
    const Pixels grey = firstChannel(pixels);
    std::optional<Bytes> levels;
    if (facts.palette && reduce) {
      levels.emplace();
      for (std::size_t i = 0; i < facts.palette->size(); i += pixels.channels())
        levels->push_back((*facts.palette)[i]);
    }
    if (levels && bitsForLevels(*levels) == 1 && job_.source.color.kind != ColorKind::indexed) {
      Pixels bitonal = thresholdTo1Bit(grey);
      offerBitonal(bitonal, exact);
    }
    if (mayDeflate(rules_.continuous(Codec::flate))) offer(greyCandidate(grey, levels));
  } else if (kind != ColorKind::indexed) {
    // A palette of some hundred colours almost always beats three samples a pixel; without one there is no
    // choice.
    if ((!facts.palette || !reduce || job_.preblended || pixels.pixelCount() < 256) &&
        mayDeflate(rules_.continuous(Codec::flate))) {
      offer(plainCandidate(pixels));
    }
  }
  // SMask must stay DeviceGray (ISO 32000-1, Table 145), so masks get no palette.
  if (reduce && facts.palette && job_.role == ImageRole::picture && !job_.preblended &&
      kind != ColorKind::other && mayDeflate(rules_.indexed(Codec::flate)) &&
      (facts.colors <= 16 || pixels.channels() > 1 || kind == ColorKind::indexed)) {
    const Bytes palette = sortedPalette(*facts.palette, pixels.channels());
    offer(indexedCandidate(indexByPalette(pixels, palette), palette, pixels.channels(), kind));
  }
}

// Photographs where nothing may be lost: often half of what Flate takes. Viewers that draw at a smaller size decode
// fewer of its resolutions, and show something other than the averages of samples: not where every pixel counts.
void Recoding::offerLosslessJpx(const Pixels& pixels) {
  if (!settings_.reduceColorComplexity && !rules_.mustChange()) return;
  if (!rules_.jpeg2000() || settings_.imageQuality < 100 || job_.role != ImageRole::picture ||
      job_.preblended || pixels.samples().size() > mostForJpx ||
      (pixels.kind() != ColorKind::grey && pixels.kind() != ColorKind::rgb)) {
    return;
  }
  Result<EncodedImage> image = encodeJpx(pixels, 0);
  if (!image || static_cast<double>(image->cost()) >
                    losslessJpxAdvantage * static_cast<double>(choice_.losslessSize())) {
    return;
  }
  choice_.offer({std::move(*image), {}, {}, false});
}

// views: of the original; null where the quality is a plain number.
bool Recoding::offerLossy(const Views* views, const Pixels& pixels, const ImageFacts& facts) {
  const ColorKind kind = pixels.kind();
  const bool jpegSuits = rules_.continuous(Codec::jpeg) &&
                         (kind != ColorKind::other || pixels.channels() == 1) &&
                         facts.kind != ImageClass::bitonal;
  const bool toGrey = settings_.reduceColorComplexity && facts.grey && kind == ColorKind::rgb &&
                      job_.deviceColors && !job_.preblended;
  const Pixels asGrey = toGrey ? firstChannel(pixels) : Pixels();
  const Pixels& coded = toGrey ? asGrey : pixels;
  int highest = 100;
  if (job_.source.coding == ImageCoding::jpeg && pixels.width() == job_.source.width &&
      pixels.height() == job_.source.height) {
    // What is already as coarse as it would become is not coded twice.
    const Result<JpegInfo> info = readJpegInfo(job_.source.data);
    if (info && !forced()) highest = info->quality - 6;
  }
  if (views == nullptr) {
    const int quality = settings_.imageQuality;
    if (!(jpegSuits || rules_.jpeg2000()) || (quality > highest && !forced())) return true;
    JpegOptions options;
    options.quality = quality;
    options.subsampleChroma =
        quality < 90 && facts.kind == ImageClass::continuous && chromaSurvivesHalving(coded);
    Result<EncodedImage> image = encodeJpeg(coded, options);
    if (!image) return true;
    offerJpxLike(coded, *image);
    if (jpegSuits) choice_.offer({std::move(*image), {}, {}, false});
    return true;
  }
  const LookReference closeUp(pixels, pixels.width(), pixels.height(), Reduction::blocks);
  const bool synthetic = facts.kind == ImageClass::synthetic;
  const LookFloor floor = floorFor(job_, settings_, facts);
  const LookTarget target{views->area, views->blocks, closeUp, floor};
  if (synthetic && job_.role == ImageRole::picture && !job_.preblended &&
      mayDeflate(rules_.indexed(Codec::flate)) && (kind == ColorKind::rgb || kind == ColorKind::grey)) {
    offerFewerColors(coded, facts, target, *views);
  }
  if (!jpegSuits && !rules_.jpeg2000()) return true;
  const JpegSearch search(coded, target, highest, choice_.lossyBudget(advantage()));
  if (!search.found()) return search.tooLarge();
  std::optional<EncodedImage> jpx;
  if (mayBeJpx(coded, search.leastBytes())) jpx = jpxFor(target, coded, search.mostBytes());
  // Where JPEG 2000 is clearly smaller than any JPEG, that need not be made to be beaten.
  const bool clearly = jpx && jpx->data.size() <= shareOf(search.leastBytes(), jpxAdvantage);
  LookResult jpeg;
  if (jpegSuits && !clearly) jpeg = search.encode();
  if (jpeg.image && jpx && jpx->data.size() > shareOf(jpeg.image->data.size(), jpxAdvantage)) jpx.reset();
  const bool settled = jpx || jpeg.image || jpeg.tooLarge || !jpegSuits;
  if (jpx) choice_.offer({std::move(*jpx), {}, {}, false});
  if (jpeg.image) choice_.offer({std::move(*jpeg.image), {}, {}, false});
  return settled;
}

bool Recoding::mayBeJpx(const Pixels& pixels, std::size_t jpegBytes) const {
  return rules_.jpeg2000() && job_.role == ImageRole::picture &&
         (!rules_.continuous(Codec::jpeg) || jpegBytes >= leastForJpx) && pixels.samples().size() <= mostForJpx &&
         (pixels.kind() == ColorKind::grey || pixels.kind() == ColorKind::rgb);
}

std::optional<EncodedImage> Recoding::jpxFor(const LookTarget& target, const Pixels& pixels,
                                             std::size_t jpegBytes) const {
  // Where there may be no JPEG, its size only says how many bytes the picture may take.
  return rules_.continuous(Codec::jpeg) ? encodeJpxForLook(pixels, target, shareOf(jpegBytes, jpxAdvantage))
                                        : encodeJpxOf(pixels, jpegBytes);
}

// One that looks like the JPEG.
void Recoding::offerJpxLike(const Pixels& pixels, const EncodedImage& jpeg) {
  const std::size_t bytes = jpeg.data.size();
  if (!mayBeJpx(pixels, bytes)) return;
  std::optional<EncodedImage> image = rules_.continuous(Codec::jpeg)
                                          ? encodeJpxLike(pixels, jpeg, shareOf(bytes, jpxAdvantage))
                                          : encodeJpxOf(pixels, bytes);
  if (image) choice_.offer({std::move(*image), {}, {}, false});
}

// Most of the colours of charts and screenshots are shades of edges, which a small palette holds as well. Fewer
// colours take fewer bytes and look worse: the fewest that pass are found by halving.
void Recoding::offerFewerColors(const Pixels& pixels, const ImageFacts& facts, const LookTarget& target,
                                const Views& views) {
  constexpr std::array<std::size_t, 5> palettes = {256, 128, 64, 32, 16};
  const Quantizer quantizer(pixels);
  std::size_t low = 0, high = palettes.size();
  while (facts.palette && low < high && palettes[low] >= facts.colors) ++low;
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    const QuantizedImage quantized = quantizer.reduceTo(palettes[middle]);
    Candidate candidate =
        indexedCandidate(quantized.indexes, quantized.palette, pixels.channels(), pixels.kind());
    candidate.image.lossless = false;
    if (candidate.estimate() >= choice_.lossyBudget(advantage())) {
      low = middle + 1;
      continue;
    }
    ImageColorSpace space;
    space.baseKind = pixels.kind();
    space.baseComponents = pixels.channels();
    space.palette = quantized.palette;
    const Pixels shown = applyPalette(quantized.indexes, space);
    if (looksRight(views, shown, target.floor) && target.closeUp.compare(shown).structure >= fewColorsCloseUp) {
      choice_.offer(std::move(candidate));
      low = middle + 1;
    } else {
      high = middle;
    }
  }
}

Pixels Recoding::reduced(const Pixels& pixels, const ImageFacts& facts, Size size) const {
  if (!alpha_.empty()) return resampleUnderMask(pixels, alpha_, size.width, size.height);
  // Beside the hard edges of what is drawn a sharper filter leaves ringing, which is seen on flat colours and
  // costs bytes.
  if (facts.kind == ImageClass::synthetic) return areaAverage(pixels, size.width, size.height);
  return resample(pixels, size.width, size.height);
}

// Reads the soft mask of the same size, and fills what it hides where that is worth its time.
bool Recoding::fillHidden(Pixels& pixels, const ImageFacts& facts) {
  if (!job_.softMask || job_.softMask->width != pixels.width() || job_.softMask->height != pixels.height())
    return false;
  Result<Pixels> mask = decodeImage(*job_.softMask);
  if (!mask || mask->channels() != 1 || mask->kind() != ColorKind::grey) return false;
  alpha_ = expandTo8Bits(*mask);
  return pixels.pixelCount() <= mostFilled && fillUnderMask(pixels, alpha_, facts.kind == ImageClass::synthetic);
}

void Recoding::tonedImage(Pixels pixels) {
  const bool wasIndexed = pixels.kind() == ColorKind::indexed;
  if (wasIndexed) pixels = applyPalette(pixels, job_.source.color);
  ImageFacts facts = measureImage(pixels);
  const bool grey = pixels.kind() == ColorKind::grey || (facts.grey && pixels.kind() == ColorKind::rgb);
  const bool whole = pixels.width() == job_.source.width && pixels.height() == job_.source.height;

  // At full size and without loss: hopeless for photographs, which are the ones that would cost the time.
  const bool lossyCodec = rules_.continuous(Codec::jpeg) || rules_.jpeg2000();
  const bool worthLossless = !lossyAllowed() || !lossyCodec || facts.kind != ImageClass::continuous ||
                             facts.palette || pixels.pixelCount() < 64 * 64;
  // What is coded with loss already would only grow.
  const bool lossySource = job_.source.coding == ImageCoding::jpeg || job_.source.coding == ImageCoding::jpx;
  if (whole && worthLossless && (!lossySource || rules_.mustChange())) {
    offerLossless(pixels, facts, true);
    if (facts.kind == ImageClass::continuous && !facts.palette) offerLosslessJpx(pixels);
  }
  if (!lossyAllowed() || choice_.losslessSize() < tinyImage) return;
  // Channels that are equal need be worked on once only.
  if (settings_.reduceColorComplexity && grey && job_.deviceColors && !job_.preblended) {
    pixels = firstChannel(pixels);
  }
  if (whole && !job_.preblended && fillHidden(pixels, facts)) {
    facts = measureImage(pixels);
    if (facts.kind != ImageClass::continuous || facts.palette) offerLossless(pixels, facts, false);
  }
  std::optional<Views> views;
  const Resampling& wanted = grey ? settings_.monochrome : settings_.color;
  if (lookDecides(settings_, wanted)) views.emplace(pixels, job_);
  const Views* judge = views ? &*views : nullptr;
  for (double finer : {1.0, finerResolution}) {
    const Size size = targetSize(job_, wanted, finer);
    if (size.width >= pixels.width() && size.height >= pixels.height()) break;
    const Pixels smaller = reduced(pixels, facts, size);
    ImageFacts smallerFacts = measureImage(smaller);
    if (facts.kind == ImageClass::synthetic) smallerFacts.kind = ImageClass::synthetic;
    if (settings_.perceptualQuality) {
      LookFloor floor = floorFor(job_, settings_, smallerFacts);
      floor.shown += codingReserve;
      if (!looksRight(*judge, smaller, floor)) continue;
    }
    if (smallerFacts.kind != ImageClass::continuous || smallerFacts.palette ||
        !rules_.continuous(Codec::jpeg) || smaller.kind() == ColorKind::other) {
      offerLossless(smaller, smallerFacts, false);
    }
    const bool settled = offerLossy(judge, smaller, smallerFacts);
    if (settled && settings_.perceptualQuality) return;
    if (settings_.perceptualQuality) continue;
    // A resolution that was asked for is kept to, and so is the number where no quality keeps the look.
    if (!settled) offerLossy(nullptr, smaller, smallerFacts);
    // But a slight reduction blurs, and what is blurred may take more bytes to look worse.
    const bool slight = judge != nullptr && std::max(job_.dpiX, job_.dpiY) <= slightReduction * wanted.resolution;
    if (slight) offerLossy(judge, pixels, facts);
    return;
  }
  // Nothing to resample, or detail that a lower resolution cannot carry: quality does the work.
  if (!offerLossy(judge, pixels, facts) && !settings_.perceptualQuality) offerLossy(nullptr, pixels, facts);
}

std::optional<RecodedImage> Recoding::run() {
  const ImageSource& source = job_.source;
  // A Decode array that scales the samples rounds them, and each viewer in its own way.
  const bool scaled = !source.plainDecode() && !source.invertedDecode();
  // Palettes of spot colours: viewers that show them alike differ once the colours are samples of their own.
  const bool spotPalette =
      source.color.kind == ColorKind::indexed && source.color.baseKind == ColorKind::other;
  const bool untouchable = source.colorKeyMask || source.color.lab || source.jpxAlpha || spotPalette ||
                           (scaled && (!lossyAllowed() || source.color.kind == ColorKind::indexed)) ||
                           (keepsDecode() && source.bits != 1 && !settings_.reduceColorComplexity &&
                            !rules_.mustChange());
  if (job_.role == ImageRole::softMask && sampled() && source.color.kind != ColorKind::grey)
    return std::nullopt;
  if (job_.role == ImageRole::stencil && !source.stencil) return std::nullopt;
  // The same coefficients in fewer bytes are of use only where no lossy form is smaller by far.
  const bool atOnce = untouchable || job_.losslessOnly || job_.preblended || source.color.kind == ColorKind::other ||
                      keepsDecode() || (!settings_.reduceColorComplexity && settings_.imageQuality >= 100) || source.bits == 16;
  const bool later = !atOnce && source.coding == ImageCoding::jpeg && lossyAllowed();
  if (atOnce || (source.coding == ImageCoding::jpeg && !later)) offerSameSamples();
  if (untouchable || (job_.preblended && source.color.kind == ColorKind::indexed)) {
    return choice_.take(lossyAdvantage);
  }
  if (source.bits == 16 && !settings_.reduceColorComplexity && !lossyAllowed())
    return choice_.take(lossyAdvantage);

  const Size size = targetSize(job_, settings_.color);
  const std::uint32_t reduce = std::max(1u, std::min(source.width / size.width, source.height / size.height));
  // A JPEG keeps twice the wanted resolution, which a finer filter then reduces and the result is judged by.
  Result<Pixels> pixels =
      decodeImage(source, source.coding == ImageCoding::jpeg ? std::max(1u, reduce / 2) : reduce);
  if (!pixels) {
    if (later) offerSameSamples();
    return choice_.take(lossyAdvantage);
  }

  if (job_.role == ImageRole::softMask && settings_.reduceColorComplexity && pixels->bits() == 8 &&
      pixels->width() == source.width && !source.matte &&
      std::all_of(pixels->samples().begin(), pixels->samples().end(),
                  [](std::uint8_t a) { return a == 255; })) {
    RecodedImage opaque;
    opaque.opaqueMask = true;
    return opaque;
  }
  if (pixels->bits() == 1) {
    bitonalImage(*pixels);
  } else if (rules_.mustBecomeBitonal() && lossyAllowed() && !job_.preblended &&
             job_.role == ImageRole::picture && pixels->kind() != ColorKind::other) {
    becomeBitonal(*pixels);
  } else {
    tonedImage(std::move(*pixels));
  }
  if (later && choice_.lossySize() > sameCoefficientsShare * static_cast<double>(source.storedBytes)) {
    offerSameSamples();
  }
  return choice_.take(advantage());
}

}  // namespace

std::optional<RecodedImage> recodeImage(const ImageJob& job, const Settings& settings) {
  return Recoding(job, settings).run();
}

std::size_t recodingCost(const ImageJob& job) {
  const std::size_t pixels = std::min<std::size_t>(decodedBytes(job.source), maxImageBytes);
  return job.source.bits == 1 ? pixels * 4
                              : pixels * 4 + std::min(pixels, mostForJpx) * 4 + job.source.data.size();
}

}  // namespace optimizer
