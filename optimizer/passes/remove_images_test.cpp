#include <gtest/gtest.h>

#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

constexpr const char* kImage = "/Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8";

std::string contentOf(QPDFObjectHandle stream) {
  const Result<Bytes> data = decodedStreamData(stream);
  return data.ok() ? std::string(data->begin(), data->end()) : "unreadable";
}

TEST(RemoveImages, MakesImageObjectsDrawNothingInPagesFormsAndPatterns) {
  PdfBuilder builder;
  const int image = builder.addStream(kImage, "x");
  const std::string resources = "/Resources << /XObject << /I " + PdfBuilder::ref(image) + " >> >>";
  const int form = builder.addStream("/Subtype /Form /BBox [0 0 9 9] " + resources, "/I Do");
  const int pattern = builder.addStream("/PatternType 1 " + resources, "/I Do");
  builder.addPage("/I Do /F Do", "<< /XObject << /I " + PdfBuilder::ref(image) + " /F " + PdfBuilder::ref(form) +
                                     " >> /Pattern << /P " + PdfBuilder::ref(pattern) + " >> >>",
                  "/Thumb " + PdfBuilder::ref(image));
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeRemoveImagesPass()), PassOutcome::changed);
  EXPECT_EQ(testing::written(*document).find("/Image"), std::string::npos);
  QPDFObjectHandle page = document->pages()[0];
  EXPECT_EQ(contentOf(page.getKey("/Contents")), "/I Do /F Do");
  EXPECT_EQ(runPass(*document, makeRemoveImagesPass()), PassOutcome::unchanged);
}

TEST(RemoveImages, CutsInlineImagesOutOfContent) {
  PdfBuilder builder;
  builder.addPage("q 10 0 0 10 0 0 cm BI /W 1 /H 1 /CS /G /BPC 8 ID x EI Q 0 0 5 5 re f (BI x EI) Tj");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeRemoveImagesPass()), PassOutcome::changed);
  const std::string content = contentOf(QPDFObjectHandle(document->pages()[0]).getKey("/Contents"));
  EXPECT_EQ(content.find("/BPC"), std::string::npos);
  EXPECT_NE(content.find("0 0 5 5 re f (BI x EI) Tj"), std::string::npos);
}

TEST(RemoveImages, LeavesGlyphsOfType3FontsAndSoftMasks) {
  PdfBuilder builder;
  const int image = builder.addStream(kImage, "x");
  const int glyph = builder.addStream("", "9 0 d0 BI /W 1 /H 1 /IM true ID x EI");
  const int font = builder.addObject("<< /Type /Font /Subtype /Type3 /CharProcs << /a " + PdfBuilder::ref(glyph) +
                                     " >> >>");
  const int group = builder.addStream("/Subtype /Form /BBox [0 0 9 9] /Resources << /XObject << /I " +
                                          PdfBuilder::ref(image) + " >> >>", "/I Do");
  builder.addPage("(a) Tj", "<< /Font << /F " + PdfBuilder::ref(font) + " >> /ExtGState << /G << /SMask << /G " +
                                PdfBuilder::ref(group) + " >> >> >> >>");
  EXPECT_EQ(runPass(*builder.open(), makeRemoveImagesPass()), PassOutcome::unchanged);
}

}  // namespace
}  // namespace optimizer
