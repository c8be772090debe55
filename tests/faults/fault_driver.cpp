// Runs a program and disturbs one system call of it.
//
//   fault_driver list MARK COMMAND…             lists the system calls after the mark
//   fault_driver kill N MARK COMMAND…           kills the program at its Nth system call after the mark, before it happens
//   fault_driver fail N ERROR MARK COMMAND…     makes that call fail with the error number; it does not happen
//
// The mark is a text; counting begins after the first write that contains it. The calls of all threads count, as they come.
// What list writes to standard error, and the others in their last line there: "call NUMBER" and "end STATUS" (128 + signal).
#include <elf.h>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace {

enum class Action { list, kill, fail };

struct Plan {
  Action action = Action::list;
  long position = 0;
  int error = 0;
  std::string mark;
};

std::string readMemory(pid_t process, std::uint64_t address, std::size_t size) {
  std::string bytes(std::min<std::size_t>(size, 1 << 16), '\0');
  iovec local{bytes.data(), bytes.size()};
  iovec remote{reinterpret_cast<void*>(address), bytes.size()};
  const auto count = process_vm_readv(process, &local, 1, &remote, 1, 0);
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

bool writesMark(pid_t process, const __ptrace_syscall_info& info, const std::string& mark) {
  const auto& arguments = info.entry.args;
  if (info.entry.nr == SYS_write) {
    return readMemory(process, arguments[1], arguments[2]).find(mark) != std::string::npos;
  }
  if (info.entry.nr != SYS_writev) return false;
  for (std::uint64_t i = 0; i < std::min<std::uint64_t>(arguments[2], 16); ++i) {
    const auto entry = readMemory(process, arguments[1] + i * sizeof(iovec), sizeof(iovec));
    if (entry.size() != sizeof(iovec)) continue;
    iovec part{};
    memcpy(&part, entry.data(), sizeof part);
    const auto text = readMemory(process, reinterpret_cast<std::uint64_t>(part.iov_base), part.iov_len);
    if (text.find(mark) != std::string::npos) return true;
  }
  return false;
}

#if defined(__x86_64__)
void skipCall(pid_t thread) {
  ptrace(PTRACE_POKEUSER, thread, offsetof(user_regs_struct, orig_rax), -1L);
}
void setResult(pid_t thread, long result) {
  ptrace(PTRACE_POKEUSER, thread, offsetof(user_regs_struct, rax), result);
}
#elif defined(__aarch64__)
void skipCall(pid_t thread) {
  int none = -1;
  iovec value{&none, sizeof none};
  ptrace(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &value);
}
void setResult(pid_t thread, long result) {
  user_regs_struct registers{};
  iovec value{&registers, sizeof registers};
  ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &value);
  registers.regs[0] = static_cast<std::uint64_t>(result);
  ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &value);
}
#else
#error "how a system call is skipped is not known for this processor"
#endif

class Driver {
 public:
  Driver(const Plan& plan, pid_t child) : plan_(plan), child_(child) {}

  int run() {
    while (true) {
      int status = 0;
      const pid_t thread = waitpid(-1, &status, __WALL);
      if (thread < 0) return 0;
      if (WIFEXITED(status) || WIFSIGNALED(status)) {
        if (thread == child_) {
          fprintf(stderr, "end %d\n", WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
          return 0;
        }
        continue;
      }
      resume(thread, status);
    }
  }

 private:
  void resume(pid_t thread, int status) {
    int signal = WSTOPSIG(status);
    if (signal == (SIGTRAP | 0x80)) {
      atCall(thread);
      signal = 0;
    } else if (signal == SIGTRAP || (signal == SIGSTOP && known_.insert(thread).second)) {
      signal = 0;
    }
    ptrace(PTRACE_SYSCALL, thread, nullptr, signal);
  }

  void atCall(pid_t thread) {
    __ptrace_syscall_info info{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) <= 0) return;
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) atEntry(thread, info);
    if (info.op == PTRACE_SYSCALL_INFO_EXIT) atExit(thread);
  }

  void atEntry(pid_t thread, const __ptrace_syscall_info& info) {
    if (!marked_) {
      if (writesMark(thread, info, plan_.mark)) marking_ = thread;
      return;
    }
    ++count_;
    const long number = static_cast<long>(info.entry.nr);
    if (plan_.action == Action::list) fprintf(stderr, "call %ld\n", number);
    if (plan_.action == Action::list || count_ != plan_.position) return;
    fprintf(stderr, "call %ld\n", number);
    if (plan_.action == Action::kill) {
      kill(child_, SIGKILL);
    } else {
      skipCall(thread);
      failing_ = thread;
    }
  }

  void atExit(pid_t thread) {
    if (thread == marking_) {
      marked_ = true;
      marking_ = 0;
    }
    if (thread == failing_) {
      setResult(thread, -plan_.error);
      failing_ = 0;
    }
  }

  const Plan& plan_;
  const pid_t child_;
  std::set<pid_t> known_;
  bool marked_ = false;
  pid_t marking_ = 0;
  pid_t failing_ = 0;
  long count_ = 0;
};

int usage() {
  fputs("fault_driver list|kill N|fail N ERROR MARK COMMAND…\n", stderr);
  return 2;
}

}  // namespace

int main(int count, char** arguments) {
  Plan plan;
  int next = 1;
  const auto take = [&]() -> const char* { return next < count ? arguments[next++] : ""; };
  const std::string action = take();
  if (action == "kill") {
    plan.action = Action::kill;
    plan.position = atol(take());
  } else if (action == "fail") {
    plan.action = Action::fail;
    plan.position = atol(take());
    plan.error = atoi(take());
  } else if (action != "list") {
    return usage();
  }
  plan.mark = take();
  if (plan.mark.empty() || next >= count) return usage();

  const pid_t child = fork();
  if (child == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execvp(arguments[next], arguments + next);
    perror(arguments[next]);
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ptrace(PTRACE_SETOPTIONS, child, nullptr,
         PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACEEXEC |
             PTRACE_O_EXITKILL);
  ptrace(PTRACE_SYSCALL, child, nullptr, 0);
  return Driver(plan, child).run();
}
