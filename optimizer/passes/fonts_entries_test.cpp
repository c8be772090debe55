#include <gtest/gtest.h>

#include "optimizer/font/cid_widths.h"
#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string embedded(PdfBuilder& pdf) {
  const int program = pdf.addStream("", "a program");
  return PdfBuilder::ref(
      pdf.addObject("<< /Type /FontDescriptor /FontFile2 " + PdfBuilder::ref(program) + " >>"));
}

void show(PdfBuilder& pdf, int font, const std::string& strings) {
  pdf.addPage("BT /F 9 Tf " + strings + " Tj ET", "<< /Font << /F " + PdfBuilder::ref(font) + " >> >>");
}

std::string entry(Document& document, int object, const char* key) {
  return document.pdf().getObject(object, 0).getKey(key).unparseResolved();
}

TEST(FontEntriesPass, widthsGoFromTheFirstToTheLastCodeShown) {
  PdfBuilder pdf;
  std::string widths;
  for (int i = 0; i < 96; ++i) widths += " 500.12345";
  const int font =
      pdf.addObject("<< /Type /Font /Subtype /TrueType /BaseFont /A /FirstChar 32 /LastChar 127 /Widths [" +
                    widths + "] /FontDescriptor " + embedded(pdf) + " >>");
  show(pdf, font, "(ADE)");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass(), webSettings()), PassOutcome::changed);
  EXPECT_EQ(entry(*document, font, "/FirstChar"), "65");
  EXPECT_EQ(entry(*document, font, "/LastChar"), "69");
  EXPECT_EQ(entry(*document, font, "/Widths"), "[ 500.12 0 0 500.12 500.12 ]");
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged);
}

TEST(FontEntriesPass, sharedEntriesKeepWhatEveryFontShows) {
  PdfBuilder pdf;
  const std::string widths = PdfBuilder::ref(pdf.addObject("[100 200 300 400 500 600 700 800 900 1000]"));
  const std::string encoding = PdfBuilder::ref(
      pdf.addObject("<< /Type /Encoding /Differences [65 /alpha /beta /gamma /delta /epsilon /zeta] >>"));
  const std::string descriptor = embedded(pdf);
  int fonts[2];
  for (int& font : fonts) {
    font = pdf.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /A /FirstChar 65 /LastChar 74 /Widths " +
                         widths + " /Encoding " + encoding + " /FontDescriptor " + descriptor + " >>");
  }
  show(pdf, fonts[0], "(B)");
  show(pdf, fonts[1], "(D)");
  auto document = pdf.open();
  runPass(*document, makeFontEntriesPass());
  for (const int font : fonts) {
    QPDFObjectHandle dictionary = document->pdf().getObject(font, 0);
    EXPECT_EQ(entry(*document, font, "/Widths"), "[ 200 0 400 ]");
    EXPECT_EQ(dictionary.getKey("/Encoding").getKey("/Differences").unparse(), "[ 66 /beta 68 /delta ]");
  }
  const auto at = [&](int font, const char* key) {
    return document->pdf().getObject(font, 0).getKey(key).getObjectID();
  };
  EXPECT_EQ(at(fonts[0], "/Widths"), at(fonts[1], "/Widths"));
  EXPECT_EQ(at(fonts[0], "/Encoding"), at(fonts[1], "/Encoding"));
}

TEST(FontEntriesPass, fontsWithoutAProgramKeepTheirWidths) {
  PdfBuilder pdf;
  const int font = pdf.addObject(
      "<< /Type /Font /Subtype /TrueType /BaseFont /Arial /FirstChar 65 /LastChar 70 /Widths [1 2 3 4 5 6] "
      ">>");
  show(pdf, font, "(B)");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged);
}

TEST(FontEntriesPass, cidFontsWithoutAProgramKeepTheWidthsOfPredefinedCmaps) {
  const auto outcome = [](const std::string& cmap, bool withProgram) {
    PdfBuilder pdf;
    const std::string descriptor = withProgram ? " /FontDescriptor " + embedded(pdf) : "";
    const int holder = pdf.addObject(
        "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /A /CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) "
        "/Supplement 2 >> /W [1 [278 299 353 614 614] 231 632 500]" + descriptor + " >>");
    const int font = pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /" + cmap +
                                   " /DescendantFonts [" + PdfBuilder::ref(holder) + "] >>");
    show(pdf, font, "<00200021>");
    auto document = pdf.open();
    return runPass(*document, makeFontEntriesPass());
  };
  EXPECT_EQ(outcome("UniJIS-UCS2-H", false), PassOutcome::unchanged);
  EXPECT_EQ(outcome("UniJIS-UCS2-H", true), PassOutcome::changed);
  EXPECT_EQ(outcome("Identity-H", false), PassOutcome::changed);
}

