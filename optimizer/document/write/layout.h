// Groups objects into what is written as one thing: an object by itself, or an object stream with many; and, for a
// linearized file, decides the part of the file that each belongs to (ISO 32000-1, 7.5.7 and Annex F).
#pragma once

#include <cstdint>
#include <vector>

#include "optimizer/document/write/graph.h"

namespace optimizer {

struct Unit {
  bool container = false;
  std::vector<std::uint32_t> members;  // node indexes; one where it is no container
};

using UnitIndex = std::uint32_t;

// The parts of a linearized file that hold a document's objects, in the terms of Annex F.3.
struct LinearParts {
  std::vector<UnitIndex> documentLevel;                // part 4: the catalog first
  std::vector<UnitIndex> firstPage;                    // part 6: the page object first
  std::vector<std::vector<UnitIndex>> pages;           // part 7: for each other page, its page object first
  std::vector<UnitIndex> shared;                       // part 8: used by several of the other pages
  std::vector<UnitIndex> rest;                         // part 9
  std::vector<std::vector<UnitIndex>> sharedOfPage;    // for each page, what it uses of parts 6 and 8
  // Where the outline stands: its units follow one another, in part 6 or part 9. Empty where there is none.
  std::vector<UnitIndex> outline;
};

struct Layout {
  std::vector<Unit> units;
  LinearParts parts;  // filled for linearized files only
};

// For a file without linearization: every object that may be is in an object stream.
Layout plainLayout(const ObjectGraph& graph, const std::vector<std::size_t>& sizes);

// For a linearized one; page objects and the catalog stand by themselves. sizes: bytes of each node as written, about.
// An empty layout means that the document's sharing is too tangled to be worked out in bounded time.
Layout linearLayout(const ObjectGraph& graph, const std::vector<std::size_t>& sizes);

}  // namespace optimizer
