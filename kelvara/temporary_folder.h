// A folder of kelvara's own that goes away with the object, and when the user stops the program.
#pragma once

#include <atomic>
#include <csignal>
#include <string>
#include <thread>

namespace kelvara {

// One at a time, made on the main thread.
class TemporaryFolder {
 public:
  // Below $TMPDIR, open to nobody else. Until the object goes, SIGINT, SIGTERM and SIGHUP end the process
  // only after the folder was removed.
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Empty when it could not be made.
  const std::string& path() const { return path_; }

 private:
  void watch();

  std::string path_;
  sigset_t signals_{}, before_{};
  std::atomic<bool> over_{false};
  std::thread watcher_;
};

}  // namespace kelvara
