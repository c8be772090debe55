// bookmark PATH [OPTIONS]: writes the bookmark data of a location to standard output, as the companion hands it over.
#include <cstdio>
#include <cstdlib>

#include "platform/services.h"

int main(int count, char** arguments) {
  if (count < 2) return 2;
  const unsigned options = count > 2 ? static_cast<unsigned>(std::strtoul(arguments[2], nullptr, 10)) : 0;
  auto bookmark = platform::systemServices().bookmarks.create(arguments[1], options);
  if (!bookmark) {
    std::fprintf(stderr, "%s\n", bookmark.error().description().c_str());
    return 1;
  }
  std::fwrite(bookmark->data(), 1, bookmark->size(), stdout);
  return 0;
}
