// An engine of the same C interface that optimizes nothing: it writes down every call and does what a test's script says.
#include "kelv/engine/PdfOptimizeAPI.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <thread>

#include "tests/recording_engine/probes.h"
#include "tests/recording_engine/record.h"
#include "tests/recording_engine/script.h"

struct PdfOptimizeObject {
  long number = 0;
  std::string inputPath;
  const char* message = nullptr;
  std::map<std::string, std::string> infoEntries;
};

namespace {

std::atomic<long> handleCount{0};

long numberOf(OptimizerHandle handle) { return handle == nullptr ? 0 : handle->number; }

void pause(int milliseconds) {
  if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

std::string contentOf(const std::string& path) {
  if (!std::filesystem::is_regular_file(path)) return "";
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The output is told from every input by its first line, and its last bytes show that it is whole.
std::string outputContent(const std::string& inputPath, const std::string& output) {
  if (output == "copy") return contentOf(inputPath);
  const auto size = output == "half" ? contentOf(inputPath).size() / 2 : std::stoul(output);
  std::string content = "%PDF-1.7 recorded\n";
  const std::string end = "\n%%EOF whole\n";
  if (size < content.size() + end.size()) return std::string(size, '%');
  content.resize(size - end.size(), '.');
  return content + end;
}

void runEffect(const std::string& effect) {
  const auto blank = effect.find(' ');
  if (blank == std::string::npos) return;
  const auto verb = effect.substr(0, blank);
  const auto path = effect.substr(blank + 1);
  if (verb == "remove") std::remove(path.c_str());
  if (verb == "make") std::ofstream(path) << "made by someone else";
  if (verb == "lock") chmod(path.c_str(), 0500);
}

template <typename T>
int recordSetting(const char* call, OptimizerHandle handle, T value) {
  recording::Line(call).handle(numberOf(handle)).argument(value);
  return 1;
}

}  // namespace

extern "C" {

int PdfOptimizeInitialize(void) {
  recording::Line("PdfOptimizeInitialize");
  return recording::initializeResult();
}

void PdfOptimizeUnInitialize(void) { recording::Line("PdfOptimizeUnInitialize"); }

OptimizerHandle PdfOptimizeCreateObject(void) {
  OptimizerHandle handle = nullptr;
  if (recording::createSucceeds()) {
    handle = new PdfOptimizeObject;
    handle->number = ++handleCount;
  }
  recording::Line("PdfOptimizeCreateObject").handle(numberOf(handle));
  return handle;
}

void PdfOptimizeDestroyObject(OptimizerHandle handle) {
  recording::Line("PdfOptimizeDestroyObject").handle(numberOf(handle));
  delete handle;
}

int PdfOptimizeOpenA(OptimizerHandle handle, const char* path, const char* password) {
  recording::Line("PdfOptimizeOpenA").handle(numberOf(handle)).argument(path).argument(password);
  if (handle == nullptr) return 0;
  handle->inputPath = path;
  recording::probeConfinement();
  const auto& behaviour = recording::behaviourFor(path);
  pause(behaviour.openDelay);
  handle->infoEntries = behaviour.infoEntries;
  handle->message = nullptr;
  if (behaviour.openResult == 0 && behaviour.openMessage) handle->message = behaviour.openMessage->c_str();
  return behaviour.openResult;
}

int PdfOptimizeSaveAsA(OptimizerHandle handle, const char* path, const char* userPassword,
                       const char* ownerPassword, unsigned int permissions) {
  recording::Line("PdfOptimizeSaveAsA")
      .handle(numberOf(handle))
      .argument(path)
      .argument(userPassword)
      .argument(ownerPassword)
      .argument(permissions);
  if (handle == nullptr) return 0;
  const auto& behaviour = recording::behaviourFor(handle->inputPath);
  pause(behaviour.saveDelay);
  if (behaviour.saveResult == 0) {
    handle->message = behaviour.saveMessage ? behaviour.saveMessage->c_str() : nullptr;
    if (behaviour.saveMessage) return 0;
  }
  if (behaviour.output != "none") {
    std::ofstream(path, std::ios::binary) << outputContent(handle->inputPath, behaviour.output);
  }
  runEffect(behaviour.saveEffect);
  return behaviour.saveResult;
}

int PdfOptimizeClose(OptimizerHandle handle) {
  recording::Line("PdfOptimizeClose").handle(numberOf(handle));
  return 1;
}

const char* PdfOptimizeGetErrorMessageA(OptimizerHandle handle) {
  recording::Line("PdfOptimizeGetErrorMessageA").handle(numberOf(handle));
  return handle == nullptr ? "no handle" : handle->message;
}

const char* PdfOptimizeGetInfoEntryA(OptimizerHandle handle, const char* name) {
  recording::Line("PdfOptimizeGetInfoEntryA").handle(numberOf(handle)).argument(name);
  if (handle == nullptr) return nullptr;
  const auto entry = handle->infoEntries.find(name);
  return entry == handle->infoEntries.end() ? nullptr : entry->second.c_str();
}

int PdfOptimizeSetInfoEntryA(OptimizerHandle handle, const char* name, const char* value) {
  recording::Line("PdfOptimizeSetInfoEntryA").handle(numberOf(handle)).argument(name).argument(value);
  return 1;
}

#define RECORDED_SETTING(name, type) \
  int PdfOptimizeSet##name(OptimizerHandle handle, type value) { \
    return recordSetting("PdfOptimizeSet" #name, handle, value); \
  }

RECORDED_SETTING(Profile, int)
RECORDED_SETTING(ColorConversion, unsigned int)
RECORDED_SETTING(Strip, unsigned int)
RECORDED_SETTING(BitonalResolutionDPI, float)
RECORDED_SETTING(BitonalThresholdDPI, float)
RECORDED_SETTING(MonochromeResolutionDPI, float)
RECORDED_SETTING(MonochromeThresholdDPI, float)
RECORDED_SETTING(ColorResolutionDPI, float)
RECORDED_SETTING(ColorThresholdDPI, float)
RECORDED_SETTING(ResolutionDPI, float)
RECORDED_SETTING(ThresholdDPI, float)
RECORDED_SETTING(MrcLayerResolutionDPI, float)
RECORDED_SETTING(ImageQuality, int)
RECORDED_SETTING(ClipImages, int)
RECORDED_SETTING(ReduceColorComplexity, int)
RECORDED_SETTING(ForceRecompression, int)
RECORDED_SETTING(ConvertToCFF, int)
RECORDED_SETTING(MergeEmbeddedFonts, int)
RECORDED_SETTING(RemoveStandardFonts, int)
RECORDED_SETTING(SubsetFonts, int)
RECORDED_SETTING(OptimizeResources, int)
RECORDED_SETTING(RemoveRedundantObjects, int)
RECORDED_SETTING(BitonalCompressions, int)
RECORDED_SETTING(ContinuousCompressions, int)
RECORDED_SETTING(IndexedCompressions, int)
RECORDED_SETTING(ForceCompressionTypes, int)
RECORDED_SETTING(DitheringMode, int)
RECORDED_SETTING(MrcLayerCompression, int)
RECORDED_SETTING(MrcMaskCompression, int)
RECORDED_SETTING(MrcLayerQuality, int)
RECORDED_SETTING(MrcRecognizePictures, int)
RECORDED_SETTING(MrcPictCompression, int)
RECORDED_SETTING(AutoLinearize, int)
RECORDED_SETTING(RemoveImages, int)

}  // extern "C"
