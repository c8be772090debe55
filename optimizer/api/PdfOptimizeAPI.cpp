// The C functions over the C++ engine. Every exception ends here; null handles and null texts are failures.
#pragma GCC visibility push(default)
#include "kelv/engine/PdfOptimizeAPI.h"
#pragma GCC visibility pop

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>

#include <qpdf/Pl_Flate.hh>

#include "optimizer/base/large_stack.h"
#include "optimizer/document/document.h"
#include "optimizer/pipeline/optimize.h"
#include "optimizer/settings/settings.h"

using optimizer::Codec;
using optimizer::Document;
using optimizer::Error;
using optimizer::ErrorKind;
using optimizer::Settings;
using optimizer::Status;

struct PdfOptimizeObject {
  std::unique_ptr<Document> document;
  Settings settings;
  std::optional<std::string> error;
  // Set instead of `error` where there is no memory even for a message.
  const char* plainError = nullptr;
  std::optional<std::string> text;  // what the last call returned
};

namespace {

constexpr const char* kOutOfMemory = "Not enough memory";

// Runs one call: clears the last failure, keeps the new one. The result is 1 or 0.
template <typename Work>
int call(OptimizerHandle handle, Work&& work) noexcept {
  if (handle == nullptr) return 0;
  handle->error.reset();
  handle->plainError = nullptr;
  try {
    const Status status = work();
    if (status.ok()) return 1;
    handle->error = status.error().message;
  } catch (const std::bad_alloc&) {
    handle->plainError = kOutOfMemory;
  } catch (...) {
    handle->plainError = "Unexpected failure";
  }
  return 0;
}

Status failure(ErrorKind kind, const char* message) { return Error{kind, message}; }

Status outOfRange(const char* what) { return Error{ErrorKind::unsupported, std::string(what) + " is out of range"}; }

int setFloat(OptimizerHandle handle, float value, const char* what, std::initializer_list<float Settings::*> fields) {
  return call(handle, [&]() -> Status {
    if (!std::isfinite(value) || value < 0) return outOfRange(what);
    for (float Settings::*field : fields) handle->settings.*field = value;
    return {};
  });
}

using Class = optimizer::Resampling Settings::*;

int setResampling(OptimizerHandle handle, float value, float optimizer::Resampling::*field,
                  std::initializer_list<Class> classes) {
  return call(handle, [&]() -> Status {
    if (!std::isfinite(value) || value < 0) return outOfRange("The resolution");
    for (Class imageClass : classes) (handle->settings.*imageClass).*field = value;
    return {};
  });
}

int setSwitch(OptimizerHandle handle, int on, bool Settings::*field) {
  return call(handle, [&]() -> Status {
    handle->settings.*field = on != 0;
    return {};
  });
}

int setMask(OptimizerHandle handle, int mask, std::uint32_t Settings::*field) {
  return call(handle, [&]() -> Status {
    handle->settings.*field = static_cast<std::uint32_t>(mask);
    return {};
  });
}

int setCodec(OptimizerHandle handle, int codec, Codec Settings::*field) {
  return call(handle, [&]() -> Status {
    static constexpr int kKnown[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 10};
    if (std::find(std::begin(kKnown), std::end(kKnown), codec) == std::end(kKnown)) return outOfRange("The codec");
    handle->settings.*field = static_cast<Codec>(codec);
    return {};
  });
}

// The quality scale has no numbers beyond its ends, so they mean its ends.
int setQuality(OptimizerHandle handle, int quality, int Settings::*field) {
  return call(handle, [&]() -> Status {
    handle->settings.*field = std::clamp(quality, 1, 100);
    return {};
  });
}

}  // namespace

