#include <gtest/gtest.h>

#include "optimizer/base/pool.h"
#include "optimizer/content/stream.h"
#include "optimizer/document/usage.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string contentOf(QPDFObjectHandle page) {
  const Result<Bytes> bytes = content::pageContent(page, 1 << 20);
  return bytes.ok() ? std::string(bytes->begin(), bytes->end()) : "unreadable";
}

// Long enough that it packs smaller with fewer bytes.
const std::string kPage = "q  0.500 g 0.0  0.0 10.00 10.00  re f Q  q Q 1.00 0.00 0.00 RG 20.250 20.50 m 30.750 40.0 l S ";
const std::string kShort = "q\n.5 g\n0 0 10 10 re\nf\nQ\n1 0 0 RG\n20.25 20.5 m\n30.75 40 l\nS";

TEST(ContentPass, rewritesPagesFormsPatternsAndGlyphs) {
  PdfBuilder pdf;
  const int form = pdf.addFlateStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", kPage);
  const int pattern = pdf.addFlateStream("/PatternType 1 /BBox [0 0 9 9]", kPage);
  const int glyph = pdf.addStream("", kPage);
  const int font = pdf.addObject("<< /Type /Font /Subtype /Type3 /CharProcs << /a " + PdfBuilder::ref(glyph) + " >> >>");
  const int other = pdf.addStream("/Subtype /Other", kPage);
  pdf.addPage(kPage, "<< /XObject << /X " + PdfBuilder::ref(form) + " /O " + PdfBuilder::ref(other) +
                         " >> /Pattern << /P " + PdfBuilder::ref(pattern) + " >> /Font << /F " +
                         PdfBuilder::ref(font) + " >> >>");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeContentPass()), PassOutcome::changed);
  EXPECT_EQ(contentOf(document->pages()[0]), kShort);
  for (int number : {form, pattern, glyph, other}) {
    const Result<Bytes> bytes = content::decodedStream(document->pdf().getObject(number, 0), 1 << 20);
    ASSERT_TRUE(bytes.ok());
    EXPECT_EQ(std::string(bytes->begin(), bytes->end()), number == other ? kPage : kShort) << number;
  }
}

TEST(ContentPass, joinsTheStreamsOfAPage) {
  PdfBuilder pdf;
  const int one = pdf.addStream("", "q 1.0 0 0 rg 0 0 9");
  const int two = pdf.addStream("", "9 re f Q");
  pdf.addPage("", "<< >>", "/X 1");
  auto document = pdf.open();
  QPDFObjectHandle page = document->pages()[0];
  page.replaceKey("/Contents", QPDFObjectHandle::newArray(
                                   {document->pdf().getObject(one, 0), document->pdf().getObject(two, 0)}));
  EXPECT_EQ(runPass(*document, makeContentPass()), PassOutcome::changed);
  EXPECT_TRUE(page.getKey("/Contents").isStream());
  EXPECT_EQ(contentOf(page), "q\n1 0 0 rg\n0 0 9 9 re\nf\nQ");
}

TEST(ContentPass, longStreamsThatPagesShareStay) {
  PdfBuilder pdf;
  const int shared = pdf.addStream("", kPage);
  const int own = pdf.addStream("", kPage);
  pdf.addPage("");
  pdf.addPage("");
  auto document = pdf.open();
  QPDFObjectHandle one = document->pdf().getObject(shared, 0), two = document->pdf().getObject(own, 0);
  QPDFObjectHandle first = document->pages()[0], second = document->pages()[1];
  first.replaceKey("/Contents", one);
  second.replaceKey("/Contents", QPDFObjectHandle::newArray({one, two}));
  EXPECT_EQ(runPass(*document, makeContentPass()), PassOutcome::unchanged);
}

TEST(ContentPass, roundsOnlyWhereLossIsAllowed) {
  for (const bool lossy : {false, true}) {
    PdfBuilder pdf;
    const std::string content = "1.23456 1.23456 m 2.34567 3.45678 l 4.56789 5.67891 l S";
    pdf.addPage(content);
    auto document = pdf.open();
    Settings settings;
    settings.imageQuality = lossy ? 80 : 100;
    runPass(*document, makeContentPass(), settings);
    EXPECT_EQ(contentOf(document->pages()[0]), lossy ? "1.23 1.23 m\n2.35 3.46 l\n4.57 5.68 l\nS" : content);
  }
}

TEST(ContentPass, damagedContentStays) {
  PdfBuilder pdf;
  pdf.addPage("0.500 g 0.0  0.0 10.00 10.00  re f (a", "<< >>");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeContentPass()), PassOutcome::unchanged);
}

TEST(ContentPass, SaysWhetherUsesAreWhatTheyWere) {
  for (const bool useless : {false, true}) {
    PdfBuilder pdf;
    const std::string content = "q 1.000 0.0 0 1.000 0 0 cm /G gs 0.0 0.0 10.00 10.00 re f Q ";
    pdf.addPage(content + (useless ? "q /H gs Q 1.00 1.00 5.00 5.00 re f" : "/H gs 1.00 1.00 5.00 5.00 re f"),
                "<< /ExtGState << /G << /ca .5 >> /H << /ca .7 >> >> >>");
    auto document = pdf.open();
    WorkerPool pool(2);
    Report report;
    const Settings settings;
    PassContext context{*document, settings, pool, report};
    report.begin("content");
    usageOf(context);
    const std::unique_ptr<Pass> pass = makeContentPass();
    const Result<PassOutcome> outcome = pass->process(context);
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(*outcome, PassOutcome::changed);
    EXPECT_EQ(pass->keepsUsage(), !useless);
    EXPECT_EQ(analyzeUsage(*document) == *context.usage, !useless);
  }
}

}  // namespace
}  // namespace optimizer
