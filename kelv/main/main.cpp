#include <memory>
#include <string>
#include <vector>

#include "kelv/engine/engine_loader.h"
#include "kelv/main/entry.h"
#include "platform/services.h"

int main(int argc, char** argv) {
  platform::Services& services = platform::systemServices();
  const auto sharedCompressor = [&services] {
    // Never released: the process ends with the engine initialised.
    static const auto& compressor =
        *new std::shared_ptr<kelv::PDFCompressor>(kelv::PDFCompressor::make(services));
    return compressor;
  };
  return kelv::enter(services, std::vector<std::string>(argv, argv + argc),
                     {kelv::loadEngine, sharedCompressor});
}
