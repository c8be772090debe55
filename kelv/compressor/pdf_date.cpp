#include "kelv/compressor/pdf_date.h"

#include <charconv>

#include "platform/error.h"

namespace kelv {
namespace {

// The digits after the point of the shortest decimal text, read back as a fraction: the sign is lost on
// purpose.
double decimalFraction(double value) {
  const std::string text = platform::shortestDecimalText(value);
  const std::size_t point = text.find('.');
  if (point == std::string::npos)
    platform::fatalError("a time zone offset without decimals", __FILE__, __LINE__);
  double result = 0;
  std::from_chars(text.data() + point, text.data() + text.size(), result);
  return result;
}

std::string twoDigits(platform::Formatting& formatting, double value) {
  return formatting.number(value, "00").value_or("00");
}

}  // namespace

std::string pdfDateText(platform::Formatting& formatting, platform::TimePoint time) {
  const double offsetHours = formatting.secondsFromGmt(time) / 60.0 / 60.0;
  const double offsetMinutes = decimalFraction(offsetHours) * 60.0;
  return "D:" + formatting.date(time, "YYYYMMddhhmmss") + "+" + twoDigits(formatting, offsetHours) + "'" +
         twoDigits(formatting, offsetMinutes) + "'";
}

}  // namespace kelv
