// Factories of the passes; the registry (pipeline/registry.cpp) says what each does and when it runs.
#pragma once

#include <memory>

#include "optimizer/pipeline/pass.h"

namespace optimizer {

std::unique_ptr<Pass> makeFlattenPass();
std::unique_ptr<Pass> makeClipImagesPass();
std::unique_ptr<Pass> makeContentPass();
std::unique_ptr<Pass> makeConvertColorsPass();
std::unique_ptr<Pass> makeConvertFontsPass();
std::unique_ptr<Pass> makeFontEntriesPass();
std::unique_ptr<Pass> makeImagesPass();
std::unique_ptr<Pass> makeLiftInlineImagesPass();
std::unique_ptr<Pass> makeMergeFontsPass();
std::unique_ptr<Pass> makeProfilesPass();
std::unique_ptr<Pass> makePutBackInlineImagesPass();
std::unique_ptr<Pass> makeRedundantPass();
std::unique_ptr<Pass> makeRemoveImagesPass();
std::unique_ptr<Pass> makeResourcesPass();
std::unique_ptr<Pass> makeStreamsPass();
std::unique_ptr<Pass> makeStandardFontsPass();
std::unique_ptr<Pass> makeSubsetFontsPass();
std::unique_ptr<Pass> makeToUnicodePass();
std::unique_ptr<Pass> makeStripPass();

}  // namespace optimizer
