// The engine's functions as stand-ins that call the library's own. The engine and the libraries below it take
// longer to load than kelv takes to answer a call for help, so they are loaded only when there is work.

#include "kelv/engine/engine_loader.h"

#include <string>

#include "kelv/engine/PdfOptimizeAPI.h"
#include "platform/dynamic_library.h"

namespace kelv {
namespace {

const platform::DynamicLibrary& engine() {
  static const platform::Result<platform::DynamicLibrary> library =
      platform::DynamicLibrary::load("libPdfOptimizeAPI.so");
  if (!library.ok()) {
    platform::fatalError("the engine cannot be loaded: " + library.error().localizedDescription(), __FILE__,
                         __LINE__);
  }
  return *library;
}

template <typename Function>
Function* engineFunction(const char* name) {
  void* address = engine().symbol(name);
  if (address == nullptr) {
    platform::fatalError(std::string("the engine has no function ") + name, __FILE__, __LINE__);
  }
  return reinterpret_cast<Function*>(address);
}

}  // namespace

void loadEngine() { engine(); }

}  // namespace kelv

#define FORWARD(result, name, parameters, arguments)                          \
  result name parameters {                                                    \
    static const auto function = kelv::engineFunction<decltype(name)>(#name); \
    return function arguments;                                                \
  }
#define FORWARD_SETTER(name, type) \
  FORWARD(int, PdfOptimizeSet##name, (OptimizerHandle handle, type value), (handle, value))

extern "C" {

FORWARD(int, PdfOptimizeInitialize, (void), ())
FORWARD(void, PdfOptimizeUnInitialize, (void), ())
FORWARD(OptimizerHandle, PdfOptimizeCreateObject, (void), ())
FORWARD(void, PdfOptimizeDestroyObject, (OptimizerHandle handle), (handle))
FORWARD(int, PdfOptimizeOpenA, (OptimizerHandle handle, const char* path, const char* password),
        (handle, path, password))
FORWARD(int, PdfOptimizeSaveAsA,
        (OptimizerHandle handle, const char* path, const char* userPassword, const char* ownerPassword,
         unsigned int permissions),
        (handle, path, userPassword, ownerPassword, permissions))
FORWARD(int, PdfOptimizeClose, (OptimizerHandle handle), (handle))
FORWARD(const char*, PdfOptimizeGetErrorMessageA, (OptimizerHandle handle), (handle))
FORWARD(const char*, PdfOptimizeGetInfoEntryA, (OptimizerHandle handle, const char* name), (handle, name))
FORWARD(int, PdfOptimizeSetInfoEntryA, (OptimizerHandle handle, const char* name, const char* value),
        (handle, name, value))

FORWARD_SETTER(Profile, int)
FORWARD_SETTER(ColorConversion, unsigned int)
FORWARD_SETTER(Strip, unsigned int)
FORWARD_SETTER(BitonalResolutionDPI, float)
FORWARD_SETTER(BitonalThresholdDPI, float)
FORWARD_SETTER(MonochromeResolutionDPI, float)
FORWARD_SETTER(MonochromeThresholdDPI, float)
FORWARD_SETTER(ColorResolutionDPI, float)
FORWARD_SETTER(ColorThresholdDPI, float)
FORWARD_SETTER(ResolutionDPI, float)
FORWARD_SETTER(ThresholdDPI, float)
FORWARD_SETTER(MrcLayerResolutionDPI, float)
FORWARD_SETTER(ImageQuality, int)
FORWARD_SETTER(ClipImages, int)
FORWARD_SETTER(ReduceColorComplexity, int)
FORWARD_SETTER(ForceRecompression, int)
FORWARD_SETTER(ConvertToCFF, int)
FORWARD_SETTER(MergeEmbeddedFonts, int)
FORWARD_SETTER(RemoveStandardFonts, int)
FORWARD_SETTER(SubsetFonts, int)
FORWARD_SETTER(OptimizeResources, int)
FORWARD_SETTER(RemoveRedundantObjects, int)
FORWARD_SETTER(ForceCompressionTypes, int)
FORWARD_SETTER(MrcRecognizePictures, int)
FORWARD_SETTER(AutoLinearize, int)
FORWARD_SETTER(RemoveImages, int)
FORWARD_SETTER(BitonalCompressions, int)
FORWARD_SETTER(ContinuousCompressions, int)
FORWARD_SETTER(IndexedCompressions, int)
FORWARD_SETTER(DitheringMode, int)
FORWARD_SETTER(MrcLayerCompression, int)
FORWARD_SETTER(MrcMaskCompression, int)
FORWARD_SETTER(MrcPictCompression, int)
FORWARD_SETTER(MrcLayerQuality, int)

}  // extern "C"
