#include "optimizer/document/document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "optimizer/document/save.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/text.h"
#include "optimizer/document/verify.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::TempDir;
using testing::writeFile;

struct RefusedCase {
  const char* name;
  std::string bytes;
  ErrorKind kind;
};

class RefusedFile : public ::testing::TestWithParam<RefusedCase> {};

TEST_P(RefusedFile, HasAKindAndOneLineOfMessage) {
  TempDir directory;
  writeFile(directory.file("x.pdf"), GetParam().bytes);
  const auto document = Document::open(directory.file("x.pdf"), "");
  ASSERT_FALSE(document.ok());
  EXPECT_EQ(document.error().kind, GetParam().kind);
  EXPECT_FALSE(document.error().message.empty());
  EXPECT_EQ(document.error().message.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RefusedFile,
    ::testing::Values(RefusedCase{"empty", "", ErrorKind::damaged},
                      RefusedCase{"noPdf", "GIF89a and so on", ErrorKind::damaged},
                      RefusedCase{"headerOnly", "%PDF-1.7\n", ErrorKind::damaged},
                      RefusedCase{"noPages",
                                  "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Kids[]"
                                  "/Count 0>>endobj\ntrailer<</Root 1 0 R>>",
                                  ErrorKind::damaged}),
    [](const auto& info) { return info.param.name; });

TEST(DocumentOpen, RepairsAPageTreeWithLoopsAndStrangers) {
  PdfBuilder builder;
  const int page = builder.addPage("0 0 m");
  builder.setObject(2, "<< /Type /Pages /Count 99 /Kids [ 2 0 R null 77 0 R (x) " + PdfBuilder::ref(page) + " ] >>");
  const auto document = builder.open();
  EXPECT_EQ(document->pages().size(), 1u);
  EXPECT_EQ(document->pdf().getRoot().getKey("/Pages").getKey("/Count").getIntValue(), 1);
}

TEST(DocumentOpen, FindsPagesWhereTheCatalogLeadsToNone) {
  PdfBuilder builder;
  builder.addPage("0 0 m");
  builder.addPage("0 0 m");
  builder.setObject(2, "null");
  EXPECT_EQ(builder.open()->pages().size(), 2u);
}

TEST(DocumentOpen, GivesPagesTheirInheritedAttributes) {
  PdfBuilder builder;
  const int page = builder.addObject("<< /Type /Page /Parent 2 0 R >>");
  builder.setObject(2, "<< /Type /Pages /Count 1 /Rotate 90 /MediaBox [0 0 9 9] /Kids [ " + PdfBuilder::ref(page) +
                           " ] >>");
  const auto document = builder.open();
  QPDFObjectHandle first = document->pages().at(0);
  EXPECT_EQ(first.getKey("/Rotate").getIntValue(), 90);
  EXPECT_TRUE(first.getKey("/MediaBox").isArray());
}

TEST(DocumentReach, CountsReferencesFromObjectsAndNotFromTheTrailer) {
  PdfBuilder builder;
  builder.addPage("0 0 m");
  const int leaf = builder.addObject("(leaf)"), stray = builder.addObject("(stray)");
  const std::string ref = PdfBuilder::ref(leaf);
  const int holder = builder.addStream("/A " + ref + " /B << /C [ " + ref + " [ ] ] >>", "data");
  builder.addToTrailer("/Info << /Leaf " + ref + " >> /Held " + PdfBuilder::ref(holder));
  const auto document = builder.open();
  QPDF& pdf = document->pdf();
  const Reach& reach = document->reach();
  EXPECT_EQ(reach.referencesTo(pdf.getObject(leaf, 0)), 2);
  EXPECT_EQ(reach.referencesTo(pdf.getObject(holder, 0)), 0);
  EXPECT_EQ(reach.referencesTo(pdf.getObject(stray, 0)), 0);
  const auto times = [&](const std::string& spelled) {
    return std::count_if(reach.containers.begin(), reach.containers.end(),
                         [&](QPDFObjectHandle container) { return container.unparseResolved() == spelled; });
  };
  EXPECT_EQ(times("[ " + ref + " [ ] ]"), 1);
  EXPECT_EQ(times("<< /C [ " + ref + " [ ] ] >>"), 1);
  EXPECT_EQ(times("<< /Leaf " + ref + " >>"), 0);
}

TEST(DocumentInfo, TurnsTextStringsIntoUtf8AndBack) {
  PdfBuilder builder;
  builder.addPage("");
  const int info = builder.addObject(
      "<< /Title <FEFF00DC0062> /Author (\\334b) /Subject <EFBBBFC39C> /Trapped /True /Keywords 5 >>");
  builder.addToTrailer("/Info " + PdfBuilder::ref(info));
  const auto document = builder.open();
  EXPECT_EQ(document->infoEntry("Title"), "\xC3\x9C" "b");
  EXPECT_EQ(document->infoEntry("Author"), "\xC3\x9C" "b");
  EXPECT_EQ(document->infoEntry("Subject"), "\xC3\x9C");
  EXPECT_EQ(document->infoEntry("Trapped"), "True");
  EXPECT_EQ(document->infoEntry("Keywords"), std::nullopt);
  EXPECT_EQ(document->infoEntry("Creator"), std::nullopt);

  const std::string emoji = "\xF0\x9F\x98\x80 \xE2\x82\xAC";
  ASSERT_TRUE(document->setInfoEntry("Creator", emoji).ok());
  EXPECT_EQ(document->infoEntry("Creator"), emoji);
  ASSERT_TRUE(document->setInfoEntry("Creator", "").ok());
  EXPECT_EQ(document->infoEntry("Creator"), std::nullopt);
  EXPECT_FALSE(document->setInfoEntry("Creator", "\xC3").ok());
  EXPECT_FALSE(document->setInfoEntry("", "x").ok());
}

TEST(DocumentInfo, MakesADictionaryOnlyWhereThereIsSomethingToSay) {
  PdfBuilder builder;
  builder.addPage("");
  const auto document = builder.open();
  ASSERT_TRUE(document->setInfoEntry("Title", "").ok());
  EXPECT_FALSE(document->pdf().getTrailer().hasKey("/Info"));
  ASSERT_TRUE(document->setInfoEntry("Title", "x").ok());
  EXPECT_TRUE(document->pdf().getTrailer().getKey("/Info").isIndirect());
}

TEST(SaveDocument, LeavesNothingNewWhereItFails) {
  PdfBuilder builder;
  builder.addPage("0 0 m");
  TempDir directory;
  std::filesystem::create_directory(directory.file("folder.pdf"));
  const auto document = builder.open();
  EXPECT_FALSE(saveDocument(*document, directory.file("folder.pdf"), {}).ok());
  EXPECT_FALSE(saveDocument(*document, directory.file("missing/x.pdf"), {}).ok());
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
}

TEST(SaveDocument, RefusesWhatCannotBeReadBack) {
  PdfBuilder builder;
  builder.addPage("0 0 m 10 10 l S");
  TempDir directory;
  const auto document = builder.open();
  QPDFObjectHandle(document->pages()[0]).getKey("/Contents").replaceStreamData(
      "no zlib data", QPDFObjectHandle::newName("/FlateDecode"), QPDFObjectHandle::newNull());
  const Status status = saveDocument(*document, directory.file("x.pdf"), {});
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().kind, ErrorKind::internal);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(VerifySaved, TakesLargeFilesAsSmallOnes) {
  TempDir directory;
  const std::string path = directory.file("x.pdf");
  for (std::size_t padding : {std::size_t{10}, std::size_t{33} << 20}) {
    PdfBuilder pdf;
    pdf.addStream("", std::string(padding, 'x'));
    pdf.addPage("0 g");
    const auto document = pdf.open();
    const std::string bytes = pdf.build();
    writeFile(path, bytes);
    EXPECT_TRUE(verifySaved(path, "", *document).ok()) << padding;

    writeFile(path, bytes.substr(0, bytes.size() - 60));
    const Status cut = verifySaved(path, "", *document);
    ASSERT_FALSE(cut.ok()) << padding;
    EXPECT_TRUE(cut.error().message.starts_with("The optimized file could not be read back: ")) << cut.error().message;

    std::filesystem::remove(path);
    const Status missing = verifySaved(path, "", *document);
    ASSERT_FALSE(missing.ok());
    EXPECT_NE(missing.error().message.find("No such file"), std::string::npos) << missing.error().message;
  }
}

TEST(SaveDocument, AcceptsWhatWasUnreadableBefore) {
  PdfBuilder builder;
  const int contents = builder.addStream("/Filter /FlateDecode", "no zlib data");
  builder.addPage("", "<< >>", "/Contents " + PdfBuilder::ref(contents));
  TempDir directory;
  const auto document = builder.open();
  EXPECT_TRUE(saveDocument(*document, directory.file("x.pdf"), {}).ok());
}

TEST(SaveDocument, RefusesContentBeyondTheLimits) {
  PdfBuilder builder;
  const int contents = builder.addStream("/Filter [ /AHx /AHx /AHx /AHx /AHx /AHx /AHx /AHx /AHx ]", ">");
  builder.addPage("", "<< >>", "/Contents " + PdfBuilder::ref(contents));
  TempDir directory;
  const Status status = saveDocument(*builder.open(), directory.file("x.pdf"), {});
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().kind, ErrorKind::limit);
  EXPECT_EQ(status.error().message, "Page 1 cannot be handled: A stream has too many filters");
}

