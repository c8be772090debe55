#include "platform/fuzz/round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  platform::roundTrip(platform::parseXmlPropertyList(std::string_view(reinterpret_cast<const char*>(bytes), size)));
  return 0;
}
