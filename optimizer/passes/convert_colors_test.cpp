#include <gtest/gtest.h>

#include "optimizer/image/decode.h"
#include "optimizer/image/profile.h"
#include "optimizer/image/source.h"
#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string ref(int number) { return PdfBuilder::ref(number); }

Settings to(ColorConversion conversion) {
  Settings settings;
  settings.colorConversion = conversion;
  return settings;
}

int addProfile(PdfBuilder& builder, const Bytes& profile, int components) {
  return builder.addFlateStream("/N " + std::to_string(components),
                                std::string(profile.begin(), profile.end()));
}

// Two by one pixels.
void addPage(PdfBuilder& builder, const std::string& space, const std::string& samples,
             const std::string& entries = "", const std::string& resources = "") {
  const int image = builder.addStream(
      "/Type /XObject /Subtype /Image /Width 2 /Height 1 /BitsPerComponent 8 /ColorSpace " + space + entries,
      samples);
  builder.addPage("q 99 0 0 99 0 0 cm /Im Do Q",
                  "<< /XObject << /Im " + ref(image) + " >> " + resources + " >>");
}

QPDFObjectHandle imageOf(Document& document) {
  return QPDFObjectHandle(document.pages()[0]).getKey("/Resources").getKey("/XObject").getKey("/Im");
}

std::string spaceNow(Document& document) {
  return imageOf(document).getDict().getKey("/ColorSpace").unparseResolved();
}

Bytes samplesNow(Document& document) {
  const Result<ImageSource> source = readImageSource(imageOf(document));
  EXPECT_TRUE(source.ok());
  const Result<Pixels> pixels = decodeImage(*source);
  EXPECT_TRUE(pixels.ok());
  return pixels.ok() ? pixels->samples() : Bytes();
}

TEST(ConvertColorsPass, MakesEachKindOfTheOthers) {
  struct Case {
    const char* space;
    std::string samples;
    ColorConversion conversion;
    const char* becomes;
    std::size_t bytes;
  };
  const std::string rgb("\xFF\xFF\xFF\xFF\0\0", 6), cmyk("\0\0\0\0\xFF\0\0\0", 8);
  for (const Case& each : {Case{"/DeviceRGB", rgb, ColorConversion::grey, "/DeviceGray", 2},
                           Case{"/DeviceRGB", rgb, ColorConversion::cmyk, "/DeviceCMYK", 8},
                           Case{"/DeviceCMYK", cmyk, ColorConversion::rgb, "/DeviceRGB", 6},
                           Case{"/DeviceCMYK", cmyk, ColorConversion::grey, "/DeviceGray", 2}}) {
    PdfBuilder builder;
    addPage(builder, each.space, each.samples);
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(each.conversion)), PassOutcome::changed);
    EXPECT_EQ(spaceNow(*document), each.becomes);
    const Bytes now = samplesNow(*document);
    ASSERT_EQ(now.size(), each.bytes);
    // White stays the paper's.
    EXPECT_EQ(now[0], each.conversion == ColorConversion::cmyk ? 0 : 255) << each.space;
    EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(each.conversion)), PassOutcome::unchanged);
  }
}

TEST(ConvertColorsPass, LeavesWhatIsNotMeant) {
  const std::string tint = "<< /FunctionType 2 /Domain [0 1] /C0 [1 1 1] /C1 [1 0 0] /N 1 >>";
  for (const std::string& space :
       {std::string("/DeviceGray"), "[/Separation /Spot /DeviceRGB " + tint + "]"}) {
    PdfBuilder builder;
    addPage(builder, space, "\x20\x80");
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::rgb)), PassOutcome::unchanged)
        << space;
  }
  PdfBuilder builder;
  addPage(builder, "/DeviceRGB", "abcdef");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::rgb)), PassOutcome::unchanged);
}

