// What happens to one file after its compression.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelv/compressor/handlers.h"
#include "kelv/compressor/pdf_compressor.h"
#include "platform/services.h"

namespace kelv {

// Shared by all files of one batch. Touched by one thread only, so there is no lock.
struct BatchState {
  std::int64_t processedCount = 0;  // files whose finishing has started
  std::int64_t remainingCount = 0;  // files neither kept nor found not smaller yet
  double progressStep = 0;          // 1 divided by the number of files
  std::vector<std::string> finishedPaths;
  BatchCompletion completion;
  StatisticsHandler statistics;
};

struct FinishRequest {
  std::shared_ptr<BatchState> batch;
  std::shared_ptr<PDFCompressor> compressor;  // its verbose flag gates the progress messages
  double originalSize = 0;                    // bytes
  std::string temporaryPath;                  // the compressed file
  std::string inputPath;
  std::string plannedOutputPath;      // the input path itself when the result goes beside it
  std::vector<std::string> tagNames;  // of the input
  bool replace = false;
  bool moveToTrash = true;
};

// Keeps the compressed file if it is smaller: finds its name or makes room for it, moves it into place and
// tags it. Then counts the file as done, and ends the batch after the last one. Called once for each file,
// with the error of its compression or none. A file that failed is not counted as done.
void finishCompressedFile(const FinishRequest& request, platform::Services& services,
                          const std::optional<platform::PlatformError>& error);

}  // namespace kelv
