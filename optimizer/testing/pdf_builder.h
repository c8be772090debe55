// Tiny PDFs for tests: built in memory, object by object, and opened as a Document or written to a file.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/base/result.h"
#include "optimizer/document/document.h"

namespace optimizer::testing {

// A directory of its own that goes away with the object.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::filesystem::path& path() const { return path_; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

void writeFile(const std::string& path, std::string_view bytes);
std::string readFile(const std::string& path);

// zlib stream of data (RFC 1950), for FlateDecode.
std::string deflate(std::string_view data);

// Objects are numbered from 1 in the order in which they are added; the first two are the catalog and the page tree.
// Bodies are PDF syntax and refer to others as "7 0 R". Every add function returns the number of its object.
class PdfBuilder {
 public:
  PdfBuilder();

  int addObject(std::string body);
  // entries: what the stream dictionary holds besides Length, for instance "/Type /XObject /Subtype /Form".
  int addStream(std::string_view entries, std::string_view data);
  // The same, compressed; Filter is added.
  int addFlateStream(std::string_view entries, std::string_view data);
  // A page of 612 by 792 points unless extra gives another MediaBox. resources: a dictionary, "<< … >>" or a reference.
  int addPage(std::string_view content, std::string_view resources = "<< >>", std::string_view extra = "");

  // Room for an object whose body is set later.
  int reserve() { return addObject("null"); }
  void setObject(int number, std::string body);

  // Entries for the catalog and the trailer, for instance "/Lang (en)".
  void addToCatalog(std::string_view entries) { catalog_ += entries; }
  void addToTrailer(std::string_view entries) { trailer_ += entries; }
  void setVersion(std::string_view version) { version_ = version; }

  static std::string ref(int number) { return std::to_string(number) + " 0 R"; }

  std::string build() const;
  // Opens what build() gives. The file behind it lives as long as the process.
  std::unique_ptr<Document> open() const;

 private:
  std::vector<std::string> objects_;
  std::vector<int> pages_;
  std::string catalog_, trailer_, version_ = "1.7";
};

}  // namespace optimizer::testing
