#include "platform/linux/formatting_linux.h"

#include <unicode/decimfmt.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>

namespace platform {
namespace {

// The user's locale by the POSIX order of variables; C and POSIX have no week rules of their own.
icu::Locale userLocale() {
  std::string name;
  for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value && *value) {
      name = value;
      break;
    }
  }
  name = name.substr(0, name.find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX") name = "en_US";
  return icu::Locale(name.c_str());
}

// The same locale with what a PDF date needs: the Gregorian calendar and ASCII digits.
icu::Locale plainLocale() {
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale locale = userLocale();
  locale.setKeywordValue("calendar", "gregorian", status);
  locale.setKeywordValue("numbers", "latn", status);
  return locale;
}

double milliseconds(TimePoint time) {
  return static_cast<double>(std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count());
}

icu::UnicodeString fromUtf8(const std::string& text) { return icu::UnicodeString::fromUTF8(text); }

}  // namespace

TimePoint LinuxFormatting::now() {
  return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

std::string LinuxFormatting::date(TimePoint time, const std::string& pattern) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(fromUtf8(pattern), plainLocale(), status);
  if (U_FAILURE(status)) return "";
  // By the offset that the system's own functions give, which know every form of TZ.
  format.adoptTimeZone(new icu::SimpleTimeZone(secondsFromGmt(time) * 1000, "kelv"));
  icu::UnicodeString text;
  std::string result;
  format.format(milliseconds(time), text).toUTF8String(result);
  return result;
}

std::optional<std::string> LinuxFormatting::number(double value, const std::string& pattern) {
  UErrorCode status = U_ZERO_ERROR;
  icu::DecimalFormatSymbols symbols(plainLocale(), status);
  icu::DecimalFormat format(fromUtf8(pattern), symbols, status);
  if (U_FAILURE(status)) return std::nullopt;
  format.setRoundingMode(icu::DecimalFormat::kRoundHalfEven);
  icu::UnicodeString text;
  std::string result;
  format.format(value, text, nullptr, status).toUTF8String(result);
  if (U_FAILURE(status)) return std::nullopt;
  return result;
}

int LinuxFormatting::secondsFromGmt(TimePoint time) {
  tzset();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(
      std::chrono::time_point_cast<std::chrono::system_clock::duration>(time));
  tm local;
  return localtime_r(&seconds, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
}

}  // namespace platform
