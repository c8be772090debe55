// Where each object stands in a file: every byte belongs to one object or to what is between them (ISO
// 32000-1, 7.5).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <qpdf/QPDFObjGen.hh>
#include <string>

#include "optimizer/base/result.h"

namespace optimizer {

// All figures in bytes; together with the objects' they are the file's size.
struct FileLayout {
  std::map<QPDFObjGen, std::uint64_t> objects;  // from "1 0 obj" to "endobj"
  std::uint64_t crossReference = 0;             // tables, trailers and their pointers
  std::uint64_t framing = 0;                    // header, comments, white space
  std::uint64_t earlierVersions = 0;            // objects that the cross-reference table does not lead to
  std::uint64_t stray = 0;                      // anything else
  std::uint64_t size = 0;
};

// offsets: where the cross-reference table has the objects that stand by themselves, counted from the header.
// Any value is safe: one that leads to no such object is as good as none, and such objects are looked for in
// what is left. streamLength: the Length of a stream as the document resolves it; a wrong one is found out.
// Error: io.
Result<FileLayout> layOut(const std::string& path, const std::map<QPDFObjGen, std::uint64_t>& offsets,
                          const std::function<std::uint64_t(QPDFObjGen)>& streamLength);

}  // namespace optimizer
