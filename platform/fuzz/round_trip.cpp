#include "platform/fuzz/round_trip.h"

#include <cstdlib>

namespace platform {

void roundTrip(const Result<PropertyList>& list) {
  if (!list) {
    (void)list.error().description();
    return;
  }
  const Result<std::string> text = writeXmlPropertyList(*list);
  if (!text) return;
  const Result<PropertyList> again = parsePropertyList({text->begin(), text->end()});
  if (!again) std::abort();
  const Result<std::string> same = writeXmlPropertyList(*again);
  if (!same || *same != *text) std::abort();
}

}  // namespace platform
