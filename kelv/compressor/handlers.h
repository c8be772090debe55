// The handlers that a batch is given.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/error.h"

namespace kelv {

// Gets the progress as a fraction of the batch, and the original and compressed size of one file in bytes.
using StatisticsHandler = std::function<void(double progress, double originalSize, double compressedSize)>;

// Gets the output paths of the files finished so far. Called once without an error when the last file is
// done, and once with the error of every file that failed.
using BatchCompletion = std::function<void(const std::vector<std::string>& finishedPaths,
                                           const std::optional<platform::PlatformError>& error)>;

// Gets the error of one file's compression, or none.
using CompressionCompletion = std::function<void(const std::optional<platform::PlatformError>& error)>;

}  // namespace kelv
