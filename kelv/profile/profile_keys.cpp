#include "kelv/profile/profile_keys.h"

#include <algorithm>
#include <array>

namespace kelv {
namespace {

constexpr ProfileKey real(const char* name) { return {name, ValueType::real, 0, "", true}; }
constexpr ProfileKey integer(const char* name, std::int32_t value) {
  return {name, ValueType::int32, value, "", false};
}
constexpr ProfileKey flag(const char* name, bool value) { return {name, ValueType::flag, value, "", false}; }
constexpr ProfileKey text(const char* name, const char* value) {
  return {name, ValueType::text, 0, value, false};
}

constexpr std::array keys = {
    real("imageQuality"),
    real("imageResolution"),
    ProfileKey{"colorConversion", ValueType::uint32, 0, "", false},
    integer("clipImages", 1),
    integer("reduceColorComplexity", 1),
    integer("forceRecompression", 0),
    integer("convertToCFF", 1),
    integer("mergeEmbeddedFonts", 1),
    integer("removeStandardFonts", 0),
    integer("subsetFonts", 1),
    integer("optimizeResources", 1),
    integer("removeRedundantObjects", 1),
    flag("removeAuthor", false),
    text("customAuthor", ""),
    flag("removeSubject", false),
    text("customSubject", ""),
    flag("removeTitle", false),
    text("customTitle", ""),
    flag("removeKeywords", false),
    text("customKeywords", ""),
    flag("removeCreator", false),
    text("customCreator", ""),
    flag("removeProducer", false),
    text("customProducer", "-"),
    flag("updateModificationAndCreationDate", false),
    flag("updateModificationDate", false),
    flag("stripThreads", false),
    flag("stripMetadata", false),
    // These two are on unless a profile says no.
    flag("stripPieceInfo", true),
    flag("stripDocumentStructureTree", false),
    flag("stripThumbnails", false),
    flag("stripSpiderInfo", false),
    flag("stripAlternateImages", true),
    flag("stripAndFlattenFormFields", false),
    flag("stripAndFlattenLinkAnnotations", false),
    flag("stripAndFlattenAnnotationsExceptFormFieldsAndLinks", false),
    flag("stripTheDocumentOutputIntents", false),
    flag("removeAllImages", false),
};

constexpr std::array information = {
    InformationKeys{"Author", "removeAuthor", "customAuthor"},
    InformationKeys{"Subject", "removeSubject", "customSubject"},
    InformationKeys{"Title", "removeTitle", "customTitle"},
    InformationKeys{"Keywords", "removeKeywords", "customKeywords"},
    InformationKeys{"Creator", "removeCreator", "customCreator"},
    InformationKeys{"Producer", "removeProducer", "customProducer"},
};

constexpr std::array strips = {
    StripKey{"stripThreads", 0x1},
    StripKey{"stripMetadata", 0x2},
    StripKey{"stripPieceInfo", 0x4},
    StripKey{"stripDocumentStructureTree", 0x8},
    StripKey{"stripThumbnails", 0x10},
    StripKey{"stripSpiderInfo", 0x20},
    StripKey{"stripAlternateImages", 0x40},
    StripKey{"stripAndFlattenFormFields", 0x80},
    StripKey{"stripAndFlattenLinkAnnotations", 0x100},
    StripKey{"stripAndFlattenAnnotationsExceptFormFieldsAndLinks", 0x200},
    StripKey{"stripTheDocumentOutputIntents", 0x400},
};

}  // namespace

std::span<const ProfileKey> profileKeys() { return keys; }

const ProfileKey* findProfileKey(std::string_view name) {
  const auto* found =
      std::find_if(keys.begin(), keys.end(), [name](const ProfileKey& key) { return key.name == name; });
  return found == keys.end() ? nullptr : found;
}

std::span<const InformationKeys> informationKeys() { return information; }

std::span<const StripKey> stripKeys() { return strips; }

}  // namespace kelv
