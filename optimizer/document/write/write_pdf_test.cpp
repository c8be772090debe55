#include "optimizer/document/write/write_pdf.h"

#include <gtest/gtest.h>

#include <qpdf/Pl_String.hh>
#include <qpdf/QPDFLogger.hh>
#include <qpdf/QPDFWriter.hh>

#include "optimizer/base/pool.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/write/compact.h"
#include "optimizer/document/write/xref.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;

std::string ref(int number) { return PdfBuilder::ref(number); }

std::string writtenBy(Document& document, bool linearize, WorkerPool* pool = nullptr) {
  std::string out;
  const Status status = writePdf(document, linearize, pool, 12, [&](ByteView bytes) {
    out.append(bytes.begin(), bytes.end());
    return Status();
  });
  EXPECT_TRUE(status.ok()) << (status.ok() ? "" : status.error().message);
  return out;
}

// Reads a file strictly; the result says what is wrong with it, "" for nothing.
std::string problemsOf(const std::string& bytes, std::size_t pages, bool linearized) {
  std::string log;
  try {
    QPDF pdf;
    const auto logger = QPDFLogger::create();
    const auto collect = std::make_shared<Pl_String>("log", nullptr, log);
    logger->setInfo(collect);
    logger->setWarn(collect);
    logger->setError(collect);
    pdf.setLogger(logger);
    pdf.setAttemptRecovery(false);
    pdf.processMemoryFile("written", bytes.data(), bytes.size());
    if (pdf.getAllPages().size() != pages) log += "wrong number of pages";
    if (pdf.isLinearized() != linearized) log += "linearized or not, but wrongly";
    if (linearized && !pdf.checkLinearization()) log += "linearization";
    QPDFWriter everything(pdf);
    everything.setOutputMemory();
    everything.write();
    if (pdf.anyWarnings()) log += "warnings";
  } catch (const std::exception& caught) {
    log += caught.what();
  }
  return log;
}

struct DocumentCase {
  const char* name;
  std::size_t pages;
  std::string catalog;      // entries; %O stands for an outline, %I for its item
  bool sharedFonts;
  bool thumbnails;
};

std::unique_ptr<Document> documentOf(const DocumentCase& c) {
  PdfBuilder builder;
  const int font = builder.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  const int outline = builder.reserve(), item = builder.reserve();
  builder.setObject(outline, "<< /Type /Outlines /First " + ref(item) + " /Last " + ref(item) + " /Count 1 >>");
  builder.setObject(item, "<< /Title (One) /Parent " + ref(outline) + " /Dest [ " + ref(item + 4) + " /Fit ] >>");
  const int info = builder.addObject("<< /Title (A) >>");
  builder.addToTrailer("/Info " + ref(info) + " /ID [ <41> <42> ] /W [ 9 9 9 ] /Filter /Nonsense");
  const int thumbnail = builder.addStream("/Width 1 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8", "x");
  for (std::size_t i = 0; i < c.pages; ++i) {
    const int own = builder.addObject("<< /Type /ExtGState /LW " + std::to_string(i) + " >>");
    std::string resources = "<< /ExtGState << /G " + ref(own) + " >>";
    if (c.sharedFonts) resources += " /Font << /F " + ref(font) + " >>";
    std::string extra = "/Group << /S /Transparency /CS /DeviceRGB >>";
    if (c.thumbnails) extra += " /Thumb " + ref(thumbnail);
    builder.addPage("/G gs 0 0 m " + std::to_string(i) + " 9 l S", resources + " >>", extra);
  }
  std::string catalog = c.catalog;
  if (const std::size_t at = catalog.find("%O"); at != std::string::npos) catalog.replace(at, 2, ref(outline));
  for (std::size_t at; (at = catalog.find("%I")) != std::string::npos;) catalog.replace(at, 2, ref(item));
  builder.addToCatalog(catalog);
  return builder.open();
}

class WritePdf : public ::testing::TestWithParam<DocumentCase> {};

