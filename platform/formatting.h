// Dates and numbers as text, in the user's locale and time zone.
#pragma once

#include <optional>
#include <string>

#include "platform/files.h"

namespace platform {

class Formatting {
 public:
  virtual ~Formatting() = default;
  virtual TimePoint now() = 0;
  // By a pattern of Unicode TR 35, such as "YYYYMMddhhmmss": Gregorian calendar, ASCII digits, the week rules of the user's
  // locale (en_US where it is C or POSIX), the current time zone.
  virtual std::string date(TimePoint time, const std::string& pattern) = 0;
  // By a pattern of Unicode TR 35, such as "00"; rounds half to even. None when formatting fails.
  virtual std::optional<std::string> number(double value, const std::string& pattern) = 0;
  // Offset of the current time zone at a time, daylight saving included.
  virtual int secondsFromGmt(TimePoint time) = 0;
};

// The shortest decimal text that reads back as the same double: at least one decimal ("50.0") from 0.0001 to 2^53, else an
// exponent of at least two digits ("5e-05"); "nan", "inf", "-inf".
std::string shortestDecimalText(double value);

}  // namespace platform
