#include "optimizer/document/free_text.h"

#include <gtest/gtest.h>

#include "optimizer/document/annotation_appearance.h"

namespace optimizer {
namespace {

QPDFObjectHandle annotation(const std::string& entries) {
  return QPDFObjectHandle::parse("<< /Subtype /FreeText /Rect [ 10 20 110 70 ] " + entries + " >>");
}

TEST(TextStyle, ComesFromDefaultAppearanceAndStyle) {
  struct Case {
    const char* entries;
    const char* font;
    double size;
    const char* color;
    int quadding;
  };
  const Case cases[] = {
      {"", "Helvetica", 12, "0 g\n", 0},
      {"/DA (/TiBo 9.5 Tf 1 0 0 rg) /Q 2", "Times-Bold", 9.5, "1 0 0 rg\n", 2},
      {"/DA (0 0 0 1 k /Cour 0 Tf)", "Courier", 12, "0 0 0 1 k\n", 0},
      {"/DA (/ArialMT 7 Tf)", "Helvetica", 7, "0 g\n", 0},
      {"/DA (/F1 7 Tf .5 g)", "Times-Italic", 7, "0.5 g\n", 0},  // F1 of the form's resources
      {"/DA (/Helv 8 Tf) /DS (font: bold 14pt Arial; text-align:center; color:#FF0000)", "Helvetica-Bold", 14,
       "1 0 0 rg\n", 1},
      {"/DA (Tf Tf 1 2 3 \\( ) /Q 9", "Helvetica", 12, "0 g\n", 0},
      {"/DA (/Helv 1e9 Tf) /DS (;;:;color:red;font-size:-3pt;font)", "Helvetica", 12, "0 g\n", 0},
  };
  const QPDFObjectHandle fonts =
      QPDFObjectHandle::parse("<< /F1 << /BaseFont /ABCDEF+TimesNewRoman,Italic >> >>");
  for (const Case& c : cases) {
    const TextStyle style = textStyleOf(annotation(c.entries), fonts);
    EXPECT_EQ(style.font, c.font) << c.entries;
    EXPECT_EQ(style.size, c.size) << c.entries;
    EXPECT_EQ(style.color, c.color) << c.entries;
    EXPECT_EQ(style.quadding, c.quadding) << c.entries;
  }
}

TEST(WrapText, BreaksAtBlanksAndInLongWordsOnly) {
  TextStyle style;
  style.font = "Courier";
  style.size = 10;  // 6 points a character
  using Lines = std::vector<std::string>;
  const auto wrapText = [](const char* text, const TextStyle& given, double width) {
    Lines lines;
    for (const TextLine& line : optimizer::wrapText(text, given, width)) lines.push_back(line.codes);
    return lines;
  };
  EXPECT_EQ(wrapText("one two three", style, 48), (Lines{"one two", "three"}));
  EXPECT_EQ(wrapText("one two three", style, 1000), (Lines{"one two three"}));
  EXPECT_EQ(wrapText("abcdefgh", style, 18), (Lines{"abc", "def", "gh"}));
  EXPECT_EQ(wrapText("a\rb\r\nc\n\nd", style, 100), (Lines{"a", "b", "c", "", "d"}));
  EXPECT_EQ(wrapText("caf\xC3\xA9 \xD0\x96", style, 100), (Lines{"caf\xE9 ?"}));
  EXPECT_EQ(wrapText("ab", style, 1), (Lines{"a", "b"}));
}

TEST(FreeText, DrawsBoxTextAndCallout) {
  const DrawnAppearance drawn = drawAnnotation(annotation("/Contents (Hi \\(there\\)) /DA (/Helv 10 Tf 0 0 1 "
                                                          "rg) /C [ 1 1 0 ] /BS << /W 2 >> /CL [ 0 0 5 5 ]"),
                                               QPDFObjectHandle::newNull());
  EXPECT_EQ(drawn.content,
            "1 1 0 rg\n0 0 1 RG\n2 w\n11 21 98 48 re\nB\n0 0 m\n5 5 l\nS\n"
            "q 14 24 92 42 re W n\nBT\n/F 10 Tf\n0 0 1 rg\n14 57 Td (Hi \\(there\\)) Tj\nET\nQ\n");
  EXPECT_NE(drawn.fonts.find("/BaseFont /Helvetica "), std::string::npos);
}

TEST(FreeText, DrawsNoBorderOfNoWidthAndNothingForNoText) {
  EXPECT_EQ(drawAnnotation(annotation("/Border [ 0 0 0 ]"), QPDFObjectHandle::newNull()).content, "");
  EXPECT_EQ(drawAnnotation(annotation("/Border [ 0 0 0 ] /Contents ()"), QPDFObjectHandle::newNull()).content,
            "");
  EXPECT_EQ(drawAnnotation(annotation("/BS << /W 0 >> /C [ 1 ]"), QPDFObjectHandle::newNull()).content,
            "1 g\n0 G\n0 w\n10 20 100 50 re\nf\n");
}

}  // namespace
}  // namespace optimizer
