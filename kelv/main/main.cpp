#include <memory>
#include <string>
#include <vector>

#include "kelv/main/entry.h"
#include "platform/services.h"

int main(int argc, char** argv) {
  platform::Services& services = platform::systemServices();
  return kelv::enter(services, std::vector<std::string>(argv, argv + argc), [&services] {
    // Never released: the process ends with the engine initialised.
    static const auto& sharedCompressor =
        *new std::shared_ptr<kelv::PDFCompressor>(kelv::PDFCompressor::make(services));
    return sharedCompressor;
  });
}
