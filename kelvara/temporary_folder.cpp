#include "kelvara/temporary_folder.h"

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

namespace kelvara {

TemporaryFolder::TemporaryFolder() {
  std::error_code failed;
  const std::filesystem::path parent = std::filesystem::temp_directory_path(failed);
  if (failed) return;
  std::string name = (parent / "kelvara-XXXXXX").string();
  // Threads that start from here on leave these signals to the watcher, which may do more than a handler.
  sigemptyset(&signals_);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals_, signal);
  pthread_sigmask(SIG_BLOCK, &signals_, &before_);
  if (mkdtemp(name.data()) != nullptr) {
    path_ = name;
    watcher_ = std::thread([this] { watch(); });
  } else {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
}

TemporaryFolder::~TemporaryFolder() {
  if (path_.empty()) return;
  over_ = true;
  watcher_.join();
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void TemporaryFolder::watch() {
  const std::timespec pause{0, 50'000'000};
  while (!over_) {
    const int signal = sigtimedwait(&signals_, nullptr, &pause);
    if (signal <= 0) continue;
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    // Ends as it would have without the watcher.
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    raise(signal);
  }
}

}  // namespace kelvara
