#include "kelv/compressor/engine_settings.h"

#include "kelv/profile/profile_keys.h"
#include "platform/error.h"

namespace kelv {
namespace {

struct Switch {
  const char* key;
  int (*set)(OptimizerHandle, int);
};

constexpr Switch switches[] = {
    {"clipImages", PdfOptimizeSetClipImages},
    {"reduceColorComplexity", PdfOptimizeSetReduceColorComplexity},
    {"forceRecompression", PdfOptimizeSetForceRecompression},
    {"convertToCFF", PdfOptimizeSetConvertToCFF},
    {"mergeEmbeddedFonts", PdfOptimizeSetMergeEmbeddedFonts},
    {"removeStandardFonts", PdfOptimizeSetRemoveStandardFonts},
    {"subsetFonts", PdfOptimizeSetSubsetFonts},
    {"optimizeResources", PdfOptimizeSetOptimizeResources},
    {"removeRedundantObjects", PdfOptimizeSetRemoveRedundantObjects},
};

// Threshold and resolution are one number for every class of image.
constexpr int (*resolutionSetters[])(OptimizerHandle, float) = {
    PdfOptimizeSetBitonalResolutionDPI,    PdfOptimizeSetBitonalThresholdDPI,
    PdfOptimizeSetMonochromeResolutionDPI, PdfOptimizeSetMonochromeThresholdDPI,
    PdfOptimizeSetColorResolutionDPI,      PdfOptimizeSetColorThresholdDPI,
    PdfOptimizeSetResolutionDPI,           PdfOptimizeSetThresholdDPI,
};

float requiredNumber(const CompressionProfile& profile, const char* key) {
  const std::optional<float> number = floatValue(profile, key);
  if (!number) platform::fatalError(std::string("the profile has no number ") + key, __FILE__, __LINE__);
  return *number;
}

std::int32_t qualityInPercent(float fraction) {
  const float percent = fraction * 100.0F;
  // Not-a-number fails both comparisons. The lower bound is the first float whose truncation does not fit.
  const bool fits = percent > -2147483904.0F && percent < 2147483648.0F;
  if (!fits) platform::fatalError("imageQuality is out of range", __FILE__, __LINE__);
  return static_cast<std::int32_t>(percent);
}

std::int32_t defaultNumber(const char* key) { return findProfileKey(key)->defaultNumber; }

void applyFixedSettings(OptimizerHandle handle) {
  PdfOptimizeSetBitonalCompressions(handle, 0x440);
  PdfOptimizeSetContinuousCompressions(handle, 0x502);
  PdfOptimizeSetIndexedCompressions(handle, 4);
  PdfOptimizeSetForceCompressionTypes(handle, 0);
  PdfOptimizeSetDitheringMode(handle, 0);
  PdfOptimizeSetMrcLayerCompression(handle, 8);
  PdfOptimizeSetMrcLayerResolutionDPI(handle, 70.0F);
  PdfOptimizeSetMrcMaskCompression(handle, 6);
  PdfOptimizeSetMrcLayerQuality(handle, 10);
  PdfOptimizeSetMrcRecognizePictures(handle, 1);
  PdfOptimizeSetMrcPictCompression(handle, 1);
  PdfOptimizeSetAutoLinearize(handle, 1);
}

}  // namespace

void applyImageAndFontSettings(const CompressionProfile& profile, OptimizerHandle handle) {
  const float quality = requiredNumber(profile, "imageQuality");
  const float resolution = requiredNumber(profile, "imageResolution");
  PdfOptimizeSetColorConversion(handle, uint32Value(profile, "colorConversion").value_or(0));
  for (const auto set : resolutionSetters) set(handle, resolution);
  PdfOptimizeSetImageQuality(handle, qualityInPercent(quality));
  for (const Switch& setting : switches) {
    setting.set(handle, int32Value(profile, setting.key).value_or(defaultNumber(setting.key)));
  }
  applyFixedSettings(handle);
}

void applyRemovals(const CompressionProfile& profile, OptimizerHandle handle) {
  std::uint32_t mask = 0;
  for (const StripKey& strip : stripKeys()) {
    if (flagValue(profile, strip.name).value_or(defaultNumber(strip.name) != 0)) mask |= strip.bit;
  }
  PdfOptimizeSetStrip(handle, mask);
  if (flagValue(profile, "removeAllImages").value_or(false)) PdfOptimizeSetRemoveImages(handle, 1);
}

}  // namespace kelv
