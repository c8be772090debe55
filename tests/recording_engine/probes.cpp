#include "tests/recording_engine/probes.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/recording_engine/record.h"

namespace recording {
namespace {

std::vector<std::string> readLines() {
  std::vector<std::string> lines;
  const char* path = getenv("KELV_PROBES");
  if (path == nullptr) return lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

const std::vector<std::string> lines = readLines();

// 0 or the error number of a call that gives -1 on failure.
int outcome(long result) { return result == -1 ? errno : 0; }

int tryOpen(const std::string& path, int flags) {
  const int file = open(path.c_str(), flags | O_CLOEXEC, 0644);
  const int error = outcome(file);
  if (file >= 0) close(file);
  return error;
}

int tryExecute(const std::string& path) {
  char* const arguments[] = {const_cast<char*>(path.c_str()), nullptr};
  char* const environment[] = {nullptr};
  pid_t child = 0;
  const int error = posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environment);
  if (error == 0) waitpid(child, nullptr, 0);
  return error;
}

int tryConnect(int port) {
  const int socketFile = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socketFile < 0) return errno;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int error = outcome(connect(socketFile, reinterpret_cast<sockaddr*>(&address), sizeof address));
  close(socketFile);
  return error;
}

int tryConnectUnix(const std::string& path) {
  const int socketFile = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socketFile < 0) return errno;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int error = outcome(connect(socketFile, reinterpret_cast<sockaddr*>(&address), sizeof address));
  close(socketFile);
  return error;
}

int tryList(const std::string& path) {
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) return errno;
  closedir(folder);
  return 0;
}

// A thread that started before the process was limited, as a careless library might have one.
class OldThread {
 public:
  OldThread() {
    for (const auto& line : lines) {
      if (line.rfind("old-thread", 0) == 0) wanted_ = true;
    }
    if (wanted_) std::thread([this] { serve(); }).detach();
  }

  int run(std::function<int()> work) {
    std::unique_lock lock(mutex_);
    work_ = std::move(work);
    changed_.notify_all();
    changed_.wait(lock, [this] { return !work_; });
    return result_;
  }

 private:
  void serve() {
    std::unique_lock lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return static_cast<bool>(work_); });
      result_ = work_();
      work_ = nullptr;
      changed_.notify_all();
    }
  }

  bool wanted_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::function<int()> work_;
  int result_ = 0;
};

OldThread& oldThread() {
  static OldThread* thread = new OldThread;
  return *thread;
}

// Started when the library is loaded.
[[maybe_unused]] const OldThread& startedOldThread = oldThread();

int attempt(const std::string& line) {
  std::istringstream words(line);
  std::string verb, path, to;
  words >> verb >> path >> to;
  if (verb == "read") return tryOpen(path, O_RDONLY);
  if (verb == "list") return tryList(path);
  if (verb == "write") return tryOpen(path, O_WRONLY);
  if (verb == "make") return tryOpen(path, O_WRONLY | O_CREAT | O_EXCL);
  if (verb == "remove") return outcome(unlink(path.c_str()));
  if (verb == "rename") return outcome(rename(path.c_str(), to.c_str()));
  if (verb == "link") return outcome(link(path.c_str(), to.c_str()));
  if (verb == "chmod") return outcome(chmod(path.c_str(), 0600));
  if (verb == "truncate") return outcome(truncate(path.c_str(), 0));
  if (verb == "execute") return tryExecute(path);
  if (verb == "connect") return tryConnect(std::stoi(path));
  if (verb == "connect-unix") return tryConnectUnix(path);
  if (verb == "trace") return outcome(ptrace(PTRACE_SEIZE, getppid(), nullptr, nullptr));
  if (verb == "signal") return outcome(kill(getppid(), 0));
  if (verb == "thread-read") {
    int error = 0;
    std::thread([&] { error = tryOpen(path, O_RDONLY); }).join();
    return error;
  }
  if (verb == "old-thread-read") return oldThread().run([&] { return tryOpen(path, O_RDONLY); });
  return ENOSYS;
}

}  // namespace

void probeConfinement() {
  for (const auto& line : lines) {
    const int error = attempt(line);
    Line("probe").note("line", line).note("outcome", error == 0 ? "ok" : strerrorname_np(error));
  }
}

}  // namespace recording
