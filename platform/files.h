// The file manager: everything the tool does to files goes through it, so that the access limits hold and tests can record it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/error.h"

namespace platform {

using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

// Of the file that a symbolic link leads to.
struct FileAttributes {
  std::optional<std::int64_t> size;       // bytes
  std::optional<TimePoint> creationDate;  // none where the file system does not keep it
  std::optional<TimePoint> modificationDate;
};

// The values that are set are changed. A creation date is ignored where it cannot be set.
struct FileAttributeChanges {
  std::optional<TimePoint> creationDate;
  std::optional<TimePoint> modificationDate;
};

enum EnumerationOptions : unsigned {
  skipSubdirectoryDescendants = 1,
  skipPackageDescendants = 2,
  skipHiddenFiles = 4,
};

class FileManager {
 public:
  virtual ~FileManager() = default;

  virtual Result<std::vector<std::uint8_t>> readFile(const std::string& path) = 0;
  virtual Result<FileAttributes> attributesOfItem(const std::string& path) = 0;
  virtual Status setAttributes(const FileAttributeChanges& changes, const std::string& path) = 0;
  virtual bool fileExists(const std::string& path) = 0;  // follows links: a dangling one does not exist
  virtual Status createDirectory(const std::string& path) = 0;  // with its missing parents; an existing folder is no error

  // Never overwrites: a taken destination, a dangling link included, is an error. Across file systems the copy is made under a
  // hidden name beside the destination, synced, and appears under its name in one step.
  virtual Status moveItem(const std::string& from, const std::string& to) = 0;
  virtual Status trashItem(const std::string& path) = 0;
  virtual Status removeItem(const std::string& path) = 0;

  // User tags, in order; none on a file system that has no place for them, where setting none is no error.
  virtual Result<std::vector<std::string>> tagNames(const std::string& path) = 0;
  virtual Status setTagNames(const std::vector<std::string>& names, const std::string& path) = 0;

  // Makes `to` (just written) carry what a user expects of a new copy of the document `from`: permission bits and extended
  // attributes that `to` does not have yet, tags left out. Best effort, never an error.
  virtual void copyDocumentMetadata(const std::string& from, const std::string& to) = 0;

  // Calls item for everything below folder, parents before children, in the file system's order. onError gets the path (of a
  // folder when isDirectory) and the reason and says whether to go on. Links are yielded and never followed.
  // False when no enumeration is possible at all.
  using ItemHandler = std::function<void(const std::string& path)>;
  using EnumerationErrorHandler =
      std::function<bool(const std::string& path, bool isDirectory, const PlatformError& error)>;
  virtual bool enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                         const EnumerationErrorHandler& onError) = 0;
};

}  // namespace platform
