#include "platform/linux/landlock.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>

#include "platform/linux/descriptor.h"

namespace platform {
namespace {

// Of linux/landlock.h, which the system's headers may have in an older form.
constexpr long createRuleset = 444, addRule = 445, restrictSelf = 446;
constexpr unsigned versionFlag = 1;
constexpr int pathBeneath = 1;

struct RulesetAttributes {
  std::uint64_t files, network, scopes;
};
struct __attribute__((packed)) PathRule {
  std::uint64_t allowed;
  std::int32_t parent;
};

constexpr std::uint64_t bit(int n) { return std::uint64_t{1} << n; }
constexpr std::uint64_t execute = bit(0), writeFile = bit(1), readFile = bit(2), readFolder = bit(3), removeFolder = bit(4),
                        removeFile = bit(5), makeFolder = bit(7), makeFile = bit(8), makeLink = bit(12), refer = bit(13),
                        truncateFile = bit(14), deviceControl = bit(15);
constexpr std::uint64_t firstRights = bit(13) - 1;  // bits 0 to 12 came with version 1
constexpr std::uint64_t onFiles = execute | writeFile | readFile | truncateFile | deviceControl;

constexpr std::uint64_t read = readFile | readFolder;
constexpr std::uint64_t use = read | writeFile | truncateFile | deviceControl;
constexpr std::uint64_t change = read | writeFile | truncateFile | removeFolder | removeFile | makeFolder | makeFile | makeLink | refer;

RulesetAttributes handledBy(int version) {
  RulesetAttributes handled = {firstRights, 0, 0};
  if (version >= 2) handled.files |= refer;
  if (version >= 3) handled.files |= truncateFile;
  if (version >= 4) handled.network = bit(0) | bit(1);  // bind and connect TCP
  if (version >= 5) handled.files |= deviceControl;
  if (version >= 6) handled.scopes = bit(0) | bit(1);  // abstract Unix sockets and signals
  return handled;
}

// A ruleset of an older version is a shorter one.
std::size_t sizeFor(int version) { return version >= 6 ? 24 : version >= 4 ? 16 : 8; }

void allow(int ruleset, const std::string& path, std::uint64_t rights) {
  const Descriptor item(open(path.c_str(), O_PATH | O_CLOEXEC));
  struct stat info;
  if (!item || fstat(item.get(), &info) != 0) return;
  if (!S_ISDIR(info.st_mode)) rights &= onFiles;
  const PathRule rule = {rights, item.get()};
  (void)syscall(addRule, ruleset, pathBeneath, &rule, 0);
}

// A limit holds for the thread that asks for it and those it starts later. Threads that run already are made to ask, by a signal
// whose handler does nothing else.
std::atomic<int> rulesetForOthers{-1};
std::atomic<int> answers{0}, refusals{0};

void limitThisThread(int) {
  const int before = errno;
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  if (syscall(restrictSelf, rulesetForOthers.load(), 0) != 0) ++refusals;
  ++answers;
  errno = before;
}

bool limitOtherThreads(int ruleset) {
  const int signal = SIGRTMAX - 2;
  struct sigaction handler = {}, before = {};
  handler.sa_handler = limitThisThread;
  handler.sa_flags = SA_RESTART;
  sigfillset(&handler.sa_mask);
  rulesetForOthers = ruleset;
  bool isDone = true;
  std::set<int> asked = {static_cast<int>(syscall(SYS_gettid))};
  if (sigaction(signal, &handler, &before) != 0) return false;
  // Again until no thread is new: one that was asked may have started another just before.
  for (bool isNew = true; isNew && isDone;) {
    isNew = false;
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task", error)) {
      const int thread = std::atoi(task.path().filename().c_str());
      if (!asked.insert(thread).second) continue;
      isNew = true;
      const int wanted = answers + 1;
      if (syscall(SYS_tgkill, getpid(), thread, signal) != 0) continue;  // it has ended
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
      while (answers < wanted && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(std::chrono::microseconds(50));
      isDone = isDone && answers >= wanted;
    }
    if (error) isDone = false;
  }
  // A thread that holds the signal back still meets the handler when it lets it through.
  if (isDone) sigaction(signal, &before, nullptr);
  return isDone && refusals == 0;
}

}  // namespace

std::string limitWithLandlock(const LandlockRules& rules) {
  const auto version = static_cast<int>(syscall(createRuleset, nullptr, 0, versionFlag));
  if (version < 1) return "This kernel has no Landlock: access is limited by kelv's own checks only.";
  const RulesetAttributes handled = handledBy(version);
  const Descriptor ruleset(static_cast<int>(syscall(createRuleset, &handled, sizeFor(version), 0)));
  if (!ruleset) return std::string("Landlock failed (") + std::strerror(errno) + "): access is limited by kelv's own checks only.";
  for (const std::string& path : rules.readable) allow(ruleset.get(), path, read & handled.files);
  for (const std::string& path : rules.usable) allow(ruleset.get(), path, use & handled.files);
  for (const std::string& path : rules.writable) allow(ruleset.get(), path, change & handled.files);
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  // The others first: looking for them needs files that the limits may close.
  const bool isWhole = limitOtherThreads(ruleset.get());
  if (syscall(restrictSelf, ruleset.get(), 0) != 0)
    return std::string("Landlock failed (") + std::strerror(errno) + "): access is limited by kelv's own checks only.";
  if (!isWhole) return "Landlock does not cover a thread that was running before: there kelv's own checks hold.";
  return "";
}

}  // namespace platform