SaveOptions linearized() {
  SaveOptions options;
  options.linearize = true;
  return options;
}

TEST(SaveDocument, GivesTheSameBytesForTheSameDocument) {
  PdfBuilder builder;
  builder.addPage("0 0 m 10 10 l S");
  TempDir directory;
  ASSERT_TRUE(saveDocument(*builder.open(), directory.file("a.pdf"), linearized()).ok());
  ASSERT_TRUE(saveDocument(*builder.open(), directory.file("b.pdf"), linearized()).ok());
  EXPECT_EQ(testing::readFile(directory.file("a.pdf")), testing::readFile(directory.file("b.pdf")));
}

TEST(Text, KnowsUtf8) {
  for (const char* good : {"", "abc", "\xC3\x9C", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xEF\xBF\xBF"}) {
    EXPECT_TRUE(isUtf8(good)) << good;
  }
  for (const char* bad : {"\x80", "\xC0\x80", "\xC3", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"}) {
    EXPECT_FALSE(isUtf8(bad)) << bad;
  }
}

TEST(Text, TurnsPdfDatesIntoXmpDates) {
  const std::pair<const char*, const char*> cases[] = {
      {"D:20240131235959+01'30'", "2024-01-31T23:59:59+01:30"},
      {"D:20240131235959Z", "2024-01-31T23:59:59Z"},
      {"D:20240131235959", "2024-01-31T23:59:59"},
      {"20240131235959-05'00", "2024-01-31T23:59:59-05:00"},
      {"D:202401", "2024-01"},
      {"D:2024013112", "2024-01-31T12:00"},
      {"yesterday", ""},
  };
  for (const auto& [pdf, xmp] : cases) EXPECT_EQ(xmpDate(pdf), xmp) << pdf;
}

TEST(StreamData, UndoesRunLengths) {
  testing::PdfBuilder builder;
  const int stream = builder.addStream("/Filter [/ASCIIHexDecode /RunLengthDecode]", "02616263fd7880>");
  builder.addPage("");
  const auto document = builder.open();
  const Result<Bytes> bytes = decodedStreamData(document->pdf().getObjectByID(stream, 0));
  ASSERT_TRUE(bytes.ok());
  EXPECT_EQ(std::string(bytes->begin(), bytes->end()), "abcxxxx");
}

}  // namespace
}  // namespace optimizer
