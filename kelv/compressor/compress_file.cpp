// One PDF through the engine: open, settings, information and dates, save, close.

#include <chrono>
#include <utility>

#include "kelv/compressor/document_information.h"
#include "kelv/compressor/engine_settings.h"
#include "kelv/compressor/pdf_compressor.h"

namespace kelv {
namespace {

constexpr int customProfile = 1;
constexpr int webProfile = 3;
constexpr unsigned int allPermissions = 0xFFFFFFFF;
constexpr std::chrono::milliseconds deliveryDelay{500};

std::optional<std::string> engineMessage(OptimizerHandle handle) {
  const char* message = PdfOptimizeGetErrorMessageA(handle);
  if (message == nullptr) return std::nullopt;
  return std::string(message);
}

platform::PlatformError compressionError(const std::string& message) {
  return {"", 401, {{platform::localizedDescriptionKey, message}}, nullptr};
}

}  // namespace

void PDFCompressor::compressFile(WorkItem item) {
  platform::Services& services = item.compressor->services_;
  platform::Process& process = services.process;
  const OptimizerHandle handle = item.handle;
  const Submission& file = item.file;

  if (PdfOptimizeOpenA(handle, file.inputPath.c_str(), item.password.c_str()) == 0) {
    if (const std::optional<std::string> message = engineMessage(handle)) {
      process.log("ERROR: # sdfgWWe :( - error: " + *message + " - uncompressedFilePath: " + file.inputPath);
      process.print("ERROR: # sdfgWWe :) - error: " + *message +
                    " -  uncompressedFilePath: " + file.inputPath);
      // The handle stays open on purpose: after a failure that the engine explains, it is not touched again.
      deliver(std::move(item), compressionError(*message));
      return;
    }
  }

  const CompressionProfile& profile = *file.profile;
  if (profile.empty()) {
    if (item.compressor->verbose()) {
      process.print("No Profile has been provided, using default profile. Please wait.");
    }
    PdfOptimizeSetProfile(handle, webProfile);
  } else {
    PdfOptimizeSetProfile(handle, customProfile);
    applyImageAndFontSettings(profile, handle);
    applyInformationEntries(profile, handle);
    applyDocumentDates(profile, handle, services.formatting);
    applyRemovals(profile, handle);
  }

  if (PdfOptimizeSaveAsA(handle, file.outputPath.c_str(), "", "", allPermissions) == 0) {
    if (const std::optional<std::string> message = engineMessage(handle)) {
      const std::string line = "ERROR: # 4ifmeee - errorMessage: " + *message;
      process.log(line);
      process.print(line);
      deliver(std::move(item), compressionError(*message));
      return;
    }
  }
  if (!profile.empty()) {
    applyFileDates(profile, file.outputPath, {file.creationDate, file.modificationDate}, services);
  }

  PdfOptimizeClose(handle);
  PdfOptimizeDestroyObject(handle);
  deliver(std::move(item), std::nullopt);
}

void PDFCompressor::deliver(WorkItem item, std::optional<platform::PlatformError> error) {
  if (!item.file.asynchronous) {
    item.file.completion(error);
    return;
  }
  platform::MainQueue& mainQueue = item.compressor->services_.queues.mainQueue();
  auto shared = std::make_shared<WorkItem>(std::move(item));
  mainQueue.asyncAfter(deliveryDelay, [shared = std::move(shared), error = std::move(error)] {
    shared->file.completion(error);
  });
}

}  // namespace kelv
