#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "optimizer/passes/passes.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using ::testing::UnorderedElementsAre;
using testing::PdfBuilder;
using testing::runPass;

constexpr char kForm[] = "/Subtype /Form /BBox [0 0 9 9] ";

std::set<std::string> namesOf(QPDFObjectHandle resources, const char* category) {
  QPDFObjectHandle dictionary = resources.getKey(category);
  return dictionary.isDictionary() ? dictionary.getKeys() : std::set<std::string>{};
}

TEST(ResourcesPass, dropsNamesThatNothingUses) {
  PdfBuilder pdf;
  const std::string form = PdfBuilder::ref(pdf.addStream(kForm, "0 0 1 1 re f"));
  pdf.addPage("/A Do", "<< /ProcSet [/PDF] /XObject << /A " + form + " /B " + form + " >> /ExtGState << /G << /LW 2 >> >> "
                       "/ColorSpace << /DefaultRGB [/CalRGB << /WhitePoint [1 1 1] >>] >> >>");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeResourcesPass()), PassOutcome::changed);
  QPDFObjectHandle resources = QPDFObjectHandle(document->pages()[0]).getKey("/Resources");
  EXPECT_THAT(resources.getKeys(), UnorderedElementsAre("/XObject", "/ColorSpace"));
  EXPECT_THAT(namesOf(resources, "/XObject"), UnorderedElementsAre("/A"));
}

TEST(ResourcesPass, sharedDictionariesKeepWhatAnyHolderUses) {
  PdfBuilder pdf;
  const std::string inner = PdfBuilder::ref(pdf.addStream(kForm, "0 0 1 1 re f"));
  const int shared = pdf.addObject("<< /A " + inner + " /B " + inner + " /C " + inner + " /D " + inner + " >>");
  const std::string resources = "<< /XObject " + PdfBuilder::ref(shared) + " >>";
  const int bare = pdf.addStream(kForm, "/D Do");
  pdf.addPage("/A Do", resources);
  pdf.addPage("/B Do /Bare Do", "<< /XObject " + PdfBuilder::ref(shared) + " >>");
  auto document = pdf.open();
  document->pdf().getObject(shared, 0).replaceKey("/Bare", document->pdf().getObject(bare, 0));
  runPass(*document, makeResourcesPass());
  EXPECT_THAT(document->pdf().getObject(shared, 0).getKeys(), UnorderedElementsAre("/A", "/B", "/D", "/Bare"));
}

TEST(ResourcesPass, holdersWhoseContentIsNotReadKeepAll) {
  PdfBuilder pdf;
  const std::string font = PdfBuilder::ref(pdf.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Courier >>"));
  const int fonts = pdf.addObject("<< /A " + font + " /B " + font + " >>");
  pdf.addToCatalog("/AcroForm << /Fields [] /DR << /Font " + PdfBuilder::ref(fonts) + " >> >>");
  pdf.addPage("BT /A 9 Tf (a) Tj ET", "<< /Font " + PdfBuilder::ref(fonts) + " >>");
  auto document = pdf.open();
  runPass(*document, makeResourcesPass());
  EXPECT_THAT(document->pdf().getObject(fonts, 0).getKeys(), UnorderedElementsAre("/A", "/B"));
}

TEST(ResourcesPass, colourSpacesOfInlineImagesStayUnderEitherKey) {
  PdfBuilder pdf;
  const std::string space = PdfBuilder::ref(pdf.addObject("[ /CalGray << /WhitePoint [ 1 1 1 ] >> ]"));
  pdf.addPage("BI /W 1 /H 1 /BPC 8 /CS /A /ColorSpace /B ID x\nEI",
              "<< /ColorSpace << /A " + space + " /B " + space + " /C " + space + " >> >>");
  auto document = pdf.open();
  runPass(*document, makeResourcesPass());
  QPDFObjectHandle page = document->pages()[0];
  EXPECT_THAT(page.getKey("/Resources").getKey("/ColorSpace").getKeys(), UnorderedElementsAre("/A", "/B"));
}

TEST(ResourcesPass, namesWithAStrayNumberSignAreFound) {
  PdfBuilder pdf;
  const std::string form = PdfBuilder::ref(pdf.addStream(kForm, "0 0 1 1 re f"));
  pdf.addPage("/A# Do /A#1 Do /A#42 Do", "<< /XObject << /A# " + form + " /A#1 " + form + " /AB " + form + " /A#2 " + form + " >> >>");
  auto document = pdf.open();
  runPass(*document, makeResourcesPass());
  QPDFObjectHandle page = document->pages()[0];
  EXPECT_EQ(page.getKey("/Resources").getKey("/XObject").getKeys().size(), 3u);
}

TEST(ResourcesPass, unreadableContentKeepsAll) {
  PdfBuilder pdf;
  const std::string form = PdfBuilder::ref(pdf.addStream(kForm, "0 0 1 1 re f"));
  pdf.addPage("(unfinished", "<< /XObject << /A " + form + " >> >>");
  auto document = pdf.open();
  EXPECT_EQ(runPass(*document, makeResourcesPass()), PassOutcome::unchanged);
}

TEST(ResourcesPass, dropsEntriesThatSayTheirDefault) {
  PdfBuilder pdf;
  const int form = pdf.addStream(std::string(kForm) + "/Type /XObject /Name /A /FormType 1 /Matrix [1 0 0 1 0 0.0]", "0 0 1 1 re f");
  const int turned = pdf.addStream(std::string(kForm) + "/Matrix [0 1 -1 0 0 0]", "0 0 1 1 re f");
  pdf.addPage("/A Do /B Do", "<< /XObject << /A " + PdfBuilder::ref(form) + " /B " + PdfBuilder::ref(turned) + " >> >>",
              "/MediaBox [0 0 612 792] /CropBox [612 792 0 0] /Rotate 0 /Annots []");
  pdf.addPage("", "<< >>", "/MediaBox [0 0 612 792] /CropBox [0 0 600 792] /Rotate 90");
  auto document = pdf.open();
  runPass(*document, makeResourcesPass());
  QPDFObjectHandle first = document->pages()[0], second = document->pages()[1];
  EXPECT_FALSE(first.hasKey("/CropBox") || first.hasKey("/Rotate") || first.hasKey("/Annots"));
  EXPECT_TRUE(second.hasKey("/CropBox") && second.hasKey("/Rotate"));
  QPDFObjectHandle dictionary = document->pdf().getObject(form, 0).getDict();
  EXPECT_FALSE(dictionary.hasKey("/Matrix") || dictionary.hasKey("/FormType"));
  EXPECT_FALSE(dictionary.hasKey("/Type") || dictionary.hasKey("/Name"));
  EXPECT_TRUE(document->pdf().getObject(turned, 0).getDict().hasKey("/Matrix"));
}

TEST(ResourcesPass, keepsTheTypeOfWhatMayBeAMask) {
  PdfBuilder pdf;
  const std::string bits = "/Type /XObject /Subtype /Image /Width 8 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent ";
  const int mask = pdf.addStream(bits + "1", "x"), grey = pdf.addStream(bits + "8", "xxxxxxxx");
  pdf.addPage("/A Do /B Do", "<< /XObject << /A " + PdfBuilder::ref(mask) + " /B " + PdfBuilder::ref(grey) + " >> >>");
  auto document = pdf.open();
  runPass(*document, makeResourcesPass());
  EXPECT_TRUE(document->pdf().getObject(mask, 0).getDict().hasKey("/Type"));
  EXPECT_FALSE(document->pdf().getObject(grey, 0).getDict().hasKey("/Type"));
}

}  // namespace
}  // namespace optimizer
