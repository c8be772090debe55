// The process's environment, log and bell.
#pragma once

#include "platform/process.h"

namespace platform {

class LinuxProcess : public Process {
 public:
  LinuxProcess();
  bool environmentIsEmpty() override;
  std::optional<std::string> environment(const std::string& name) override;
  std::string temporaryDirectory() override;
  std::string newUuidText() override;
  int processorCount() override;
  void log(const std::string& line) override;
  void beep() override;
  void print(const std::string& line) override;
};

// What LinuxProcess::log does.
void writeLogLine(const std::string& line);

}  // namespace platform
