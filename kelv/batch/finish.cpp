#include "kelv/batch/finish.h"

#include "kelv/batch/output_name.h"
#include "platform/formatting.h"
#include "platform/path.h"

namespace kelv {
namespace {

void addChecked(std::int64_t& count, std::int64_t change) {
  if (__builtin_add_overflow(count, change, &count)) {
    platform::fatalError("a counter of the batch overflows", __FILE__, __LINE__);
  }
}

// One file's way from its temporary place to its own. Each step returns false when the file's work ends
// there.
class Finishing {
 public:
  Finishing(const FinishRequest& request, platform::Services& services)
      : request_(request),
        batch_(*request.batch),
        files_(services.files),
        process_(services.process),
        outputPath_(request.plannedOutputPath) {}

  void run(const std::optional<platform::PlatformError>& error) {
    addChecked(batch_.processedCount, 1);
    process_.log("6 batchCompress");
    if (error) {
      fail(*error);
      return;
    }
    process_.log("7 batchCompress");
    if (measure() && (!isSmaller() || keep())) countDown();
  }

 private:
  bool measure() {
    const platform::Result<platform::FileAttributes> attributes =
        files_.attributesOfItem(request_.temporaryPath);
    if (!attributes.ok()) return failUnfinished(attributes.error());
    if (!attributes->size) platform::fatalError("a compressed file has no size", __FILE__, __LINE__);
    const double compressedSize = static_cast<double>(*attributes->size);
    if (batch_.statistics) {
      batch_.statistics(static_cast<double>(batch_.processedCount) * batch_.progressStep,
                        request_.originalSize, compressedSize);
    }
    reduction_ = 1.0 - compressedSize / request_.originalSize;
    return true;
  }

  bool isSmaller() {
    if (reduction_ > 0) return true;  // false for not-a-number
    progress("The file size did not increase for the file at this path: " + request_.inputPath + ".");
    return false;
  }

  bool keep() {
    progress("Succesfully compressed file by " + platform::shortestDecimalText(reduction_ * 100.0) +
             " percent of: " + platform::lastPathComponent(request_.plannedOutputPath));
    // While the original is still in its place, and before the result can be seen in its own.
    files_.copyDocumentMetadata(request_.inputPath, request_.temporaryPath);
    return findPlace() && moveIntoPlace() && applyTags();
  }

  bool findPlace() {
    if (!files_.fileExists(outputPath_)) return true;
    if (request_.replace) return makeRoom();
    outputPath_ = freeNumberedPath(files_, outputPath_);
    progress("There is already a file at the output location. Use new name: " +
             platform::lastPathComponent(outputPath_) + ".");
    return true;
  }

  bool makeRoom() {
    progress("There is already a file at the output location. Moving file at output location to trash.");
    if (!request_.moveToTrash) return removeOutput("ERROR: #34fzrH  ");
    const platform::Status trashed = files_.trashItem(outputPath_);
    if (trashed.ok()) return true;
    progress("The file could not be moved to the trash. " + trashed.error().localizedDescription() +
             " Removing the file instead.");
    return removeOutput("ERROR: #ejht74G  ");
  }

  bool removeOutput(const char* failurePrefix) {
    const platform::Status removed = files_.removeItem(outputPath_);
    if (removed.ok()) return true;
    process_.beep();
    process_.log(failurePrefix + removed.error().description());
    return fail(removed.error());
  }

  bool moveIntoPlace() {
    progress("Saving compressed file to " + outputPath_ + ".");
    const platform::Status moved = files_.moveItem(request_.temporaryPath, outputPath_);
    return moved.ok() || failUnfinished(moved.error());
  }

  bool applyTags() {
    progress("Applying file tags.");
    const platform::Status tagged = files_.setTagNames(request_.tagNames, outputPath_);
    if (!tagged.ok()) return failUnfinished(tagged.error());
    batch_.finishedPaths.push_back(outputPath_);
    return true;
  }

  void countDown() {
    addChecked(batch_.remainingCount, -1);
    if (batch_.remainingCount != 0) return;
    progress("Finished compressing all files. Terminating...");
    batch_.completion(batch_.finishedPaths, std::nullopt);
  }

  bool failUnfinished(const platform::PlatformError& error) {
    process_.print("ERROR: qefinuNDS - " + error.description());
    return fail(error);
  }

  bool fail(const platform::PlatformError& error) {
    batch_.completion(batch_.finishedPaths, error);
    return false;
  }

  void progress(const std::string& line) {
    if (request_.compressor->verbose()) process_.print(line);
  }

  const FinishRequest& request_;
  BatchState& batch_;
  platform::FileManager& files_;
  platform::Process& process_;
  std::string outputPath_;
  double reduction_ = 0;
};

}  // namespace

void finishCompressedFile(const FinishRequest& request, platform::Services& services,
                          const std::optional<platform::PlatformError>& error) {
  Finishing(request, services).run(error);
}

}  // namespace kelv
