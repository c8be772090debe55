// The hint tables of a linearized file (ISO 32000-1, F.4).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace optimizer {

struct PageHint {
  std::uint32_t objects = 0;           // page object and what only this page has
  std::uint64_t length = 0;            // their bytes
  std::vector<std::uint32_t> shared;   // indexes into the shared objects
};

struct HintTables {
  std::uint64_t firstPageOffset = 0;            // offsets as if the hint stream were not in the file
  std::vector<PageHint> pages;
  std::vector<std::uint64_t> sharedLengths;     // the units of part 6, then those of part 8
  std::uint32_t sharedInFirstPage = 0;
  std::uint32_t firstSharedObject = 0;          // number and offset of the first unit of part 8
  std::uint64_t firstSharedOffset = 0;
  // The outline, where there is one.
  std::uint32_t outlineObject = 0, outlineObjects = 0;
  std::uint64_t outlineOffset = 0, outlineLength = 0;
};

// The hint stream object "number 0 obj … endobj".
std::string hintStream(int number, const HintTables& tables);

}  // namespace optimizer
