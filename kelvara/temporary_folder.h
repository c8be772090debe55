// A folder of kelvara's own that goes away with the object.
#pragma once

#include <string>

namespace kelvara {

class TemporaryFolder {
 public:
  // Below $TMPDIR, open to nobody else.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Empty when it could not be made.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace kelvara
