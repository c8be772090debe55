// Says on a terminal how far long work has come.
#pragma once

#include <string>

#include "kelvara/command.h"

namespace kelvara {

// One line of the error stream that is written over and goes away at the end. Without a terminal there
// nothing is written.
class Progress {
 public:
  explicit Progress(Context& context) : context_(context) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // At most as many columns as the terminal has.
  void show(const std::string& text);
  void clear();

 private:
  Context& context_;
  bool shown_ = false;
};

}  // namespace kelvara
