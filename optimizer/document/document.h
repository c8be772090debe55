// One open PDF: qpdf wrapped, so that its exceptions end here and every failure is a value.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/document/reachable.h"

namespace optimizer {

// Not for several threads: qpdf resolves objects lazily. A pass reads stream bytes and writes replacements on the
// calling thread, and lets the pool work on the bytes in between.
class Document {
 public:
  // Opens and, where needed, repairs the PDF at path. Errors: io (cannot be read), damaged (no PDF, or beyond repair),
  // password (the password does not open it), unsupported (an unknown encryption), limit (too many pages or objects).
  // Page attributes that were inherited stand in the page itself afterwards (ISO 32000-1, 7.7.3.4).
  static Result<std::unique_ptr<Document>> open(const std::string& path, const std::string& password);

  QPDF& pdf() { return *pdf_; }
  // Page dictionaries in reading order; damaged page-tree entries are left out.
  const std::vector<QPDFObjectHandle>& pages() const { return pages_; }

  // Document information (ISO 32000-1, 14.3.3): UTF-8 in and out, PDF text strings in the file. Nothing where the entry
  // is absent or no text, name or date. Dates are the texts of 7.9.4.
  std::optional<std::string> infoEntry(const std::string& name);
  // "" removes the entry. Error: the value is not UTF-8, or the name is empty.
  Status setInfoEntry(const std::string& name, const std::string& value);
  // Names that setInfoEntry was called with.
  const std::set<std::string>& changedInfo() const { return changedInfo_; }

  // What the trailer leads to (reachable.h). Walked once, and again after forgetReachable(). May throw what qpdf throws.
  const Reach& reach();
  std::vector<QPDFObjectHandle> reachable() { return reach().objects; }
  const std::vector<QPDFObjectHandle>& containers() { return reach().containers; }
  void forgetReachable() { reach_.reset(); }

  // Streams whose coding is final: a pass chose it among many, and none that follows would find a smaller one.
  void markFinal(QPDFObjGen stream) { final_.insert(stream); }
  bool isFinal(QPDFObjGen stream) const { return final_.count(stream) != 0; }

  const std::string& path() const { return path_; }
  const std::string& password() const { return password_; }
  // Size of the file that was opened, in bytes.
  std::uint64_t inputBytes() const { return inputBytes_; }

 private:
  Document() = default;
  // stream: null where input_ holds the file. header: whether it begins as a PDF does.
  Status read(std::FILE* stream, bool header);
  QPDFObjectHandle infoDictionary(bool create);

  std::string path_, password_;
  std::uint64_t inputBytes_ = 0;
  Bytes input_;  // small files are read whole; qpdf_ reads from here
  std::unique_ptr<QPDF> pdf_;
  std::vector<QPDFObjectHandle> pages_;
  std::set<std::string> changedInfo_;
  std::set<QPDFObjGen> final_;
  std::optional<Reach> reach_;
};

// Runs work, which calls qpdf, and turns what it throws into an Error whose message begins with `what`.
template <typename Work>
auto withoutExceptions(const std::string& what, Work&& work) -> decltype(work());

// The error that stands for an exception in flight; call only inside a catch block.
Error currentExceptionError(const std::string& what);

template <typename Work>
auto withoutExceptions(const std::string& what, Work&& work) -> decltype(work()) {
  try {
    return work();
  } catch (...) {
    return currentExceptionError(what);
  }
}

}  // namespace optimizer
