#include "platform/fuzz/round_trip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  platform::roundTrip(platform::parseBinaryPropertyList({bytes, size}));
  return 0;
}
