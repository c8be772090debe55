#include "optimizer/document/usage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "optimizer/content/codespace.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;
using testing::PdfBuilder;

std::string image(int width, int height, const std::string& more = "") {
  return "/Type /XObject /Subtype /Image /Width " + std::to_string(width) + " /Height " + std::to_string(height) +
         " /BitsPerComponent 8 /ColorSpace /DeviceGray " + more;
}

std::string pixels(int width, int height) { return std::string(static_cast<std::size_t>(width * height), 'x'); }

std::string xObject(int number) { return "<< /XObject << /X " + PdfBuilder::ref(number) + " >> >>"; }

const ImageUse& useOf(const DocumentUsage& usage, int number) { return usage.images.at(QPDFObjGen(number, 0)); }

ImageResolution resolutionOf(const ImageUse& use, int width, int height) {
  return optimizer::resolutionOf(use, QPDFObjectHandle::parse("<< " + image(width, height) + " >>"));
}

constexpr double kExact = 1e-9;

TEST(Usage, imageResolutionFollowsTheMatrix) {
  struct Case {
    const char* content;
    double dpiX, dpiY;
  };
  for (const Case& c : {Case{"q 72 0 0 36 0 0 cm /X Do Q", 100, 100}, Case{"0 72 -72 0 300 300 cm /X Do", 100, 50},
                        Case{"q 36 0 0 36 0 0 cm /X Do Q 72 0 0 18 9 9 cm /X Do", 100, 100},
                        Case{"2 0 0 2 0 0 cm 36 0 0 36 0 0 cm /X Do", 100, 50},
                        Case{"72 0 0 -72 0 100 cm /X Do", 100, 50}}) {
    PdfBuilder pdf;
    const int picture = pdf.addStream(image(100, 50), pixels(100, 50));
    pdf.addPage(c.content, xObject(picture));
    const DocumentUsage usage = analyzeUsage(*pdf.open());
    EXPECT_TRUE(usage.complete);
    EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 50).x, c.dpiX, kExact) << c.content;
    EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 50).y, c.dpiY, kExact) << c.content;
  }
}

TEST(Usage, resolutionFollowsTheSizeInPixels) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 50), pixels(100, 50));
  pdf.addPage("q 36 0 0 36 0 0 cm /X Do Q 72 0 0 18 9 9 cm /X Do", xObject(picture));
  const ImageUse use = useOf(analyzeUsage(*pdf.open()), picture);
  const ImageResolution before = resolutionOf(use, 100, 50), after = resolutionOf(use, 20, 25);
  EXPECT_NEAR(before.finest, 200, kExact) << "of all draws and both axes";
  EXPECT_NEAR(after.x, 20, kExact);
  EXPECT_NEAR(after.y, 50, kExact);
  EXPECT_NEAR(after.finest, 100, kExact);
  EXPECT_EQ(resolutionOf(use, 0, -5).finest, 0);
  EXPECT_EQ(resolutionOf(ImageUse(), 100, 50).x, 0) << "never drawn";
}

TEST(Usage, userUnitCounts) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 50), pixels(100, 50));
  pdf.addPage("72 0 0 72 0 0 cm /X Do", xObject(picture), "/UserUnit 2");
  EXPECT_NEAR(resolutionOf(useOf(analyzeUsage(*pdf.open()), picture), 100, 50).x, 50, kExact);
}

TEST(Usage, visiblePartFollowsClipsAndBoxes) {
  struct Case {
    const char* content;
    double left, bottom, right, top;
  };
  for (const Case& c : {Case{"100 0 0 100 0 0 cm /X Do", 0, 0, 1, 1},
                        Case{"0 0 50 100 re W n 100 0 0 100 0 0 cm /X Do", 0, 0, 0.5, 1},
                        Case{"25 25 m 75 25 l 75 50 l h W n 100 0 0 100 0 0 cm /X Do", 0.25, 0.25, 0.75, 0.5},
                        Case{"100 0 0 100 562 0 cm /X Do", 0, 0, 0.5, 1},
                        Case{"0 0 50 100 re W n 0 100 -100 0 100 0 cm /X Do", 0, 0.5, 1, 1},
                        Case{"q 0 0 50 100 re W n Q 100 0 0 100 0 0 cm /X Do", 0, 0, 1, 1},
                        Case{"q 0 0 10 100 re W n 100 0 0 100 0 0 cm /X Do Q 20 0 10 100 re W n 100 0 0 100 0 0 cm /X Do",
                             0, 0, 0.3, 1},
                        Case{"100 0 0 100 2000 0 cm /X Do", 0, 0, 1, 1}}) {
    PdfBuilder pdf;
    const int picture = pdf.addStream(image(10, 10), pixels(10, 10));
    pdf.addPage(c.content, xObject(picture));
    const DocumentUsage usage = analyzeUsage(*pdf.open());
    const ImageUse& use = useOf(usage, picture);
    EXPECT_NEAR(use.visibleLeft, c.left, 1e-6) << c.content;
    EXPECT_NEAR(use.visibleBottom, c.bottom, 1e-6) << c.content;
    EXPECT_NEAR(use.visibleRight, c.right, 1e-6) << c.content;
    EXPECT_NEAR(use.visibleTop, c.top, 1e-6) << c.content;
  }
}

