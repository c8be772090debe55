#include "kelvara/profile_settings.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "kelv/profile/profile_keys.h"

namespace kelvara {
namespace {

using optimizer::Settings;

struct Switch {
  const char* key;
  bool Settings::*field;
};

constexpr Switch switches[] = {
    {"clipImages", &Settings::clipImages},
    {"reduceColorComplexity", &Settings::reduceColorComplexity},
    {"forceRecompression", &Settings::forceRecompression},
    {"convertToCFF", &Settings::convertToCff},
    {"mergeEmbeddedFonts", &Settings::mergeEmbeddedFonts},
    {"removeStandardFonts", &Settings::removeStandardFonts},
    {"subsetFonts", &Settings::subsetFonts},
    {"optimizeResources", &Settings::optimizeResources},
    {"removeRedundantObjects", &Settings::removeRedundantObjects},
};

}  // namespace

std::optional<Settings> settingsOf(const kelv::CompressionProfile& profile) {
  const std::optional<float> quality = kelv::floatValue(profile, "imageQuality");
  const std::optional<float> resolution = kelv::floatValue(profile, "imageResolution");
  if (!quality || !resolution) return std::nullopt;
  const float percent = *quality * 100.0F;
  if (!std::isfinite(percent) || std::abs(percent) >= 2147483648.0F) return std::nullopt;

  Settings settings;
  settings.imageQuality = std::clamp(static_cast<int>(percent), 1, 100);
  if (std::isfinite(*resolution) && *resolution >= 0) {
    settings.bitonal = settings.monochrome = settings.color = {*resolution, *resolution};
  }
  const std::uint32_t conversion = kelv::uint32Value(profile, "colorConversion").value_or(0);
  if (conversion <= 3) settings.colorConversion = static_cast<optimizer::ColorConversion>(conversion);
  for (const Switch& setting : switches) {
    const std::int32_t standIn = kelv::findProfileKey(setting.key)->defaultNumber;
    settings.*setting.field = kelv::int32Value(profile, setting.key).value_or(standIn) != 0;
  }
  for (const kelv::StripKey& strip : kelv::stripKeys()) {
    const bool standIn = kelv::findProfileKey(strip.name)->defaultNumber != 0;
    if (kelv::flagValue(profile, strip.name).value_or(standIn)) settings.strip |= strip.bit;
  }
  settings.removeImages = kelv::flagValue(profile, "removeAllImages").value_or(false);

  // The same for every profile.
  settings.bitonalCodecs = 0x440;
  settings.continuousCodecs = 0x502;
  settings.indexedCodecs = 4;
  settings.linearize = true;
  return settings;
}

optimizer::Status applyInformation(const kelv::CompressionProfile& profile, optimizer::Document& document) {
  for (const kelv::InformationKeys& keys : kelv::informationKeys()) {
    std::string value = "Kelvara 4";
    if (kelv::flagValue(profile, keys.removeKey).value_or(false)) {
      const std::string standIn = kelv::findProfileKey(keys.customKey)->defaultText;
      value = kelv::textValue(profile, keys.customKey).value_or(standIn);
      if (*value.c_str() == '\0') value = standIn;
    } else if (std::string_view(keys.entry) != "Producer") {
      continue;
    }
    optimizer::Status set = document.setInfoEntry(keys.entry, value.c_str());
    if (!set.ok()) return set;
  }
  return {};
}

}  // namespace kelvara
