// The batch driver: every file of a request in its turn.

#include <filesystem>
#include <system_error>
#include <utility>

#include "kelv/batch/finish.h"
#include "kelv/compressor/pdf_compressor.h"
#include "platform/path.h"

namespace kelv {
namespace {

// What is read of an input before it is compressed.
struct InputFacts {
  platform::FileAttributes attributes;
  std::vector<std::string> tagNames;
};

platform::Result<InputFacts> readInput(platform::FileManager& files, const std::string& path) {
  const platform::Result<platform::FileAttributes> attributes = files.attributesOfItem(path);
  if (!attributes.ok()) return attributes.error();
  platform::Result<std::vector<std::string>> tagNames = files.tagNames(path);
  if (!tagNames.ok()) return tagNames.error();
  return InputFacts{*attributes, std::move(*tagNames)};
}

// A folder counts from the process's own directory, where it was made as typed.
std::string absoluteFolder(const std::string& folder) {
  if (folder.empty()) return folder;
  std::error_code ignored;
  return platform::resolvePath(std::filesystem::current_path(ignored).string(), folder);
}

std::string plannedOutputPath(const BatchRequest& request, const std::string& outputFolder,
                              std::size_t index) {
  const std::string& inputPath = request.inputPaths[index];
  if (!outputFolder.empty()) {
    return platform::appendingPathComponent(outputFolder, platform::lastPathComponent(inputPath));
  }
  if (request.outputFiles.empty()) return inputPath;
  if (index >= request.outputFiles.size()) {
    platform::fatalError("an input file without an output file", __FILE__, __LINE__);
  }
  return request.outputFiles[index];
}

}  // namespace

void PDFCompressor::compressBatch(const BatchRequest& request) {
  setVerbose(request.verbose);
  const std::size_t total = request.inputPaths.size();
  if (total == 0) return;

  const auto batch = std::make_shared<BatchState>();
  batch->remainingCount = static_cast<std::int64_t>(total);
  batch->progressStep = 1.0 / static_cast<double>(total);
  batch->completion = request.completion;
  batch->statistics = request.statistics;
  const auto profile = std::make_shared<const CompressionProfile>(request.profile);
  const std::string outputFolder = absoluteFolder(request.outputFolder);
  platform::Process& process = services_.process;

  for (std::size_t index = 0; index < total; ++index) {
    const std::string& inputPath = request.inputPaths[index];
    const std::string temporaryPath = process.temporaryDirectory() + process.newUuidText() + ".pdf";
    platform::Result<InputFacts> input = readInput(services_.files, inputPath);
    if (!input.ok()) {
      process.print("ERROR: 3fiuhI§22 - " + input.error().description());
      batch->completion(batch->finishedPaths, input.error());
      return;
    }
    process.log("4 batchCompress");
    if (!input->attributes.size) platform::fatalError("an input file has no size", __FILE__, __LINE__);
    const double originalSize = static_cast<double>(*input->attributes.size);
    if (verbose()) {
      process.print("---------------------------------------");
      process.print("Starting compression of file " + std::to_string(batch->processedCount + 1) + " of " +
                    std::to_string(total) + ". Please wait.");
    }
    process.log("5 batchCompress");

    FinishRequest finish{batch,
                         shared_from_this(),
                         originalSize,
                         temporaryPath,
                         inputPath,
                         plannedOutputPath(request, outputFolder, index),
                         std::move(input->tagNames),
                         request.replace,
                         request.moveToTrash};
    // The creation date stands for both dates on purpose.
    const std::optional<platform::TimePoint> creationDate = input->attributes.creationDate;
    submitFile({inputPath, temporaryPath, "", "", profile, creationDate, creationDate, request.asynchronous,
                [finish = std::move(finish),
                 &services = services_](const std::optional<platform::PlatformError>& error) {
                  finishCompressedFile(finish, services, error);
                }});
  }
}

}  // namespace kelv
