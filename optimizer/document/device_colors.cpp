#include "optimizer/document/device_colors.h"

namespace optimizer {
namespace {

void note(DefaultSpace& found, QPDFObjectHandle space) {
  if (space.isNull()) return;
  if (!found.present) {
    found.present = true;
    found.space = space;
  } else if (found.space.unparseResolved() != space.unparseResolved()) {
    found.several = true;
  }
}

void noteIntents(DeviceColors& colors, QPDFObjectHandle intents) {
  if (!intents.isArray()) return;
  for (QPDFObjectHandle intent : intents.getArrayAsVector()) {
    if (!intent.isDictionary()) continue;
    colors.outputIntent = true;
    QPDFObjectHandle profile = intent.getKey("/DestOutputProfile");
    if (!profile.isStream()) continue;
    QPDFObjectHandle components = profile.getDict().getKey("/N");
    if (colors.outputProfile.isInitialized() && colors.outputProfile.isStream()) {
      if (colors.outputProfile.getObjGen() != profile.getObjGen()) colors.severalIntents = true;
      continue;
    }
    colors.outputProfile = profile;
    colors.outputComponents = components.isInteger() ? static_cast<int>(components.getIntValue()) : 0;
  }
}

}  // namespace

DeviceColors deviceColorsOf(Document& document) {
  DeviceColors colors;
  colors.outputProfile = QPDFObjectHandle::newNull();
  noteIntents(colors, document.pdf().getRoot().getKey("/OutputIntents"));
  for (QPDFObjectHandle page : document.pages()) noteIntents(colors, page.getKey("/OutputIntents"));
  if (colors.severalIntents) colors.outputProfile = QPDFObjectHandle::newNull();
  for (QPDFObjectHandle container : document.containers()) {
    if (!container.isDictionary()) continue;
    note(colors.gray, container.getKey("/DefaultGray"));
    note(colors.rgb, container.getKey("/DefaultRGB"));
    note(colors.cmyk, container.getKey("/DefaultCMYK"));
  }
  return colors;
}

}  // namespace optimizer
