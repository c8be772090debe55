#include "kelv/testing/recording_engine.h"

#include <cstdint>
#include <memory>

#include "kelv/engine/PdfOptimizeAPI.h"
#include "platform/formatting.h"

namespace kelv::testing {
namespace {

std::unique_ptr<RecordingEngine>& instance() {
  static auto engine = std::make_unique<RecordingEngine>();
  return engine;
}

int numberOf(OptimizerHandle handle) { return static_cast<int>(reinterpret_cast<std::intptr_t>(handle)); }

int recordCall(const char* name, const std::string& arguments) {
  recordingEngine().record(std::string(name) + "(" + arguments + ")");
  return 1;
}

}  // namespace

std::vector<std::string> RecordingEngine::callsOf(const std::string& prefix) const {
  std::vector<std::string> found;
  for (const std::string& call : calls) {
    if (call.starts_with(prefix)) found.push_back(call);
  }
  return found;
}

void RecordingEngine::record(std::string call) {
  const std::lock_guard lock(mutex);
  calls.push_back(std::move(call));
}

void RecordingEngine::recordHandle(int number, const std::string& event) {
  const std::lock_guard lock(mutex);
  handles.push_back(std::to_string(number) + " " + event);
}

RecordingEngine& recordingEngine() { return *instance(); }

void resetRecordingEngine() { instance() = std::make_unique<RecordingEngine>(); }

}  // namespace kelv::testing

using kelv::testing::numberOf;
using kelv::testing::recordCall;
using kelv::testing::recordingEngine;

extern "C" {

int PdfOptimizeInitialize(void) { return recordCall("Initialize", ""); }
void PdfOptimizeUnInitialize(void) { recordCall("UnInitialize", ""); }

OptimizerHandle PdfOptimizeCreateObject(void) {
  kelv::testing::RecordingEngine& engine = recordingEngine();
  const int number = ++engine.created;
  engine.recordHandle(number, "create");
  return reinterpret_cast<OptimizerHandle>(static_cast<std::intptr_t>(number));
}

void PdfOptimizeDestroyObject(OptimizerHandle handle) {
  recordingEngine().recordHandle(numberOf(handle), "destroy");
}

int PdfOptimizeClose(OptimizerHandle handle) {
  recordingEngine().recordHandle(numberOf(handle), "close");
  return 1;
}

int PdfOptimizeOpenA(OptimizerHandle, const char* path, const char* password) {
  recordCall("OpenA", std::string(path) + ", " + password);
  return recordingEngine().openResult;
}

int PdfOptimizeSaveAsA(OptimizerHandle, const char* path, const char* userPassword, const char* ownerPassword,
                       unsigned int permissions) {
  recordCall("SaveAsA", std::string(path) + ", " + userPassword + ", " + ownerPassword + ", " +
                            std::to_string(permissions));
  if (recordingEngine().onSave) recordingEngine().onSave(path);
  return recordingEngine().saveResult;
}

const char* PdfOptimizeGetErrorMessageA(OptimizerHandle) {
  const auto& message = recordingEngine().message;
  return message ? message->c_str() : nullptr;
}

const char* PdfOptimizeGetInfoEntryA(OptimizerHandle, const char* name) {
  recordCall("GetInfoEntryA", name);
  const auto& information = recordingEngine().information;
  const auto entry = information.find(name);
  return entry == information.end() ? nullptr : entry->second.c_str();
}

int PdfOptimizeSetInfoEntryA(OptimizerHandle, const char* name, const char* value) {
  return recordCall("SetInfoEntryA", std::string(name) + ", " + value);
}

#define RECORD_INTEGER(name, type)                         \
  int PdfOptimizeSet##name(OptimizerHandle, type value) {  \
    return recordCall("Set" #name, std::to_string(value)); \
  }
#define RECORD_FLOAT(name)                                                \
  int PdfOptimizeSet##name(OptimizerHandle, float value) {                \
    return recordCall("Set" #name, platform::shortestDecimalText(value)); \
  }

RECORD_INTEGER(Profile, int)
RECORD_INTEGER(ColorConversion, unsigned int)
RECORD_INTEGER(Strip, unsigned int)
RECORD_FLOAT(BitonalResolutionDPI)
RECORD_FLOAT(BitonalThresholdDPI)
RECORD_FLOAT(MonochromeResolutionDPI)
RECORD_FLOAT(MonochromeThresholdDPI)
RECORD_FLOAT(ColorResolutionDPI)
RECORD_FLOAT(ColorThresholdDPI)
RECORD_FLOAT(ResolutionDPI)
RECORD_FLOAT(ThresholdDPI)
RECORD_FLOAT(MrcLayerResolutionDPI)
RECORD_INTEGER(ImageQuality, int)
RECORD_INTEGER(ClipImages, int)
RECORD_INTEGER(ReduceColorComplexity, int)
RECORD_INTEGER(ForceRecompression, int)
RECORD_INTEGER(ConvertToCFF, int)
RECORD_INTEGER(MergeEmbeddedFonts, int)
RECORD_INTEGER(RemoveStandardFonts, int)
RECORD_INTEGER(SubsetFonts, int)
RECORD_INTEGER(OptimizeResources, int)
RECORD_INTEGER(RemoveRedundantObjects, int)
RECORD_INTEGER(ForceCompressionTypes, int)
RECORD_INTEGER(MrcRecognizePictures, int)
RECORD_INTEGER(AutoLinearize, int)
RECORD_INTEGER(RemoveImages, int)
RECORD_INTEGER(BitonalCompressions, int)
RECORD_INTEGER(ContinuousCompressions, int)
RECORD_INTEGER(IndexedCompressions, int)
RECORD_INTEGER(DitheringMode, int)
RECORD_INTEGER(MrcLayerCompression, int)
RECORD_INTEGER(MrcMaskCompression, int)
RECORD_INTEGER(MrcPictCompression, int)
RECORD_INTEGER(MrcLayerQuality, int)

}  // extern "C"