extern "C" {

int PdfOptimizeInitialize(void) {
  // Object streams are deflated by the PDF writer, whose level is a setting of the process.
  static std::once_flag once;
  try {
    std::call_once(once, [] { Pl_Flate::setCompressionLevel(9); });
    return 1;
  } catch (...) {
    return 0;
  }
}

void PdfOptimizeUnInitialize(void) {}

OptimizerHandle PdfOptimizeCreateObject(void) {
  try {
    return new PdfOptimizeObject();
  } catch (...) {
    return nullptr;
  }
}

void PdfOptimizeDestroyObject(OptimizerHandle handle) {
  PdfOptimizeClose(handle);
  delete handle;
}

int PdfOptimizeOpenA(OptimizerHandle handle, const char* path, const char* password) {
  PdfOptimizeClose(handle);
  return call(handle, [&]() -> Status {
    if (path == nullptr || *path == '\0') return failure(ErrorKind::io, "There is no path to open");
    const std::string key = password == nullptr ? "" : password;
    return optimizer::runOnLargeStack([&]() -> Status {
      optimizer::Result<std::unique_ptr<Document>> opened = Document::open(path, key);
      if (!opened.ok()) return opened.error();
      handle->document = std::move(*opened);
      return {};
    });
  });
}

int PdfOptimizeSaveAsA(OptimizerHandle handle, const char* path, const char* userPassword, const char* ownerPassword,
                       unsigned int permissions) {
  return call(handle, [&]() -> Status {
    if (!handle->document) return failure(ErrorKind::io, "No document is open");
    if (path == nullptr || *path == '\0') return failure(ErrorKind::io, "There is no path to write to");
    optimizer::OptimizeOptions options;
    if (userPassword != nullptr) options.save.userPassword = userPassword;
    if (ownerPassword != nullptr) options.save.ownerPassword = ownerPassword;
    options.save.permissions = permissions;
    return optimizer::runOnLargeStack([&]() -> Status {
      optimizer::Report report;
      return optimizer::optimizeToFile(*handle->document, handle->settings, path, options, report);
    });
  });
}

int PdfOptimizeClose(OptimizerHandle handle) {
  return call(handle, [&]() -> Status {
    if (!handle->document) return {};
    return optimizer::runOnLargeStack([&]() -> Status {
      handle->document.reset();
      return {};
    });
  });
}

const char* PdfOptimizeGetErrorMessageA(OptimizerHandle handle) {
  if (handle == nullptr) return nullptr;
  if (handle->plainError != nullptr) return handle->plainError;
  return handle->error ? handle->error->c_str() : nullptr;
}

const char* PdfOptimizeGetInfoEntryA(OptimizerHandle handle, const char* name) {
  const int found = call(handle, [&]() -> Status {
    handle->text.reset();
    if (!handle->document) return failure(ErrorKind::io, "No document is open");
    if (name == nullptr) return failure(ErrorKind::unsupported, "There is no name of an information entry");
    handle->text = handle->document->infoEntry(name);
    return {};
  });
  return found != 0 && handle->text ? handle->text->c_str() : nullptr;
}

int PdfOptimizeSetInfoEntryA(OptimizerHandle handle, const char* name, const char* value) {
  return call(handle, [&]() -> Status {
    if (!handle->document) return failure(ErrorKind::io, "No document is open");
    if (name == nullptr) return failure(ErrorKind::unsupported, "There is no name of an information entry");
    // The value may be the text that a Get call returned, which the handle still owns.
    return handle->document->setInfoEntry(name, value == nullptr ? "" : value);
  });
}

int PdfOptimizeSetProfile(OptimizerHandle handle, int profile) {
  return call(handle, [&]() -> Status {
    if (profile != 1 && profile != 3) return outOfRange("The profile");
    handle->settings = profile == 1 ? Settings() : optimizer::webSettings();
    return {};
  });
}

int PdfOptimizeSetColorConversion(OptimizerHandle handle, unsigned int conversion) {
  return call(handle, [&]() -> Status {
    if (conversion > 3) return outOfRange("The colour conversion");
    handle->settings.colorConversion = static_cast<optimizer::ColorConversion>(conversion);
    return {};
  });
}

int PdfOptimizeSetStrip(OptimizerHandle handle, unsigned int mask) {
  return call(handle, [&]() -> Status {
    if (mask > 0x7FF) return outOfRange("The strip mask");
    handle->settings.strip = mask;
    return {};
  });
}

int PdfOptimizeSetBitonalResolutionDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::resolution, {&Settings::bitonal});
}
int PdfOptimizeSetBitonalThresholdDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::threshold, {&Settings::bitonal});
}
int PdfOptimizeSetMonochromeResolutionDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::resolution, {&Settings::monochrome});
}
int PdfOptimizeSetMonochromeThresholdDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::threshold, {&Settings::monochrome});
}
int PdfOptimizeSetColorResolutionDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::resolution, {&Settings::color});
}
int PdfOptimizeSetColorThresholdDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::threshold, {&Settings::color});
}
int PdfOptimizeSetResolutionDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::resolution,
                       {&Settings::bitonal, &Settings::monochrome, &Settings::color});
}
int PdfOptimizeSetThresholdDPI(OptimizerHandle handle, float dpi) {
  return setResampling(handle, dpi, &optimizer::Resampling::threshold,
                       {&Settings::bitonal, &Settings::monochrome, &Settings::color});
}
int PdfOptimizeSetMrcLayerResolutionDPI(OptimizerHandle handle, float dpi) {
  return setFloat(handle, dpi, "The resolution", {&Settings::mrcLayerDpi});
}

