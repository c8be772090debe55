#include "optimizer/document/rebuild.h"

#include <gtest/gtest.h>

#include "optimizer/document/document.h"
#include "optimizer/document/save.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::TempDir;

std::size_t pagesOf(const std::string& bytes) {
  TempDir directory;
  testing::writeFile(directory.file("x.pdf"), bytes);
  const auto document = Document::open(directory.file("x.pdf"), "");
  return document.ok() ? (*document)->pages().size() : 0;
}

PdfBuilder threePages() {
  PdfBuilder builder;
  for (int i = 0; i < 3; ++i) builder.addPage("0 0 m 9 9 l S");
  return builder;
}

TEST(Rebuild, FindsTheObjectsOfAFileThatLostItsEnd) {
  const std::string whole = threePages().build();
  EXPECT_EQ(pagesOf(whole.substr(0, whole.find("xref\n"))), 3u);
}

TEST(Rebuild, FindsPagesWithoutACatalog) {
  PdfBuilder builder = threePages();
  builder.setObject(1, "<< /Nothing true >>");
  const std::string whole = builder.build();
  EXPECT_EQ(pagesOf(whole.substr(0, whole.find("xref\n"))), 3u);
}

TEST(Rebuild, UnpacksObjectStreams) {
  TempDir directory;
  PdfBuilder builder = threePages();
  ASSERT_TRUE(saveDocument(*builder.open(), directory.file("packed.pdf"), {}).ok());
  const std::string packed = testing::readFile(directory.file("packed.pdf"));
  ASSERT_NE(packed.find("/ObjStm"), std::string::npos);
  EXPECT_EQ(pagesOf(packed.substr(0, packed.find("/Type/XRef"))), 3u);
}

TEST(Rebuild, GivesUpWhereThereIsNothingToFind) {
  for (const std::string& bytes : {std::string("%PDF-1.4\n"), std::string("obj obj 1 obj 0 obj"),
                                   std::string("%PDF-1.4\n1 0 obj << /Encrypt 2 0 R >> endobj")}) {
    EXPECT_FALSE(rebuildFile({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()})) << bytes;
  }
}

TEST(Rebuild, LetsTheLastObjectOfANumberCount) {
  PdfBuilder builder = threePages();
  const std::string whole = builder.build();
  const std::string cut = whole.substr(0, whole.find("xref\n"));
  EXPECT_EQ(pagesOf(cut + "2 0 obj << /Type /Pages /Kids [ 4 0 R ] /Count 1 >> endobj\n"), 1u);
}

TEST(Rebuild, PassesOverObjectStreamsThatEndBeforeTheyBegin) {
  const std::string whole = threePages().build();
  const std::string cut = whole.substr(0, whole.find("xref\n"));
  EXPECT_EQ(pagesOf(cut + "9 0 obj << /Type /ObjStm /N 1 /First 3 >> endobj\nstream\n1 9\n"), 3u);
  EXPECT_EQ(pagesOf(cut + "9 0 obj << /Type /ObjStm /N 1 /First 3 >> endobj\nstream"), 3u);
  EXPECT_EQ(pagesOf(cut + "9 0 obj << /Type /ObjStm /N 1 /First 24 >>\nstream\n"
                          "5 9223372036854775807 ()\nendstream endobj\n"), 3u);
}

}  // namespace
}  // namespace optimizer
