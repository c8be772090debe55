#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "optimizer/base/pool.h"
#include "optimizer/document/usage.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;

constexpr int kWidth = 800, kHeight = 1000;

// Samples row by row; `at` gives the level of one.
std::string samples(const std::function<int(int x, int y)>& at) {
  std::string levels;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) levels += static_cast<char>(at(x, y));
  }
  return levels;
}

int grain(int x, int y) {
  std::uint32_t n = static_cast<std::uint32_t>(y * kWidth + x) * 2654435761u;
  n = (n ^ (n >> 15)) * 2246822519u;
  return static_cast<int>((n ^ (n >> 13)) % 9);
}

int photograph(int x, int y) { return (x * x / 4000 + y * y / 5000 + grain(x, y)) % 256; }

// Black strokes in lines, on paper with some grain.
int scannedText(int x, int y) {
  const int line = y % 24, letter = x / 12 + y / 24 * 7;
  const bool stroke = (x % 12 < 3 && letter % 5 != 0) || (line % 6 < 2 && letter % 3 != 0);
  const bool margin = x < 60 || x > 740 || y < 60 || y > 940 || line > 13 || x % 12 > 8;
  return !margin && stroke ? grain(x, y) : 240 + grain(x, y);
}

std::string image(const std::string& more = "") {
  return "/Type /XObject /Subtype /Image /Width " + std::to_string(kWidth) + " /Height " +
         std::to_string(kHeight) + " /BitsPerComponent 8 /ColorSpace /DeviceGray " + more;
}

struct Case {
  const char* name;
  std::function<int(int, int)> picture;
  bool opaqueMask;
  const char* content;
  bool keepsUsage;
};

TEST(ImagesPass, SaysWhetherUsesAreWhatTheyWere) {
  for (const Case& c : {Case{"resampled", photograph, false, "100 0 0 125 9 9 cm /X Do", true},
                        Case{"layers", scannedText, false, "400 0 0 500 0 0 cm /X Do", false},
                        Case{"no mask any more", photograph, true, "100 0 0 125 9 9 cm /X Do", true}}) {
    PdfBuilder builder;
    const int mask = builder.addFlateStream(image(), samples([](int, int) { return 255; }));
    const std::string more = c.opaqueMask ? "/SMask " + PdfBuilder::ref(mask) : "";
    const int picture = builder.addFlateStream(image(more), samples(c.picture));
    builder.addPage(c.content, "<< /XObject << /X " + PdfBuilder::ref(picture) + " >> >>",
                    "/MediaBox [0 0 400 500]");
    const auto document = builder.open();
    WorkerPool pool(2);
    Report report;
    const Settings settings = webSettings();
    PassContext context{*document, settings, pool, report};
    report.begin("images");
    usageOf(context);
    const std::unique_ptr<Pass> pass = makeImagesPass();
    const Result<PassOutcome> outcome = pass->process(context);
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(*outcome, PassOutcome::changed) << c.name;
    EXPECT_EQ(pass->keepsUsage(), c.keepsUsage) << c.name;
    EXPECT_EQ(analyzeUsage(*document) == *context.usage, c.keepsUsage) << c.name;
  }
}

}  // namespace
}  // namespace optimizer
