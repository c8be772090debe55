// ICC profiles and calibrations that say of a colour what its device space says already: the device space
// takes their place, wherever they stand, and the profiles leave the file.
//
// Not in documents that give the device spaces another meaning (default colour spaces, output intents) or
// that promise to say what their colours are (PDF/A, PDF/X).
#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/document/device_colors.h"
#include "optimizer/document/document.h"
#include "optimizer/document/promises.h"
#include "optimizer/image/color.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// Colours of content move with their profile, not those of images only: text beside an image shows more.
constexpr int kUnseen = 2;  // levels of 255

class ProfilesPass : public Pass {
 public:
  std::string_view name() const override { return "profiles"; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("profiles", [&]() -> Result<PassOutcome> {
      const Promises promises = promisesOf(context.document);
      if (promises.pdfAPart != 0 || promises.pdfX || !findSpaces(context.document)) return PassOutcome::unchanged;
      const DeviceColors device = deviceColorsOf(context.document);
      if (device.outputIntent) return PassOutcome::unchanged;
      keepGray_ = device.gray.present;
      keepRgb_ = device.rgb.present;
      // Mostly no profile says the same, and then nobody needs to ask where they stand.
      const auto saysTheSame = [this](const QPDFObjectHandle& space) { return deviceNameOf(space) != nullptr; };
      if (std::none_of(spaces_.begin(), spaces_.end(), saysTheSame)) return PassOutcome::unchanged;
      std::size_t replaced = 0;
      for (const QPDFObjectHandle& container : context.document.containers()) replaced += replaceIn(container);
      if (replaced == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(replaced) + " colour spaces became device spaces");
      return PassOutcome::changed;
    });
  }

 private:
  bool findSpaces(Document& document);
  std::size_t replaceIn(QPDFObjectHandle container);
  const char* deviceNameOf(QPDFObjectHandle space);

  std::vector<QPDFObjectHandle> spaces_;  // with a profile
  bool keepGray_ = false, keepRgb_ = false;
  std::map<QPDFObjGen, const char*> profiles_;  // by profile stream; null: stays
};

bool isProfileSpace(QPDFObjectHandle space) {
  return space.isArray() && space.getArrayNItems() == 2 && space.getArrayItem(0).isNameAndEquals("/ICCBased");
}

bool ProfilesPass::findSpaces(Document& document) {
  for (const QPDFObjectHandle& container : document.containers()) {
    if (isProfileSpace(container)) spaces_.push_back(container);
  }
  return !spaces_.empty();
}

// "/DeviceGray" or "/DeviceRGB" where that is all that the colour space says, else null.
const char* ProfilesPass::deviceNameOf(QPDFObjectHandle space) {
  if (!isProfileSpace(space)) return nullptr;
  QPDFObjectHandle profile = space.getArrayItem(1);
  if (!profile.isStream()) return nullptr;
  const auto [at, fresh] = profiles_.try_emplace(profile.getObjGen(), nullptr);
  if (!fresh) return at->second;
  const Result<ImageColorSpace> color = readColorSpace(space);
  if (!color) return nullptr;
  if (color->kind == ColorKind::rgb && !keepRgb_ && looksLikeDevice(*color, kUnseen))
    at->second = "/DeviceRGB";
  if (color->kind == ColorKind::grey && !keepGray_ && looksLikeDevice(*color, kUnseen))
    at->second = "/DeviceGray";
  return at->second;
}

std::size_t ProfilesPass::replaceIn(QPDFObjectHandle container) {
  std::size_t replaced = 0;
  if (container.isArray()) {
    for (int i = 0; i < container.getArrayNItems(); ++i) {
      const char* device = deviceNameOf(container.getArrayItem(i));
      if (device == nullptr) continue;
      container.setArrayItem(i, QPDFObjectHandle::newName(device));
      ++replaced;
    }
  } else {
    for (const auto& [key, value] : container.getDictAsMap()) {
      const char* device = deviceNameOf(value);
      if (device == nullptr) continue;
      container.replaceKey(key, QPDFObjectHandle::newName(device));
      ++replaced;
    }
  }
  return replaced;
}

}  // namespace

std::unique_ptr<Pass> makeProfilesPass() { return std::make_unique<ProfilesPass>(); }

}  // namespace optimizer