TEST(ConvertColorsPass, ConvertsPalettesAndKeepsTheirKeys) {
  PdfBuilder builder;
  addPage(builder, "[/Indexed /DeviceCMYK 1 <00000000FF000000>]", std::string("\0\1", 2), " /Mask [1 1]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::rgb)), PassOutcome::changed);
  QPDFObjectHandle space = imageOf(*document).getDict().getKey("/ColorSpace");
  EXPECT_EQ(space.getArrayItem(1).unparse(), "/DeviceRGB");
  EXPECT_EQ(space.getArrayItem(3).getStringValue(), std::string("\xFF\xFF\xFF\x00\xAE\xEF", 6));
  EXPECT_EQ(imageOf(*document).getDict().getKey("/Mask").unparse(), "[ 1 1 ]");
}

TEST(ConvertColorsPass, MakesAStencilOfAColourKey) {
  PdfBuilder builder;
  addPage(builder, "/DeviceCMYK", std::string("\0\0\0\0\xFF\0\0\0", 8), " /Mask [250 255 0 0 0 0 0 0]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::grey)), PassOutcome::changed);
  QPDFObjectHandle mask = imageOf(*document).getDict().getKey("/Mask");
  ASSERT_TRUE(mask.isStream());
  EXPECT_TRUE(mask.getDict().getKey("/ImageMask").getBoolValue());
  const Result<ImageSource> source = readImageSource(mask);
  ASSERT_TRUE(source.ok());
  const Result<Pixels> pixels = decodeImage(*source);
  ASSERT_TRUE(pixels.ok());
  EXPECT_FALSE(pixels->bit(0, 0));
  EXPECT_TRUE(pixels->bit(1, 0));
}

TEST(ConvertColorsPass, TakesTheDocumentsMeaningOfDeviceColours) {
  const Bytes wide = calibratedRgb({0.9505, 1, 1.089}, {2.2, 2.2, 2.2},
                                   {0.5767, 0.2973, 0.0270, 0.1856, 0.6274, 0.0707, 0.1882, 0.0753, 0.9913});
  const std::string green("\x40\xC0\x40\x40\xC0\x40", 6);
  std::vector<Bytes> shown;
  for (bool meant : {false, true}) {
    PdfBuilder builder;
    const std::string space = "[/ICCBased " + ref(addProfile(builder, wide, 3)) + "]";
    addPage(builder, "/DeviceRGB", green, "", meant ? "/ColorSpace << /DefaultRGB " + space + " >>" : "");
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::cmyk)), PassOutcome::changed);
    shown.push_back(samplesNow(*document));
  }
  EXPECT_NE(shown[0], shown[1]);
}

TEST(ConvertColorsPass, NamesItsColoursWhereTheyMeanSomethingElse) {
  PdfBuilder builder;
  const std::string space = "[/ICCBased " + ref(addProfile(builder, srgbProfile(), 3)) + "]";
  addPage(builder, "/DeviceCMYK", std::string("\0\0\0\0\xFF\0\0\0", 8), "",
          "/ColorSpace << /DefaultRGB " + space + " >>");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::rgb)), PassOutcome::changed);
  EXPECT_EQ(spaceNow(*document).substr(0, 12), "[ /ICCBased ");
}

TEST(ConvertColorsPass, KeepsToAPressThatItCannotName) {
  PdfBuilder builder;
  const int metadata = builder.addStream(
      "/Type /Metadata /Subtype /XML",
      "<?xpacket begin='' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF "
      "xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about='' "
      "xmlns:pdfaid='http://www.aiim.org/pdfa/ns/id/' pdfaid:part='2' "
      "pdfaid:conformance='B'/></rdf:RDF></x:xmpmeta>"
      "<?xpacket end='w'?>");
  builder.addToCatalog("/Metadata " + ref(metadata));
  addPage(builder, "/DeviceRGB", "abcdef");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::cmyk)), PassOutcome::unchanged);
  // Grey without an output intent is named, too.
  EXPECT_EQ(runPass(*document, makeConvertColorsPass(), to(ColorConversion::grey)), PassOutcome::changed);
  EXPECT_EQ(spaceNow(*document).substr(0, 12), "[ /ICCBased ");
}

}  // namespace
}  // namespace optimizer
