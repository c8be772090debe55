// Writes a document to a file, or leaves no trace.
#pragma once

#include <cstdint>
#include <string>

#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer {

class WorkerPool;

struct SaveOptions {
  bool linearize = false;
  // Objects packed into compressed object streams (ISO 32000-1, 7.5.7), with a cross-reference stream.
  bool objectStreams = true;
  // Both empty and every permission granted: the file is not encrypted; else AES-256 (ISO 32000-2, 7.6).
  std::string userPassword, ownerPassword;
  std::uint32_t permissions = 0xFFFFFFFF;  // bits as in ISO 32000-1, table 22
  WorkerPool* pool = nullptr;              // codes object streams, where there is one
  int deflateLevel = 12;                   // for object streams, see base/deflate.h

  bool encrypts() const {
    return !userPassword.empty() || !ownerPassword.empty() || permissions != 0xFFFFFFFF;
  }
};

// Writes the document beside path under a hidden name, reads that back (see verify.h), and only then gives it its name;
// on failure what stood at path before is untouched and nothing new is left. Streams are written with the bytes they
// have; unreferenced objects are left out.
Status saveDocument(Document& document, const std::string& path, const SaveOptions& options);

}  // namespace optimizer
