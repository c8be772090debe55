#include "optimizer/testing/pdf_builder.h"

#include <libdeflate.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace optimizer::testing {

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  path_ = std::filesystem::temp_directory_path() /
          ("optimizer-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
  std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void writeFile(const std::string& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return std::move(out).str();
}

std::string deflate(std::string_view data) {
  libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
  std::string out(libdeflate_zlib_compress_bound(compressor, data.size()), '\0');
  out.resize(libdeflate_zlib_compress(compressor, data.data(), data.size(), out.data(), out.size()));
  libdeflate_free_compressor(compressor);
  return out;
}

PdfBuilder::PdfBuilder() : objects_(2) {}

int PdfBuilder::addObject(std::string body) {
  objects_.push_back(std::move(body));
  return static_cast<int>(objects_.size());
}

void PdfBuilder::setObject(int number, std::string body) {
  objects_.at(static_cast<std::size_t>(number) - 1) = std::move(body);
}

int PdfBuilder::addStream(std::string_view entries, std::string_view data) {
  std::string body = "<< " + std::string(entries) + " /Length " + std::to_string(data.size()) + " >>\nstream\n";
  body += data;
  body += "\nendstream";
  return addObject(std::move(body));
}

int PdfBuilder::addFlateStream(std::string_view entries, std::string_view data) {
  return addStream(std::string(entries) + " /Filter /FlateDecode", deflate(data));
}

int PdfBuilder::addPage(std::string_view content, std::string_view resources, std::string_view extra) {
  const int contents = addStream("", content);
  std::string body = "<< /Type /Page /Parent 2 0 R /Contents " + ref(contents);
  if (extra.find("/MediaBox") == std::string_view::npos) body += " /MediaBox [0 0 612 792]";
  body += " /Resources " + std::string(resources) + " " + std::string(extra) + " >>";
  pages_.push_back(addObject(std::move(body)));
  return pages_.back();
}

std::string PdfBuilder::build() const {
  std::string out = "%PDF-" + version_ + "\n%\xE2\xE3\xCF\xD3\n";
  std::string kids;
  for (int page : pages_) kids += ref(page) + " ";
  std::vector<std::size_t> offsets;
  for (std::size_t i = 0; i < objects_.size(); ++i) {
    std::string body = objects_[i];
    if (i == 0 && body.empty()) body = "<< /Type /Catalog /Pages 2 0 R " + catalog_ + " >>";
    if (i == 1 && body.empty()) {
      body = "<< /Type /Pages /Count " + std::to_string(pages_.size()) + " /Kids [ " + kids + "] >>";
    }
    offsets.push_back(out.size());
    out += std::to_string(i + 1) + " 0 obj\n" + body + "\nendobj\n";
  }
  const std::size_t start = out.size();
  out += "xref\n0 " + std::to_string(objects_.size() + 1) + "\n0000000000 65535 f \n";
  for (std::size_t offset : offsets) {
    char line[32];
    std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
    out += line;
  }
  out += "trailer\n<< /Root 1 0 R /Size " + std::to_string(objects_.size() + 1) + " " + trailer_ +
         " >>\nstartxref\n" + std::to_string(start) + "\n%%EOF\n";
  return out;
}

std::unique_ptr<Document> PdfBuilder::open() const {
  static TempDir directory;
  static std::atomic<int> counter{0};
  const std::string path = directory.file(std::to_string(counter++) + ".pdf");
  writeFile(path, build());
  Result<std::unique_ptr<Document>> document = Document::open(path, "");
  if (!document.ok()) {
    std::cerr << "PdfBuilder::open: " << document.error().message << "\n";
    std::abort();
  }
  return std::move(*document);
}

}  // namespace optimizer::testing