TEST(FontEntriesPass, namesThatViewersGuessFromStay) {
  PdfBuilder pdf;
  const int font = pdf.addObject(
      "<< /Type /Font /Subtype /Type1 /BaseFont /A /Encoding << /Differences [65 /g41 /g42 /g4C] >> "
      "/FontDescriptor " +
      embedded(pdf) + " >>");
  show(pdf, font, "(A)");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged);
}

TEST(FontEntriesPass, type3FontsLoseTheGlyphsThatNothingShows) {
  PdfBuilder pdf;
  const std::string a = PdfBuilder::ref(pdf.addStream("", "500 0 d0 0 0 9 9 re f"));
  const std::string b = PdfBuilder::ref(pdf.addStream("", "500 0 d0 0 0 8 8 re f"));
  const int font = pdf.addObject(
      "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 9 9] /FontMatrix [.1 0 0 .1 0 0] /FirstChar 97 "
      "/LastChar 98 "
      "/Widths [5 5] /Encoding << /Differences [97 /one /two] >> /CharProcs << /one " +
      a + " /two " + b + " >> /Resources << >> >>");
  show(pdf, font, "(bbb)");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::changed);
  QPDFObjectHandle dictionary = document->pdf().getObject(font, 0);
  EXPECT_FALSE(dictionary.getKey("/CharProcs").hasKey("/one"));
  EXPECT_TRUE(dictionary.getKey("/CharProcs").hasKey("/two"));
  EXPECT_EQ(entry(*document, font, "/Widths"), "[ 5 5 ]");
}

TEST(FontEntriesPass, cidFontsKeepWidthsAndGlyphsOfTheCidsShown) {
  PdfBuilder pdf;
  std::string map;
  for (int cid = 0; cid < 200; ++cid) map += std::string("\0", 1) + static_cast<char>(cid + 1);
  const int cids = pdf.addStream("", map);
  const int holder = pdf.addObject(
      "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /A /CIDSystemInfo << /Registry (Adobe) /Ordering "
      "(Identity) "
      "/Supplement 0 >> /DW 777 /W [0 [1 2 3 4 5 600 600 600 600 600] 20 90 650 100 [6 7 8]] /CIDToGIDMap " +
      PdfBuilder::ref(cids) + " /FontDescriptor " + embedded(pdf) + " >>");
  const int font =
      pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /Identity-H /DescendantFonts [" +
                    PdfBuilder::ref(holder) + "] >>");
  show(pdf, font, "<000100050006001E006500BE>");  // CIDs 1, 5, 6, 30, 101, 190
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::changed);
  EXPECT_EQ(entry(*document, holder, "/W"), "[ 1 [ 2 ] 30 [ 650 ] 101 [ 7 ] 190 [ 777 ] ]");
  EXPECT_EQ(entry(*document, holder, "/DW"), "600");
  const auto bytes = document->pdf().getObject(holder, 0).getKey("/CIDToGIDMap").getStreamData();
  ASSERT_EQ(bytes->getSize(), 2u * 191);
  EXPECT_EQ(bytes->getBuffer()[2 * 30 + 1], 31);
  EXPECT_EQ(bytes->getBuffer()[2 * 31 + 1], 0);
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged);
}

struct CidFont {
  PdfBuilder pdf;
  int holder = 0;
  // A font that writes by the CMap and shows CIDs 1, 5, 6, 7, 30 and 101.
  CidFont(const std::string& cmap, const std::string& entries) {
    holder = pdf.addObject(
        "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /A /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) "
        "/Supplement 0 >> /FontDescriptor " +
        embedded(pdf) + " " + entries + " >>");
    const int font = pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /" + cmap +
                                   " /DescendantFonts [" + PdfBuilder::ref(holder) + "] >>");
    show(pdf, font, "<000100050006001E006500070065>");
  }
};

constexpr const char* kVertical =
    "/DW2 [870 -990] /W2 [0 [-1 2 3 -500.004 250 880 -9 9 9 -9 9 9] 5 6 -700 300 880 7 [-800 1.126 .5] "
    "20 90 -700 300 880 100 [-4 5 6]]";

TEST(FontEntriesPass, verticalMetricsOfTheCidsShownStay) {
  CidFont font("Identity-V", kVertical);
  auto document = font.pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass(), webSettings()), PassOutcome::changed);
  EXPECT_EQ(entry(*document, font.holder, "/W2"), "[ 1 [ -500 250 880 ] 5 6 -700 300 880 7 [ -800 1.13 .5 ] 30 [ -700 300 880 ] ]");
  EXPECT_EQ(entry(*document, font.holder, "/DW2"), "[ 870 -990 ]");
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged);
  CidFont exact("Identity-V", kVertical);
  document = exact.pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::changed);
  EXPECT_EQ(entry(*document, exact.holder, "/W2"),
            "[ 1 [ -500.004 250 880 ] 5 6 -700 300 880 7 [ -800 1.126 .5 ] 30 [ -700 300 880 ] ]");
}

