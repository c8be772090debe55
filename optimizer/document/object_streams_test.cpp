#include "optimizer/document/object_streams.h"

#include <gtest/gtest.h>

#include "optimizer/document/document.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::TempDir;

std::string bytes(std::uint64_t value, int count) {
  std::string out;
  for (int i = count - 1; i >= 0; --i) out += static_cast<char>(value >> (8 * i));
  return out;
}

// A document with one page in an object stream, beside an object that nothing refers to; that one again under
// so many other numbers.
std::string packed(const std::string& object, int again = 0) {
  const std::string objects[] = {"<< /Type /Catalog /Pages 3 0 R >>",
                                 "<< /Type /Pages /Kids [4 0 R] /Count 1 >>",
                                 "<< /Type /Page /Parent 3 0 R /MediaBox [0 0 99 99] >>", object};
  std::string head, body;
  for (int i = 0; i < 4; ++i) {
    head += std::to_string(2 + i) + " " + std::to_string(body.size()) + " ";
    body += objects[i] + " ";
  }
  for (int i = 0; i < again; ++i) {
    head += std::to_string(7 + i) + " " + std::to_string(body.size() - object.size() - 1) + " ";
  }
  std::string file = "%PDF-1.5\n";
  const std::size_t stream = file.size();
  const std::string data = testing::deflate(head + body);
  file += "1 0 obj\n<< /Type /ObjStm /N " + std::to_string(4 + again) + " /First " +
          std::to_string(head.size()) + " /Filter /FlateDecode /Length " + std::to_string(data.size()) +
          " >>\nstream\n" + data + "\nendstream\nendobj\n";
  const std::size_t table = file.size();
  std::string rows = bytes(0, 6) + bytes(1, 1) + bytes(stream, 4) + bytes(0, 1);
  for (int i = 0; i < 4; ++i) rows += bytes(2, 1) + bytes(1, 4) + bytes(static_cast<std::uint64_t>(i), 1);
  rows += bytes(1, 1) + bytes(table, 4) + bytes(0, 1);
  for (int i = 0; i < again; ++i)
    rows += bytes(2, 1) + bytes(1, 4) + bytes(static_cast<std::uint64_t>(4 + i), 1);
  file += "6 0 obj\n<< /Type /XRef /W [1 4 1] /Size " + std::to_string(7 + again) + " /Root 2 0 R /Length " +
          std::to_string(rows.size()) + " >>\nstream\n" + rows + "\nendstream\nendobj\nstartxref\n" +
          std::to_string(table) + "\n%%EOF\n";
  return file;
}

std::string repeated(const std::string& text, int count) {
  std::string out;
  out.reserve(text.size() * static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) out += text;
  return out;
}

// Each would take a gigabyte or so as objects of the library, from a file of some kilobytes.
TEST(ObjectStreams, MayNotExpandIntoCountlessValues) {
  TempDir folder;
  const std::string path = folder.file("x.pdf");
  for (const char* value : {"null ", "[]", "()", "/a", "<< >>", "1\n"}) {
    testing::writeFile(path, packed("[" + repeated(value, 5'000'000) + "]"));
    const auto document = Document::open(path, "");
    ASSERT_FALSE(document.ok()) << value;
    EXPECT_EQ(document.error().kind, ErrorKind::limit) << value;
  }
  // The same object, or the same text, many times.
  for (const std::string& object :
       {"[" + repeated("null ", 100'000) + "]", "(" + repeated("text", 5'000'000) + ")"}) {
    testing::writeFile(path, packed(object, 100));
    const auto document = Document::open(path, "");
    ASSERT_FALSE(document.ok());
    EXPECT_EQ(document.error().kind, ErrorKind::limit);
  }
}

TEST(ObjectStreams, MayNotExpandIntoCountlessValuesWithoutATableEither) {
  TempDir folder;
  const std::string file = packed("[" + repeated("null ", 5'000'000) + "]");
  testing::writeFile(folder.file("x.pdf"), file.substr(0, file.find("6 0 obj")));
  const auto document = Document::open(folder.file("x.pdf"), "");
  ASSERT_TRUE(document.ok()) << document.error().message;
  EXPECT_EQ((*document)->pages().size(), 1u);
  EXPECT_TRUE((*document)->pdf().getObject(5, 0).isNull());
}

TEST(CrossReferences, MayNotNameCountlessObjectsThatAreNotThere) {
  TempDir folder;
  std::string file = "%PDF-1.5\n";
  std::string rows = bytes(0, 4);
  const char* const objects[] = {"<< /Type /Catalog /Pages 2 0 R >>",
                                 "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
                                 "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 99 99] >>"};
  for (int i = 0; i < 3; ++i) {
    rows += bytes(1, 1) + bytes(file.size(), 2) + bytes(0, 1);
    file += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::string table = bytes(1, 1) + bytes(file.size(), 2) + bytes(0, 1);
  const std::string data =
      testing::deflate(rows + table + repeated(bytes(2, 1) + bytes(9, 2) + bytes(0, 1), 1'500'000));
  const std::string start = std::to_string(file.size());
  file += "4 0 obj\n<< /Type /XRef /W [1 2 1] /Size 1500005 /Root 1 0 R /Filter /FlateDecode /Length " +
          std::to_string(data.size()) + " >>\nstream\n" + data + "\nendstream\nendobj\nstartxref\n" + start +
          "\n%%EOF\n";
  testing::writeFile(folder.file("x.pdf"), file);
  const auto document = Document::open(folder.file("x.pdf"), "");
  ASSERT_FALSE(document.ok());
  EXPECT_EQ(document.error().kind, ErrorKind::limit);
}

TEST(ObjectStreams, MayHoldLongTexts) {
  TempDir folder;
  const std::string path = folder.file("x.pdf");
  for (const std::string& text :
       {"(" + repeated("a \\) (/b) [", 500'000) + ")", "<" + repeated("61", 5'000'000) + ">"}) {
    testing::writeFile(path, packed(text));
    const auto document = Document::open(path, "");
    ASSERT_TRUE(document.ok()) << document.error().message;
    EXPECT_EQ((*document)->pages().size(), 1u);
  }
}

}  // namespace
}  // namespace optimizer
