// One open PDF: qpdf wrapped, so that its exceptions end here and every failure is a value.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"

namespace optimizer {

// Not for several threads: qpdf resolves objects lazily. A pass reads stream bytes and writes replacements on the
// calling thread, and lets the pool work on the bytes in between.
class Document {
 public:
  // Opens and, where needed, repairs the PDF at path. Errors: io (cannot be read), damaged (no PDF, or beyond repair),
  // password (the password does not open it).
  static Result<std::unique_ptr<Document>> open(const std::string& path, const std::string& password);

  QPDF& pdf() { return *pdf_; }
  // Page dictionaries in reading order; damaged page-tree entries are left out.
  const std::vector<QPDFObjectHandle>& pages() const { return pages_; }

  // Document information (ISO 32000-1, 14.3.3): UTF-8 in and out, PDF text strings in the file.
  std::optional<std::string> infoEntry(const std::string& name);
  void setInfoEntry(const std::string& name, const std::string& value);  // "" removes the entry

 private:
  Document() = default;
  std::unique_ptr<QPDF> pdf_;
  std::vector<QPDFObjectHandle> pages_;
};

}  // namespace optimizer