TEST(Usage, formsScaleClipAndRepeat) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 100), pixels(100, 100));
  const int form = pdf.addStream(
      "/Type /XObject /Subtype /Form /BBox [0 0 72 36] /Matrix [2 0 0 2 0 0] /Resources " + xObject(picture),
      "72 0 0 72 0 0 cm /X Do");
  pdf.addPage("q /X Do Q 0.5 0 0 0.5 10 10 cm /X Do", xObject(form));
  pdf.addPage("/X Do", xObject(form));
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  const ImageUse& use = useOf(usage, picture);
  EXPECT_NEAR(resolutionOf(use, 100, 100).x, 50, kExact);
  EXPECT_NEAR(use.visibleTop, 0.5, 1e-9);
  EXPECT_EQ(use.drawCount, 3);
  EXPECT_THAT(use.pages, ElementsAre(0, 1));
  EXPECT_NEAR(use.pageCoverage, 144.0 * 72 / (612 * 792), 0.05);
}

TEST(Usage, formsWithoutResourcesTakeThePages) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 100), pixels(100, 100));
  const int form = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 72 72]", "72 0 0 72 0 0 cm /Y Do");
  const int page = pdf.addPage(
      "/X Do", "<< /XObject << /X " + PdfBuilder::ref(form) + " /Y " + PdfBuilder::ref(picture) + " /Z null >> >>");
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).x, 100, kExact);
  EXPECT_THAT(usage.resources.at(QPDFObjGen(page, 0)), UnorderedElementsAre("XObject/X", "XObject/Y"));
}

TEST(Usage, patternsCountFromTheSpaceOfTheirContent) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 100), pixels(100, 100));
  const int pattern = pdf.addStream(
      "/Type /Pattern /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 72 72] /XStep 72 /YStep 72 "
      "/Matrix [.5 0 0 .5 0 0] /Resources " + xObject(picture),
      "72 0 0 72 0 0 cm /X Do");
  const std::string resources = "<< /Pattern << /P " + PdfBuilder::ref(pattern) + " >> >>";
  pdf.addPage("9 0 0 9 0 0 cm /Pattern cs /P scn 0 0 10 10 re f", resources);
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).x, 200, kExact);
}

TEST(Usage, softMaskGroupsAndImageMasksCount) {
  PdfBuilder pdf;
  const int mask = pdf.addStream(image(50, 50), pixels(50, 50));
  const int picture = pdf.addStream(image(100, 100, "/SMask " + PdfBuilder::ref(mask)), pixels(100, 100));
  const int group = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 72 72] /Group << /S /Transparency >> "
                                  "/Resources " + xObject(picture),
                                  "72 0 0 72 0 0 cm /X Do");
  pdf.addPage("/G gs 0 0 9 9 re f",
              "<< /ExtGState << /G << /SMask << /S /Luminosity /G " + PdfBuilder::ref(group) + " >> >> >> >>");
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).x, 100, kExact);
  EXPECT_EQ(usage.images.count(QPDFObjGen(mask, 0)), 0u);
  EXPECT_NEAR(resolutionOf(usage.masks.at(QPDFObjGen(mask, 0)), 50, 50).x, 50, kExact);
}

TEST(Usage, appearancesAreFittedToTheirRectangle) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 100), pixels(100, 100));
  const int form = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources " + xObject(picture),
                                 "10 0 0 10 0 0 cm /X Do");
  pdf.addPage("", "<< >>", "/Annots [<< /Type /Annot /Subtype /Stamp /F 2 /Rect [100 100 172 136] /AP << /N << /On " +
                               PdfBuilder::ref(form) + " >> >> >>]");
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).x, 100, kExact);
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).y, 200, kExact);
}

TEST(Usage, glyphProceduresOfUsedCodesCount) {
  PdfBuilder pdf;
  const int picture = pdf.addStream(image(100, 100), pixels(100, 100));
  const int glyph = pdf.addStream("", "1000 0 d0 720 0 0 720 0 0 cm /X Do");
  const int font = pdf.addObject(
      "<< /Type /Font /Subtype /Type3 /FontBBox [0 0 1000 1000] /FontMatrix [.001 0 0 .001 0 0] /FirstChar 65 "
      "/LastChar 65 /Widths [1000] /Encoding << /Differences [65 /a /b] >> /CharProcs << /a " +
      PdfBuilder::ref(glyph) + " >> /Resources " + xObject(picture) + " >>");
  const std::string resources = "<< /Font << /F " + PdfBuilder::ref(font) + " >> >>";
  pdf.addPage("BT /F 10 Tf 10 0 0 10 0 0 Tm (A) Tj ET", resources);
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_NEAR(resolutionOf(useOf(usage, picture), 100, 100).x, 100, kExact);
  EXPECT_THAT(usage.fonts.at(QPDFObjGen(font, 0)).codes, ElementsAre('A'));
  EXPECT_THAT(usage.resources.at(QPDFObjGen(font, 0)), ElementsAre("XObject/X"));
}

