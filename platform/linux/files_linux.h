// The file manager over POSIX and GIO.
#pragma once

#include "platform/files.h"

namespace platform {

class LinuxFileManager : public FileManager {
 public:
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
};

// Moves across file systems: a copy under a hidden name beside `to`, synced, that appears as `to` in one step, then `from` goes.
// errno of the step that failed, or 0. What was begun is cleaned up.
int copyAcross(const std::string& from, const std::string& to);
// Renames without ever replacing; errno or 0. EEXIST where anything has the name.
int renameNoReplace(const std::string& from, const std::string& to);
// Copies the extended attributes of the user namespace that `to` lacks, and the permission bits.
void copyUserMetadata(int from, int to, bool withTags);

}  // namespace platform
