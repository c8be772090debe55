// Dates and numbers as text, by ICU.
#pragma once

#include "platform/formatting.h"

namespace platform {

class LinuxFormatting : public Formatting {
 public:
  TimePoint now() override;
  std::string date(TimePoint time, const std::string& pattern) override;
  std::optional<std::string> number(double value, const std::string& pattern) override;
  int secondsFromGmt(TimePoint time) override;
};

}  // namespace platform
