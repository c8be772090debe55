// Where the data of an inline image ends (ISO 32000-1, 8.9.7): nothing in the format says it, so its length is computed
// where the dictionary allows that, and looked for otherwise.
#pragma once

#include <cstddef>
#include <optional>

#include "optimizer/base/bytes.h"
#include "optimizer/content/reader.h"

namespace optimizer::content {

struct InlineImageData {
  ByteView bytes;            // the image's data as filtered
  std::size_t consumed = 0;  // bytes up to and with EI
  bool terminated = true;    // false when no EI was found: the data runs to the end
};

// image: an inline image's operands. rest: the stream behind ID.
InlineImageData findInlineImageData(const Instruction& image, ByteView rest);

// Length in bytes of unfiltered data, or nothing when it is filtered or its colour space is a resource.
std::optional<std::size_t> inlineImageLength(const Instruction& image);

}  // namespace optimizer::content
