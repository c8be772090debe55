#include "kelvara/ready_profiles.h"

#include <vector>

namespace kelvara {
namespace {

using platform::PropertyList;

PropertyList real(double value) { return PropertyList(value); }
PropertyList integer(std::int64_t value) { return PropertyList(value); }
PropertyList flag(bool value) { return PropertyList(value); }

// Every profile names the settings that make it what it is; all other keys keep their defaults.
std::vector<ReadyProfile> makeProfiles() {
  return {
      {"web",
       "for screens and the web: images at 150 dpi, good quality",
       "Looks the same at normal viewing. Links, outlines, forms, tags and attachments stay.",
       {{"imageQuality", real(0.75)}, {"imageResolution", real(150)}, {"stripThumbnails", flag(true)}}},
      {"e-mail",
       "for attachments: images at 110 dpi, medium quality",
       "Made to pass size limits. Images are soft when enlarged; text stays sharp. Links, outlines, forms "
       "and tags stay.",
       {{"imageQuality", real(0.6)},
        {"imageResolution", real(110)},
        {"stripThumbnails", flag(true)},
        {"stripSpiderInfo", flag(true)},
        {"removeStandardFonts", integer(1)}}},
      {"print",
       "for paper: images at 300 dpi, high quality",
       "Colours and the output intent for the press are left as they are; so are alternate images made for "
       "printing.",
       {{"imageQuality", real(0.9)},
        {"imageResolution", real(300)},
        {"reduceColorComplexity", integer(0)},
        {"stripAlternateImages", flag(false)},
        {"stripThumbnails", flag(true)}}},
      {"archive",
       "for keeping: nothing is lost, images stay pixel for pixel",
       "Only the way in which the document is stored gets smaller: no resampling, no colour change, no font "
       "is cut, "
       "nothing is stripped.",
       {{"imageQuality", real(1)},
        {"imageResolution", real(0)},
        {"clipImages", integer(0)},
        {"reduceColorComplexity", integer(0)},
        {"convertToCFF", integer(0)},
        {"subsetFonts", integer(0)},
        {"stripPieceInfo", flag(false)},
        {"stripAlternateImages", flag(false)}}},
      {"minimum",
       "as small as it gets: images at 72 dpi, low quality",
       "Gives up what a reader can miss: fine detail of images, metadata, article threads, thumbnails, the "
       "structure tree "
       "that screen readers use. Links and forms stay.",
       {{"imageQuality", real(0.35)},
        {"imageResolution", real(72)},
        {"forceRecompression", integer(1)},
        {"removeStandardFonts", integer(1)},
        {"stripThreads", flag(true)},
        {"stripMetadata", flag(true)},
        {"stripDocumentStructureTree", flag(true)},
        {"stripThumbnails", flag(true)},
        {"stripSpiderInfo", flag(true)},
        {"stripTheDocumentOutputIntents", flag(true)}}},
  };
}

}  // namespace

std::span<const ReadyProfile> readyProfiles() {
  static const std::vector<ReadyProfile> profiles = makeProfiles();
  return profiles;
}

const ReadyProfile* findReadyProfile(std::string_view name) {
  if (name == "email") name = "e-mail";
  for (const ReadyProfile& profile : readyProfiles()) {
    if (profile.name == name) return &profile;
  }
  return nullptr;
}

}  // namespace kelvara
