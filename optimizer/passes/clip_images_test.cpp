#include <gtest/gtest.h>

#include "optimizer/image/decode.h"
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

// Grey samples that differ everywhere and code badly: 200 by 160.
constexpr std::uint32_t kWidth = 200, kHeight = 160;
std::string samplesOf(std::uint32_t width, std::uint32_t height) {
  std::string samples;
  for (std::uint32_t i = 0; i < width * height; ++i) {
    const std::uint32_t x = i % width, y = i / width;
    samples.push_back(static_cast<char>((x * 2654435761u ^ y * 668265263u) >> 13));
  }
  return samples;
}

int addImage(PdfBuilder& builder, const std::string& entries = "", std::uint32_t width = kWidth,
             std::uint32_t height = kHeight) {
  return builder.addFlateStream("/Type /XObject /Subtype /Image /Width " + std::to_string(width) +
                                    " /Height " + std::to_string(height) +
                                    " /BitsPerComponent 8 /ColorSpace /DeviceGray " + entries,
                                samplesOf(width, height));
}

std::string resourcesWith(int image) { return "<< /XObject << /Im " + ref(image) + " >> >>"; }

Settings lossy() {
  Settings settings;
  settings.imageQuality = 75;
  return settings;
}

QPDFObjectHandle drawn(Document& document) {
  return QPDFObjectHandle(document.pages()[0]).getKey("/Resources").getKey("/XObject").getKey("/Im");
}

Pixels pixelsOf(QPDFObjectHandle image) {
  const Result<ImageSource> source = readImageSource(image);
  EXPECT_TRUE(source.ok());
  Result<Pixels> pixels = decodeImage(*source);
  EXPECT_TRUE(pixels.ok());
  return pixels.ok() ? std::move(*pixels) : Pixels(1, 1, 1, ColorKind::grey);
}

// The visible quarter at the lower left: 100 by 80 pixels, and the margin.
constexpr const char* kClipped = "q 0 0 50 40 re W n 100 0 0 80 0 0 cm /Im Do Q";

TEST(ClipImagesPass, LeavesAFormThatDrawsWhatIsSeen) {
  PdfBuilder builder;
  builder.addPage(kClipped, resourcesWith(addImage(builder, "/StructParent 3")));
  const auto document = builder.open();
  const Pixels whole = pixelsOf(drawn(*document));
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::changed);
  QPDFObjectHandle form = drawn(*document);
  EXPECT_EQ(form.getDict().getKey("/Subtype").unparse(), "/Form");
  EXPECT_EQ(form.getDict().getKey("/StructParent").unparse(), "3");
  QPDFObjectHandle image = form.getDict().getKey("/Resources").getKey("/XObject").getKey("/I");
  const Pixels part = pixelsOf(image);
  EXPECT_LE(part.width(), 100u + 12 + 8);
  EXPECT_LE(part.height(), 80u + 12 + 8);
  EXPECT_EQ(part, crop(whole, 0, kHeight - part.height(), part.width(), part.height()));
  // [sx 0 0 sy x y] cm, with what was cut off the top left out.
  double scaleX = 0, b = 0, c = 0, scaleY = 0, x = 1, y = 1;
  const std::string content(reinterpret_cast<const char*>(form.getStreamData()->getBuffer()),
                            form.getStreamData()->getSize());
  ASSERT_EQ(std::sscanf(content.c_str(), "%lf %lf %lf %lf %lf %lf cm/I Do", &scaleX, &b, &c, &scaleY, &x, &y),
            6);
  EXPECT_NEAR(scaleX, double(part.width()) / kWidth, 1e-8);
  EXPECT_NEAR(scaleY, double(part.height()) / kHeight, 1e-8);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(y, 0);
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::unchanged);
}

TEST(ClipImagesPass, KeepsWhatAnyUseShows) {
  PdfBuilder builder;
  const int image = addImage(builder);
  builder.addPage(kClipped, resourcesWith(image));
  builder.addPage("q 100 0 0 80 200 200 cm /Im Do Q", resourcesWith(image));
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::unchanged);
}

