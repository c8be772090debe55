#include "platform/linux/process_linux.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>

#include "platform/linux/environment.h"

extern char** environ;

namespace platform {

LinuxProcess::LinuxProcess() {
  // Connected now: once access is limited, no new connection to the log is possible.
  openlog("kelv", LOG_PID | LOG_NDELAY, LOG_USER);
}

bool LinuxProcess::environmentIsEmpty() { return !environ || !environ[0]; }

std::optional<std::string> LinuxProcess::environment(const std::string& name) {
  const char* value = std::getenv(name.c_str());
  if (!value) return std::nullopt;
  return value;
}

std::string LinuxProcess::temporaryDirectory() {
  const std::string folder = temporaryFolder();
  return folder.back() == '/' ? folder : folder + "/";
}

std::string LinuxProcess::newUuidText() {
  unsigned char bytes[16];
  std::size_t have = 0;
  while (have < sizeof bytes) {
    const ssize_t count = getrandom(bytes + have, sizeof bytes - have, 0);
    if (count > 0) have += static_cast<std::size_t>(count);
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4, RFC 9562, 5.4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
  std::string text;
  for (std::size_t i = 0; i < sizeof bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
    text += digits;
  }
  return text;
}

int LinuxProcess::processorCount() { return std::max(1, static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN))); }

void LinuxProcess::log(const std::string& line) { writeLogLine(line); }

void writeLogLine(const std::string& line) {
  syslog(LOG_NOTICE, "%s", line.c_str());
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local;
  localtime_r(&now.tv_sec, &local);
  char stamp[40];
  const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
  char head[120];
  std::snprintf(head, sizeof head, "%.*s.%03ld kelv[%d:%lx] ", static_cast<int>(length), stamp, now.tv_nsec / 1000000,
                static_cast<int>(getpid()), static_cast<unsigned long>(syscall(SYS_gettid)));
  const std::string text = head + line + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void LinuxProcess::beep() {
  const int terminal = open("/dev/tty", O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (terminal < 0) return;
  if (isatty(terminal)) (void)!write(terminal, "\a", 1);
  close(terminal);
}

void LinuxProcess::print(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace platform
