#include "kelv/compressor/pdf_date.h"

#include <gtest/gtest.h>

#include "kelv/testing/fake_services.h"

namespace kelv {
namespace {

struct Case {
  double hours;
  const char* offset;
};

TEST(PdfDate, OffsetsKeepThePlusAndRoundHalfToEven) {
  const Case cases[] = {
      {0, "+00'00'"},    {1, "+01'00'"},     {-5, "+-05'00'"},   {5.5, "+06'30'"},
      {9.5, "+10'30'"},  {-3.5, "+-04'30'"}, {12.75, "+13'45'"}, {10.5, "+10'30'"},
      {5.75, "+06'45'"}, {-2.5, "+-02'30'"}, {8.75, "+09'45'"},  {13.75, "+14'45'"},
  };
  for (const Case& one : cases) {
    testing::FakeFormatting formatting;
    formatting.offset = static_cast<int>(one.hours * 3600);
    EXPECT_EQ(pdfDateText(formatting, {}), std::string("D:20261116030405") + one.offset) << one.hours;
  }
}

TEST(PdfDate, FailedFormattingGivesZeros) {
  testing::FakeFormatting formatting;
  formatting.numberFails = true;
  formatting.offset = 3600;
  EXPECT_EQ(pdfDateText(formatting, {}), "D:20261116030405+00'00'");
}

}  // namespace
}  // namespace kelv