TEST(Usage, fontCodesOfSimpleAndCompositeFonts) {
  PdfBuilder pdf;
  const int simple = pdf.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  const int composite = pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /Identity-H >>");
  const int japanese = pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /90ms-RKSJ-H >>");
  const int unknown = pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding /Other-H >>");
  const int cmap = pdf.addStream("/Type /CMap /UseCMap /H",
                                 "begincmap 1 begincodespacerange <00><20> endcodespacerange endcmap");
  const int embedded =
      pdf.addObject("<< /Type /Font /Subtype /Type0 /BaseFont /A /Encoding " + PdfBuilder::ref(cmap) + " >>");
  const int form = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9]", "BT (z) Tj ET");
  pdf.addPage("BT /S 9 Tf [(ab) 3 <61>] TJ (c) ' 1 2 (d) \" /C 9 Tf <00410142> Tj /J 9 Tf <41824f> Tj /U 9 Tf (x) Tj "
              "/E 9 Tf <10213021> Tj ET /S 1 Tf /X Do",
              "<< /Font << /S " + PdfBuilder::ref(simple) + " /C " + PdfBuilder::ref(composite) + " /J " +
                  PdfBuilder::ref(japanese) + " /U " + PdfBuilder::ref(unknown) + " /E " + PdfBuilder::ref(embedded) +
                  " >> /XObject << /X " + PdfBuilder::ref(form) + " >> >>");
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  const auto codes = [&](int font) { return usage.fonts.at(QPDFObjGen(font, 0)).codes; };
  EXPECT_THAT(codes(simple), ElementsAre('a', 'b', 'c', 'd', 'z'));
  EXPECT_THAT(codes(composite), ElementsAre(0x41, 0x142));
  EXPECT_THAT(codes(japanese), ElementsAre(0x41, 0x824f));
  EXPECT_FALSE(usage.fonts.at(QPDFObjGen(unknown, 0)).complete);
  EXPECT_FALSE(usage.fonts.at(QPDFObjGen(embedded, 0)).complete) << "21 alone starts no code";
  EXPECT_TRUE(usage.fonts.at(QPDFObjGen(japanese, 0)).complete);
}

TEST(Usage, fontsToTypeWithAreWhole) {
  PdfBuilder pdf;
  const int typed = pdf.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  const int other = pdf.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Courier >>");
  const int field = pdf.addObject("<< /FT /Tx /T (a) /DA (/T 9 Tf 0 g) >>");
  const std::string fonts = "<< /Font << /T " + PdfBuilder::ref(typed) + " /O " + PdfBuilder::ref(other) + " >> >>";
  pdf.addToCatalog("/AcroForm << /Fields [" + PdfBuilder::ref(field) + "] /DR " + fonts + " >>");
  pdf.addPage("BT /O 9 Tf (x) Tj ET", fonts);
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_FALSE(usage.fonts.at(QPDFObjGen(typed, 0)).complete);
  EXPECT_TRUE(usage.fonts.at(QPDFObjGen(other, 0)).complete);
}

TEST(Usage, loopsEnd) {
  PdfBuilder pdf;
  const int one = pdf.reserve();
  const int two = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources " + xObject(one), "/X Do /X Do");
  const int three =
      pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources " + xObject(two), "/X Do /X Do");
  pdf.setObject(one, "null");
  pdf.addPage("/X Do /X Do", xObject(three));
  auto document = pdf.open();
  QPDFObjectHandle form = document->pdf().getObject(two, 0);
  form.getDict().getKey("/Resources").getKey("/XObject").replaceKey("/X", document->pdf().getObject(three, 0));
  EXPECT_TRUE(analyzeUsage(*document).images.empty());
}

TEST(Usage, draws500TimesPerLevelAreBounded) {
  PdfBuilder pdf;
  int content = pdf.addStream(image(10, 10), pixels(10, 10));
  const int picture = content;
  std::string draws;
  for (int i = 0; i < 100; ++i) {
    draws += "/X Do ";
  }
  for (int level = 0; level < 12; ++level) {
    content =
        pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Resources " + xObject(content), draws);
  }
  pdf.addPage("/X Do", xObject(content));
  const DocumentUsage usage = analyzeUsage(*pdf.open());
  EXPECT_FALSE(useOf(usage, picture).complete);
}

TEST(Usage, unreadableContentIsNotComplete) {
  for (const char* content : {"(unfinished", "[1 2 0 d", "BI /W 1"}) {
    PdfBuilder pdf;
    pdf.addPage(content);
    EXPECT_FALSE(analyzeUsage(*pdf.open()).complete) << content;
  }
}

}  // namespace
}  // namespace optimizer
