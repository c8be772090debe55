// The process and what surrounds it: environment, temporary files, log, alert sound.
#pragma once

#include <optional>
#include <string>

namespace platform {

class Process {
 public:
  virtual ~Process() = default;
  virtual bool environmentIsEmpty() = 0;
  virtual std::optional<std::string> environment(const std::string& name) = 0;
  virtual std::string temporaryDirectory() = 0;  // always ends in "/"
  virtual std::string newUuidText() = 0;         // random, upper case, 8-4-4-4-12
  virtual int processorCount() = 0;              // at least 1

  // One line to the system log, echoed to standard error with time, process and thread. The line is text: "%" means "%".
  virtual void log(const std::string& line) = 0;
  virtual void beep() = 0;
  // One line to standard output, flushed at its end.
  virtual void print(const std::string& line) = 0;
};

}  // namespace platform