TEST(FontEntriesPass, fontsThatWriteAcrossNeedNoVerticalMetrics) {
  CidFont font("Identity-H", kVertical);
  auto document = font.pdf.open();
  EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::changed);
  EXPECT_EQ(entry(*document, font.holder, "/W2"), "null");
  EXPECT_EQ(entry(*document, font.holder, "/DW2"), "null");
}

TEST(FontEntriesPass, verticalMetricsThatAreOddStay) {
  const char* const odd[] = {"/W2 [1 [2 3] 5 6 7 8 9]", "/W2 [1 [2 3 4] 1 [5 6 7]]", "/W2 [9 1 2 3 4]", "/W2 [1 /a]",
                             "/W2 [1 5 2 3]"};
  for (const char* entries : odd) {
    CidFont font("Identity-V", entries);
    auto document = font.pdf.open();
    EXPECT_EQ(runPass(*document, makeFontEntriesPass()), PassOutcome::unchanged) << entries;
  }
}

TEST(CidWidths, everySpellingReadsBackTheSame) {
  const std::map<std::uint32_t, double> widths = {{3, 500},     {4, 500},    {5, 500},    {6, 500},
                                                  {7, 250.125}, {9, 250.13}, {20, 0},     {21, 1},
                                                  {40, 500},    {99, 1000},  {100, -3.5}, {101, .25}};
  const font::CidWidthText text = font::spellWidths(widths);
  EXPECT_EQ(text.defaultWidth, 500);
  EXPECT_EQ(text.array, "[7[250.13 250.13 250.13]20[0 1]99[1000 -3.5 .25]]");
  EXPECT_EQ(font::spellWidths({{1, 600}, {2, 600}}).array, "[]");
  const font::CidWidthText broken = font::spellWidths({{1, 600.5}, {2, 600.5}});
  EXPECT_EQ(broken.array, "[1[600.5 600.5]]");
  EXPECT_EQ(broken.defaultWidth, 1000);
  const font::CidWidthText runs =
      font::spellWidths({{1, 9}, {2, 9}, {3, 9}, {8, 5}, {9, 5}, {10, 5}, {11, 5}, {15, 5}, {16, 7}});
  EXPECT_EQ(runs.array, "[1[9 9 9]16[7]]");
  const font::CidWidthText named =
      font::spellWidths({{1, 5}, {2, 5}, {3, 7}, {10, 9}, {11, 9}, {30, 9}, {31, 5}, {32, 5}});
  EXPECT_EQ(named.array, "[3[7]10 30 9]");
}

TEST(FontEntriesPass, widthsKeepEveryDigitWhereNoPixelMayMove) {
  for (const bool lossy : {false, true}) {
    PdfBuilder pdf;
    const int holder = pdf.addObject(
        "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /A /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) "
        "/Supplement 0 >> /W [0 [1 2 3 4 5 556.15234 277.83203 600 600 600]] /FontDescriptor " + embedded(pdf) + " >>");
    const int font =
        pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /Identity-H /DescendantFonts [" +
                      PdfBuilder::ref(holder) + "] >>");
    show(pdf, font, "<00050006>");
    auto document = pdf.open();
    Settings settings;
    settings.imageQuality = lossy ? 80 : 100;
    EXPECT_EQ(runPass(*document, makeFontEntriesPass(), settings), PassOutcome::changed);
    EXPECT_EQ(entry(*document, holder, "/W"),
              lossy ? "[ 5 [ 556.15 277.83 ] ]" : "[ 5 [ 556.15234 277.83203 ] ]");
  }
}

TEST(CidWidths, numbersOfEveryLength) {
  using font::WidthDigits;
  for (const auto& [width, text] : {std::pair{600.0, "600"}, {0.5, ".5"}, {-.25, "-0.25"}, {1e-300, "0"},
                                    {556.15234, "556.15234"}, {100.0, "100"}}) {
    EXPECT_EQ(font::widthText(width, WidthDigits::all), text);
  }
}

TEST(CidWidths, disagreeingRunsAreRefused) {
  std::map<std::uint32_t, double> widths;
  EXPECT_FALSE(font::widthsOf({{1, 9, {500}}, {5, 5, {600}}}, {5}, widths));
  widths.clear();
  EXPECT_TRUE(font::widthsOf({{1, 9, {500}}, {5, 5, {600}}}, {6}, widths));
  EXPECT_EQ(widths.at(6), 500);
}

}  // namespace
}  // namespace optimizer
