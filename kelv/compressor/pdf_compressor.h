// PDFCompressor owns the engine for the life of the process, and the queue on which files are compressed when
// they are submitted for asynchronous work.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelv/compressor/handlers.h"
#include "kelv/engine/PdfOptimizeAPI.h"
#include "kelv/profile/compression_profile.h"
#include "platform/services.h"

namespace kelv {

// What compressBatch is asked to do. The input files are compressed in their order.
struct BatchRequest {
  std::vector<std::string> inputPaths;   // absolute
  std::string outputFolder;              // as typed; empty when there is none
  std::vector<std::string> outputFiles;  // absolute, one for each input; empty when there are none
  CompressionProfile profile;            // empty for the engine's own profile
  bool replace = false;     // a file at the output location makes room, else the result is numbered
  bool moveToTrash = true;  // how it makes room; false removes it
  bool asynchronous = false;
  bool verbose = false;
  StatisticsHandler statistics;  // may be empty
  BatchCompletion completion;
};

// One file to compress.
struct Submission {
  std::string inputPath;
  std::string outputPath;
  std::string firstPassword;  // opens the document when the second is empty
  std::string secondPassword;
  std::shared_ptr<const CompressionProfile> profile;
  std::optional<platform::TimePoint> creationDate;      // of the input
  std::optional<platform::TimePoint> modificationDate;  // of the input
  bool asynchronous = false;
  CompressionCompletion completion;
};

// Asynchronous work needs a host that services the main queue: every completion is delivered there, no
// earlier than half a second after the file's handle is destroyed. Without it, completions are called at once
// on the calling thread.
class PDFCompressor : public std::enable_shared_from_this<PDFCompressor> {
 public:
  // Initialises the engine, and limits the queue to half the processors: none on a machine with one.
  static std::shared_ptr<PDFCompressor> make(platform::Services& services);
  ~PDFCompressor();
  PDFCompressor(const PDFCompressor&) = delete;
  PDFCompressor& operator=(const PDFCompressor&) = delete;

  bool verbose() const { return verbose_; }
  void setVerbose(bool verbose) { verbose_ = verbose; }
  const platform::OperationQueue& compressionQueue() const { return *compressionQueue_; }

  // Compresses every file of the request and puts the results in their places. Stops at the first input whose
  // attributes or tags cannot be read; other failures concern their file only.
  void compressBatch(const BatchRequest& request);

  // Makes a handle for one file and compresses it: at once, or on compressionQueue.
  void submitFile(Submission submission);

 private:
  // One file's work. The handle belongs to it alone.
  struct WorkItem {
    OptimizerHandle handle;
    std::shared_ptr<PDFCompressor> compressor;
    std::string password;
    Submission file;
  };

  explicit PDFCompressor(platform::Services& services);
  static void compressFile(WorkItem item);
  static void deliver(WorkItem item, std::optional<platform::PlatformError> error);

  platform::Services& services_;
  std::unique_ptr<platform::OperationQueue> compressionQueue_;
  std::atomic<bool> verbose_ = true;
};

}  // namespace kelv
