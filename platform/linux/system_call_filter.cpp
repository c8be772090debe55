#include "platform/linux/system_call_filter.h"

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <vector>

namespace platform {
namespace {

#if defined(__x86_64__)
constexpr unsigned architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned architecture = AUDIT_ARCH_AARCH64;
#endif

// The leak check at the end of a program built with sanitizers traces it.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool canTraceItself = true;
#elif defined(__has_feature)
constexpr bool canTraceItself = __has_feature(address_sanitizer);
#else
constexpr bool canTraceItself = false;
#endif

std::vector<long> refusedCalls() {
  std::vector<long> calls = {
      // programs
      SYS_execve, SYS_execveat,
      // sockets: those that are open stay usable
      SYS_socket, SYS_socketpair, SYS_connect, SYS_bind, SYS_listen, SYS_accept, SYS_accept4,
      // other processes
      SYS_process_vm_readv, SYS_process_vm_writev, SYS_pidfd_getfd, SYS_kcmp,
      // other ways to do the same
      SYS_io_uring_setup, SYS_io_uring_enter, SYS_io_uring_register, SYS_open_by_handle_at, SYS_bpf, SYS_perf_event_open,
      SYS_userfaultfd, SYS_keyctl, SYS_add_key, SYS_request_key,
      // other views of the file system
      SYS_mount, SYS_umount2, SYS_pivot_root, SYS_chroot, SYS_unshare, SYS_setns, SYS_move_mount, SYS_open_tree, SYS_fsopen,
      SYS_fsmount,
      // the machine
      SYS_init_module, SYS_finit_module, SYS_delete_module, SYS_kexec_load, SYS_reboot, SYS_swapon, SYS_swapoff};
  if (!canTraceItself) calls.push_back(SYS_ptrace);
  return calls;
}

std::vector<sock_filter> program() {
  const auto statement = [](unsigned code, std::size_t value) {
    return sock_filter{static_cast<std::uint16_t>(code), 0, 0, static_cast<std::uint32_t>(value)};
  };
  const auto jump = [](unsigned code, std::size_t value, unsigned whenTrue, unsigned whenFalse) {
    return sock_filter{static_cast<std::uint16_t>(code), static_cast<std::uint8_t>(whenTrue),
                       static_cast<std::uint8_t>(whenFalse), static_cast<std::uint32_t>(value)};
  };
  const sock_filter refuse = statement(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM);
  std::vector<sock_filter> filter = {
      // Calls by another architecture's numbers are refused as a whole.
      statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
      jump(BPF_JMP | BPF_JEQ | BPF_K, architecture, 1, 0),
      refuse,
      statement(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
#if defined(__x86_64__)
  filter.push_back(jump(BPF_JMP | BPF_JGE | BPF_K, 0x40000000, 0, 1));  // so are the x32 ones
  filter.push_back(refuse);
#endif
  for (const long call : refusedCalls()) {
    filter.push_back(jump(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::size_t>(call), 0, 1));
    filter.push_back(refuse);
  }
  filter.push_back(statement(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  return filter;
}

}  // namespace

std::string limitSystemCalls() {
  std::vector<sock_filter> filter = program();
  const sock_fprog description = {static_cast<unsigned short>(filter.size()), filter.data()};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  // With a thread's number as the result, that thread could not be brought along.
  const long result = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &description);
  if (result == 0) return "";
  return std::string("The system calls could not be limited (seccomp: ") +
         (result > 0 ? "a thread has limits of its own" : std::strerror(errno)) + ").";
}

}  // namespace platform
