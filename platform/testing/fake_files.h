// A file manager in memory that writes down what it is asked.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/files.h"

namespace platform {

struct FakeFile {
  std::vector<std::uint8_t> bytes;
  FileAttributes attributes;  // size is that of bytes unless attributesWithoutSize names the file
  std::vector<std::string> tags;
  bool isFolder = false;
};

// Paths are used as they are given: nothing is resolved. Folders exist by being made or by holding something.
class FakeFileManager : public FileManager {
 public:
  void add(const std::string& path, std::size_t size, std::optional<TimePoint> creationDate = {},
           std::optional<TimePoint> modificationDate = {});
  void addFolder(const std::string& path) { items[path].isFolder = true; }

  // The operation (the name of the method) fails for the path with this error; an empty path means every path.
  void fail(const std::string& operation, const std::string& path, PlatformError error);
  static PlatformError missing(const std::string& path);     // 260
  static PlatformError notAllowed(const std::string& path);  // 513

  std::map<std::string, FakeFile> items;
  std::vector<std::string> trashed;             // paths, in order
  std::set<std::string> attributesWithoutSize;  // files whose attributes lack the size
  std::vector<std::string> calls;               // "moveItem /a -> /b", "fileExists /a", in order
  // What enumerate yields for a folder, in order; a folder without an entry yields what items hold below it.
  std::map<std::string, std::vector<std::string>> enumerations;
  std::vector<unsigned> enumerationOptions;  // of each enumerate, in order
  bool canEnumerate = true;

  Result<std::vector<std::uint8_t>> readFile(const std::string& path) override;
  Result<FileAttributes> attributesOfItem(const std::string& path) override;
  Status setAttributes(const FileAttributeChanges& changes, const std::string& path) override;
  bool fileExists(const std::string& path) override;
  Status createDirectory(const std::string& path) override;
  Status moveItem(const std::string& from, const std::string& to) override;
  Status trashItem(const std::string& path) override;
  Status removeItem(const std::string& path) override;
  Result<std::vector<std::string>> tagNames(const std::string& path) override;
  Status setTagNames(const std::vector<std::string>& names, const std::string& path) override;
  void copyDocumentMetadata(const std::string& from, const std::string& to) override;
  bool enumerate(const std::string& folder, unsigned options, const ItemHandler& item,
                 const EnumerationErrorHandler& onError) override;

 private:
  const PlatformError* begin(const std::string& operation, const std::string& path, const std::string& detail = "");
  std::map<std::pair<std::string, std::string>, PlatformError> failures_;
};

}  // namespace platform
