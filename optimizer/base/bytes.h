// The one spelling of "some bytes" in the engine.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace optimizer {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

}  // namespace optimizer