TEST_P(WritePdf, GivesFilesThatAStrictReaderAccepts) {
  for (const bool linearize : {false, true}) {
    const auto document = documentOf(GetParam());
    EXPECT_EQ(problemsOf(writtenBy(*document, linearize), GetParam().pages, linearize), "")
        << (linearize ? "linearized" : "plain");
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, WritePdf,
    ::testing::Values(DocumentCase{"onePage", 1, "", true, false}, DocumentCase{"twoPages", 2, "", true, false},
                      DocumentCase{"nothingShared", 5, "", false, false},
                      DocumentCase{"manyPages", 300, "/PageLabels << /Nums [ 0 << /S /r >> ] >>", true, false},
                      DocumentCase{"outlineAtTheEnd", 4, "/Outlines %O", true, false},
                      DocumentCase{"outlineOpen", 4, "/Outlines %O /PageMode /UseOutlines", true, false},
                      DocumentCase{"outlineInTheCatalog", 4, "/Outlines << /First %I /Last %I /Count 1 >>", true, false},
                      DocumentCase{"thumbnails", 4, "", true, true},
                      DocumentCase{"formAndAction", 3, "/AcroForm << /Fields [ ] /DR << >> >> /OpenAction << /S /Named "
                                                       "/N /NextPage >> /ViewerPreferences << >>", true, false}),
    [](const auto& info) { return info.param.name; });

TEST(WritePdfOnce, KeepsPagesOutsideThePageTreeApart) {
  PdfBuilder builder;
  const int contents = builder.addStream("", "0 0 1 1 re f");
  const int stray = builder.addObject("<< /Type /Page /Contents " + ref(contents) + " >>");
  const int link = builder.addObject("<< /Subtype /Link /Rect [ 0 0 9 9 ] /P " + ref(stray) + " >>");
  for (int i = 0; i < 3; ++i) builder.addPage("0 0 9 9 re f", "<< >>", i == 0 ? "/Annots [ " + ref(link) + " ]" : "");
  const auto document = builder.open();
  EXPECT_EQ(problemsOf(writtenBy(*document, true), 3, true), "");
}

TEST(WritePdfOnce, GivesTheSameBytesForAnyNumberOfThreads) {
  const DocumentCase many{"many", 200, "/Outlines %O", true, false};
  WorkerPool three(3);
  EXPECT_EQ(writtenBy(*documentOf(many), true), writtenBy(*documentOf(many), true, &three));
}

TEST(WritePdfOnce, HandsOnTheFailureOfTheSink) {
  const auto document = documentOf({"one", 1, "", true, false});
  const Status status =
      writePdf(*document, true, nullptr, 12, [](ByteView) -> Status { return Error{ErrorKind::io, "disk full"}; });
  ASSERT_FALSE(status.ok());
  EXPECT_EQ(status.error().message, "disk full");
}

TEST(Compact, WritesNumbersWithoutIdleZeros) {
  const std::pair<const char*, const char*> cases[] = {{"0.50", ".5"},   {"-0.50", "-.5"}, {"1.000", "1"},
                                                       {"-0.0", "0"},    {"00.10", ".1"},  {"10.01", "10.01"},
                                                       {"+3.40", "3.4"}, {"5.", "5"},      {".", "."},
                                                       {"1e5", "1e5"}};
  for (const auto& [given, wanted] : cases) EXPECT_EQ(compactNumber(given), wanted) << given;
}

TEST(Compact, WritesStringsTheShorterWay) {
  const std::pair<std::string, std::string> cases[] = {
      {"abc", "(abc)"}, {"a(b)c", "(a(b)c)"}, {"a)b(", "(a\\)b\\()"},         {"\\", "(\\\\)"},
      {"\r", "(\\r)"},  {"", "()"},           {std::string("\0", 1), std::string("(\0)", 3)},
      {"))))", "(\\)\\)\\)\\))"}};
  for (const auto& [given, wanted] : cases) EXPECT_EQ(compactString(given), wanted);
}

TEST(Compact, KeepsTokensApartOnlyWhereTheyWouldRunTogether) {
  const QPDFObjectHandle value = QPDFObjectHandle::parse(
      "<< /A 1 /B [ 1 -2 .5 true null /N (s) <</X/Y>> ] /C null /D /E /F#20G [ [ ] /Z ] >>");
  CompactText out;
  appendCompact(out, value, [](const QPDFObjectHandle&) { return std::nullopt; });
  EXPECT_EQ(out.text, "<</A 1/B[1 -2 .5 true null/N(s)<</X/Y>>]/D/E/F#20G[[]/Z]>>");
}

TEST(Compact, KeepsNamesWithoutCharactersApart) {
  const QPDFObjectHandle empty = QPDFObjectHandle::newName("/"), number = QPDFObjectHandle::newInteger(44);
  QPDFObjectHandle value = QPDFObjectHandle::newDictionary();
  value.replaceKey("/", QPDFObjectHandle::newInteger(11));
  value.replaceKey("/A", QPDFObjectHandle::newArray({empty, number, empty, QPDFObjectHandle::newName("/B")}));
  CompactText out;
  appendCompact(out, value, [](const QPDFObjectHandle&) { return std::nullopt; });
  EXPECT_EQ(out.text, "<</ 11/A[/ 44//B]>>");
}

TEST(Compact, LeavesRoomForTheNumbersOfObjects) {
  QPDF pdf;
  pdf.emptyPDF();
  std::vector<QPDFObjectHandle> objects;
  for (int i = 0; i < 3; ++i) objects.push_back(pdf.makeIndirectObject(QPDFObjectHandle::newInteger(i)));
  QPDFObjectHandle value = QPDFObjectHandle::newDictionary();
  value.replaceKey("/A", objects[0]);
  value.replaceKey("/B", objects[2]);
  value.replaceKey("/C", QPDFObjectHandle::newArray({objects[1], objects[2], objects[0]}));
  CompactText out;
  appendCompact(out, value, [&](const QPDFObjectHandle& object) -> std::optional<std::uint32_t> {
    for (std::uint32_t i = 0; i < 2; ++i) {
      if (objects[i].getObjGen() == object.getObjGen()) return i;
    }
    return std::nullopt;
  });
  std::string text = "7";
  out.appendTo(text, {12, 3456});
  EXPECT_EQ(text, "7<</A 12 0 R/C[3456 0 R null 12 0 R]>>");
  EXPECT_EQ(out.size(), text.size() - 1 + 3 + 1 + 3);  // as though all had five digits
}

TEST(Compact, SpellsWhatIsNotRegularInNamesAsNumbers) {
  EXPECT_EQ(compactName("/Plain-_.+1"), "/Plain-_.+1");
  EXPECT_EQ(compactName("/a b(/\xFF"), "/a#20b#28#2f#ff");
  EXPECT_EQ(compactName("/"), "/");
}

TEST(BitWriter, WritesMostSignificantBitsFirst) {
  BitWriter out;
  out.put(1, 1);
  out.put(0, 2);
  out.put(0x3FF, 10);
  out.align();
  out.put(0xABCD, 16);
  EXPECT_EQ(out.bytes(), (Bytes{0x9F, 0xF8, 0xAB, 0xCD}));
}

}  // namespace
}  // namespace optimizer
