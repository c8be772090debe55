// Points in time as the date texts that are written into documents.
#pragma once

#include <string>

#include "platform/formatting.h"

namespace kelv {

// "D:" + 14 digits + "+" + hours + "'" + minutes + "'", in the current time zone. Kept on purpose: the year
// is the one of the week, the hour is on the 12-hour clock, and the "+" stands before a negative offset too.
std::string pdfDateText(platform::Formatting& formatting, platform::TimePoint time);

}  // namespace kelv