TEST(ClipImagesPass, CutsAtThePageToo) {
  PdfBuilder builder;
  builder.addPage("q 1000 0 0 800 0 0 cm /Im Do Q", resourcesWith(addImage(builder)),
                  "/MediaBox [0 0 300 300]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::changed);
}

TEST(ClipImagesPass, CutsMasksInStep) {
  // Of the same size, of half the size, and of a size that shares no borders of pixels.
  for (std::uint32_t divisor : {1u, 2u}) {
    PdfBuilder builder;
    const int mask = addImage(builder, "", kWidth / divisor, kHeight / divisor);
    builder.addPage(kClipped, resourcesWith(addImage(builder, "/SMask " + ref(mask))));
    const auto document = builder.open();
    const Pixels wholeMask = pixelsOf(drawn(*document).getDict().getKey("/SMask"));
    EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::changed);
    QPDFObjectHandle image = drawn(*document).getDict().getKey("/Resources").getKey("/XObject").getKey("/I");
    const Pixels part = pixelsOf(image), partMask = pixelsOf(image.getDict().getKey("/SMask"));
    EXPECT_EQ(part.width(), partMask.width() * divisor);
    EXPECT_EQ(part.height(), partMask.height() * divisor);
    EXPECT_EQ(partMask, crop(wholeMask, 0, wholeMask.height() - partMask.height(), partMask.width(),
                             partMask.height()));
  }
  PdfBuilder builder;
  const int mask = addImage(builder, "", 199, 163);
  builder.addPage(kClipped, resourcesWith(addImage(builder, "/SMask " + ref(mask))));
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::unchanged);
}

TEST(ClipImagesPass, BlanksWhereNothingMayMove) {
  PdfBuilder builder;
  builder.addPage(kClipped, resourcesWith(addImage(builder)));
  const auto document = builder.open();
  const Pixels whole = pixelsOf(drawn(*document));
  EXPECT_EQ(runPass(*document, makeClipImagesPass()), PassOutcome::changed);
  ASSERT_EQ(drawn(*document).getDict().getKey("/Subtype").unparse(), "/Image");
  const Pixels left = pixelsOf(drawn(*document));
  ASSERT_EQ(left.width(), kWidth);
  ASSERT_EQ(left.height(), kHeight);
  EXPECT_EQ(crop(left, 0, 80, 100, 80), crop(whole, 0, 80, 100, 80));
  EXPECT_EQ(crop(left, 120, 0, 80, 160), Pixels(80, 160, 1, ColorKind::grey));
}

TEST(ClipImagesPass, BlanksBitonalImagesAndKeepsTheirSize) {
  PdfBuilder builder;
  const int image = builder.addFlateStream(
      "/Type /XObject /Subtype /Image /Width 1600 /Height 160 /BitsPerComponent 1 /ColorSpace /DeviceGray",
      samplesOf(kWidth, kHeight));
  builder.addPage(kClipped, resourcesWith(image));
  const auto document = builder.open();
  const Pixels whole = pixelsOf(drawn(*document));
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::changed);
  ASSERT_EQ(drawn(*document).getDict().getKey("/Subtype").unparse(), "/Image");
  const Pixels left = pixelsOf(drawn(*document));
  ASSERT_EQ(left.width(), 1600u);
  EXPECT_EQ(crop(left, 0, 80, 800, 80), crop(whole, 0, 80, 800, 80));
  // At 18 dpi one pixel takes 64 of these.
  EXPECT_EQ(crop(left, 800, 80, 128, 80), crop(whole, 800, 80, 128, 80));
  EXPECT_EQ(crop(left, 1000, 0, 600, 160), Pixels(600, 160, 1, ColorKind::grey, 1));
}

TEST(ClipImagesPass, KeepsWhatLiesBeyondTheCropBox) {
  // The page shows less than the clip path does.
  PdfBuilder builder;
  builder.addPage(kClipped, resourcesWith(addImage(builder)), "/CropBox [0 0 20 20]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::changed);
  const Pixels part = pixelsOf(drawn(*document).getDict().getKey("/Resources").getKey("/XObject").getKey("/I"));
  EXPECT_GE(part.width(), 100u + 12);
  EXPECT_GE(part.height(), 80u);

  PdfBuilder whole;
  whole.addPage("q 100 0 0 80 0 0 cm /Im Do Q", resourcesWith(addImage(whole)), "/CropBox [0 0 20 20]");
  EXPECT_EQ(runPass(*whole.open(), makeClipImagesPass(), lossy()), PassOutcome::unchanged);
}

TEST(ClipImagesPass, LeavesWhatMustBeAnImageAndWhatIsNotKnown) {
  {
    PdfBuilder builder;
    const int image = addImage(builder);
    builder.addPage(kClipped, resourcesWith(image), "/Thumb " + ref(image));
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::unchanged);
  }
  PdfBuilder builder;
  const int image = addImage(builder);
  builder.addPage(kClipped, resourcesWith(image));
  const int broken =
      builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 9 9] /Filter /FlateDecode", "junk");
  builder.addPage("/Fm Do", "<< /XObject << /Fm " + ref(broken) + " >> >>");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeClipImagesPass(), lossy()), PassOutcome::unchanged);
}

}  // namespace
}  // namespace optimizer
