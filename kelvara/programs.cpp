#include "kelvara/programs.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace kelvara {
namespace {

using Clock = std::chrono::steady_clock;

void limit(__rlimit_resource what, rlim_t value) {
  const rlimit both{value, value};
  setrlimit(what, &both);
}

// After fork only calls that are safe there, until exec.
[[noreturn]] void become(char* const* arguments, int output, const ProgramLimits& limits) {
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // nobody would read what it writes
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(nothing, STDERR_FILENO);
  limit(RLIMIT_AS, limits.memoryBytes);
  limit(RLIMIT_CPU, static_cast<rlim_t>(limits.time.count() * 2));
  limit(RLIMIT_CORE, 0);
  execv(arguments[0], arguments);
  _exit(127);
}

// Reads until the end; false and a problem when a limit was reached.
bool readAll(int source, const ProgramLimits& limits, ProgramRun& run) {
  const Clock::time_point end = Clock::now() + limits.time;
  char buffer[1 << 16];
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting{source, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) {
      run.problem = "took longer than " + std::to_string(limits.time.count()) + " seconds";
      return false;
    }
    const ssize_t count = read(source, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return true;
    run.output.append(buffer, static_cast<std::size_t>(count));
    if (run.output.size() > limits.outputBytes) {
      run.problem = "wrote more than can be handled";
      return false;
    }
  }
}

}  // namespace

std::string findProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::string_view folders = path == nullptr ? "/usr/bin:/bin" : path;
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    const std::string candidate = std::string(folders.substr(0, end)) + "/" + name;
    if (candidate.front() == '/' && access(candidate.c_str(), X_OK) == 0) return candidate;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return "";
}

ProgramRun runProgram(const std::vector<std::string>& command, const ProgramLimits& limits) {
  ProgramRun run;
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    run.problem = std::strerror(errno);
    return run;
  }
  const pid_t child = fork();
  if (child == 0) become(arguments.data(), ends[1], limits);
  close(ends[1]);
  if (child < 0) {
    run.problem = std::strerror(errno);
    close(ends[0]);
    return run;
  }
  const bool whole = readAll(ends[0], limits, run);
  close(ends[0]);
  if (!whole && kill(-child, SIGKILL) != 0) kill(child, SIGKILL);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  if (!whole) return run;
  run.finished = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  if (WIFSIGNALED(status)) {
    run.problem = std::string("was stopped (") + strsignal(WTERMSIG(status)) + ")";
  } else if (!run.finished) {
    run.problem = "ended with status " + std::to_string(WEXITSTATUS(status));
  }
  return run;
}

}  // namespace kelvara
