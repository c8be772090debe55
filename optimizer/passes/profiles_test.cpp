#include <gtest/gtest.h>

#include "optimizer/document/reachable.h"
#include "optimizer/image/profile.h"
#include "optimizer/passes/passes.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string textOf(const Bytes& bytes) { return std::string(bytes.begin(), bytes.end()); }

int addProfile(PdfBuilder& builder, const Bytes& profile, int components) {
  return builder.addFlateStream("/N " + std::to_string(components), textOf(profile));
}

std::string spaceOf(int profile) { return "[/ICCBased " + PdfBuilder::ref(profile) + "]"; }

// A page whose content and whose image name the colour space.
void addPageWith(PdfBuilder& builder, const std::string& space, const std::string& entries = "") {
  const int image = builder.addStream(
      "/Type /XObject /Subtype /Image /Width 1 /Height 1 /BitsPerComponent 8 /ColorSpace " + space,
      "\x10\x20\x30");
  builder.addPage(
      "/C cs 1 0 0 sc 0 0 9 9 re f /I Do",
      "<< /ColorSpace << /C " + space + entries + " >> /XObject << /I " + PdfBuilder::ref(image) + " >> >>");
}

QPDFObjectHandle resourcesOf(Document& document) {
  return QPDFObjectHandle(document.pages()[0]).getKey("/Resources");
}

TEST(ProfilesPass, LetsDeviceRgbStandForSrgb) {
  PdfBuilder builder;
  addPageWith(builder, spaceOf(addProfile(builder, srgbProfile(), 3)));
  const auto document = builder.open();
  const std::size_t before = reachableObjects(document->pdf()).size();
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::changed);
  QPDFObjectHandle resources = resourcesOf(*document);
  EXPECT_EQ(resources.getKey("/ColorSpace").getKey("/C").unparse(), "/DeviceRGB");
  EXPECT_EQ(resources.getKey("/XObject").getKey("/I").getDict().getKey("/ColorSpace").unparse(),
            "/DeviceRGB");
  EXPECT_EQ(reachableObjects(document->pdf()).size(), before - 1);
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::unchanged);
}

TEST(ProfilesPass, LooksIntoPalettesAndIndirectSpaces) {
  PdfBuilder builder;
  const int space = builder.addObject(spaceOf(addProfile(builder, srgbProfile(), 3)));
  addPageWith(builder, "[/Indexed " + PdfBuilder::ref(space) + " 0 <102030>]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::changed);
  EXPECT_EQ(resourcesOf(*document).getKey("/ColorSpace").getKey("/C").getArrayItem(1).unparse(),
            "/DeviceRGB");
}

TEST(ProfilesPass, LetsDeviceGrayStandForItsCurve) {
  PdfBuilder builder;
  addPageWith(builder, spaceOf(addProfile(builder, greyProfile(), 1)));
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::changed);
  EXPECT_EQ(resourcesOf(*document).getKey("/ColorSpace").getKey("/C").unparse(), "/DeviceGray");
}

TEST(ProfilesPass, KeepsColoursThatWouldMove) {
  // The primaries of a wider space, and a steeper curve.
  const Bytes wide = calibratedRgb({0.9505, 1, 1.089}, {2.2, 2.2, 2.2},
                                   {0.5767, 0.2973, 0.0270, 0.1856, 0.6274, 0.0707, 0.1882, 0.0753, 0.9913});
  const Bytes steep = calibratedGrey({0.9505, 1, 1.089}, 1.8);
  ASSERT_FALSE(wide.empty());
  ASSERT_FALSE(steep.empty());
  for (int components : {3, 1}) {
    PdfBuilder builder;
    addPageWith(builder, spaceOf(addProfile(builder, components == 3 ? wide : steep, components)));
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::unchanged) << components;
  }
}

TEST(ProfilesPass, KeepsProfilesWhereDeviceColoursMeanSomethingElse) {
  {
    PdfBuilder builder;
    const int profile = addProfile(builder, srgbProfile(), 3);
    addPageWith(builder, spaceOf(profile), " /DefaultRGB " + spaceOf(addProfile(builder, srgbProfile(), 3)));
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::unchanged);
  }
  PdfBuilder builder;
  const int profile = addProfile(builder, srgbProfile(), 3);
  addPageWith(builder, spaceOf(profile));
  builder.addToCatalog("/OutputIntents [<< /Type /OutputIntent /S /GTS_PDFX /DestOutputProfile " +
                       PdfBuilder::ref(profile) + " >>]");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::unchanged);
}

TEST(ProfilesPass, KeepsProfilesThatCannotBeRead) {
  PdfBuilder builder;
  addPageWith(builder, spaceOf(builder.addStream("/N 3", "no profile")));
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeProfilesPass()), PassOutcome::unchanged);
}

}  // namespace
}  // namespace optimizer