int PdfOptimizeSetImageQuality(OptimizerHandle handle, int quality) {
  return setQuality(handle, quality, &Settings::imageQuality);
}
int PdfOptimizeSetMrcLayerQuality(OptimizerHandle handle, int quality) {
  return setQuality(handle, quality, &Settings::mrcLayerQuality);
}

int PdfOptimizeSetClipImages(OptimizerHandle handle, int on) { return setSwitch(handle, on, &Settings::clipImages); }
int PdfOptimizeSetReduceColorComplexity(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::reduceColorComplexity);
}
int PdfOptimizeSetForceRecompression(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::forceRecompression);
}
int PdfOptimizeSetConvertToCFF(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::convertToCff);
}
int PdfOptimizeSetMergeEmbeddedFonts(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::mergeEmbeddedFonts);
}
int PdfOptimizeSetRemoveStandardFonts(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::removeStandardFonts);
}
int PdfOptimizeSetSubsetFonts(OptimizerHandle handle, int on) { return setSwitch(handle, on, &Settings::subsetFonts); }
int PdfOptimizeSetOptimizeResources(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::optimizeResources);
}
int PdfOptimizeSetRemoveRedundantObjects(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::removeRedundantObjects);
}
int PdfOptimizeSetForceCompressionTypes(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::forceCompressionTypes);
}
int PdfOptimizeSetMrcRecognizePictures(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::mrcRecognizePictures);
}
int PdfOptimizeSetAutoLinearize(OptimizerHandle handle, int on) { return setSwitch(handle, on, &Settings::linearize); }
int PdfOptimizeSetRemoveImages(OptimizerHandle handle, int on) {
  return setSwitch(handle, on, &Settings::removeImages);
}

int PdfOptimizeSetBitonalCompressions(OptimizerHandle handle, int mask) {
  return setMask(handle, mask, &Settings::bitonalCodecs);
}
int PdfOptimizeSetContinuousCompressions(OptimizerHandle handle, int mask) {
  return setMask(handle, mask, &Settings::continuousCodecs);
}
int PdfOptimizeSetIndexedCompressions(OptimizerHandle handle, int mask) {
  return setMask(handle, mask, &Settings::indexedCodecs);
}

int PdfOptimizeSetDitheringMode(OptimizerHandle handle, int mode) {
  return call(handle, [&]() -> Status {
    if (mode < 0 || mode > 2) return outOfRange("The dithering mode");
    handle->settings.ditheringMode = mode;
    return {};
  });
}

int PdfOptimizeSetMrcLayerCompression(OptimizerHandle handle, int codec) {
  return setCodec(handle, codec, &Settings::mrcLayerCodec);
}
int PdfOptimizeSetMrcMaskCompression(OptimizerHandle handle, int codec) {
  return setCodec(handle, codec, &Settings::mrcMaskCodec);
}
int PdfOptimizeSetMrcPictCompression(OptimizerHandle handle, int codec) {
  return setCodec(handle, codec, &Settings::mrcPictureCodec);
}

}  // extern "C"
