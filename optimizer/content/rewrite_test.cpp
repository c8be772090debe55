#include "optimizer/content/rewrite.h"

#include <gtest/gtest.h>

#include "optimizer/content/spelling.h"

namespace optimizer::content {
namespace {

std::optional<std::string> rewritten(std::string_view content, const RewriteOptions& options = {}) {
  return rewriteContent({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, options);
}

struct Case {
  const char* what;
  std::string before;
  std::string after;
};

void check(std::initializer_list<Case> cases, const RewriteOptions& options = {}) {
  for (const Case& c : cases) {
    EXPECT_EQ(rewritten(c.before, options), c.after) << c.what;
  }
}

TEST(Rewrite, spellsTokensBriefly) {
  check({
      {"numbers", "1.0 -0.50 +3 000.250 -0.0 4. m S", "1 -.5 3 .25 0 4 m\nS"},
      {"irregular numbers", "--5 1.2.3 m S", "--5 1.2.3 m\nS"},
      {"white space and comments", "  0 0 m  % here\r\n 1\t1   l\n\nS", "0 0 m\n1 1 l\nS"},
      {"strings", "BT ( a\\(b\\)\\101\\r\\n ) Tj <41420D28> Tj ET", "BT( a(b)A\\r\n )Tj(AB\\r\\()Tj\nET"},
      {"names", "/A#20B gs 1 1 re f /X Do", "/A#20B gs\n1 1 re\nf/X Do"},
  });
}

TEST(Rewrite, setsNothingTwice) {
  check({
      {"the same again", "1 w 0 g 0 0 9 9 re f 1 w 0 g 0 0 8 8 re f", "0 g\n1 w\n0 0 9 9 re\nf\n0 0 8 8 re\nf"},
      {"overwritten", "0 g 1 g .5 g 0 0 9 9 re f", ".5 g\n0 0 9 9 re\nf"},
      {"never used", "0 0 9 9 re f 1 w 2 J", "0 0 9 9 re\nf"},
      {"restored", "1 g 0 0 1 1 re f q 0 g 0 0 9 9 re f Q 1 g 0 0 9 9 re f",
       "1 g\n0 0 1 1 re\nf\nq\n0 g\n0 0 9 9 re\nf\nQ\n0 0 9 9 re\nf"},
      {"not known again after restoring too much", "1 g 0 0 1 1 re f Q 1 g 0 0 9 9 re f",
       "1 g\n0 0 1 1 re\nf\nQ\n1 g\n0 0 9 9 re\nf"},
      {"colour in the same space", "/A cs 1 scn 0 0 1 1 re f /A cs 2 scn 0 0 1 1 re f /A cs 2 scn 0 0 1 1 re f",
       "/A cs\n1 scn\n0 0 1 1 re\nf\n2 scn\n0 0 1 1 re\nf\n0 0 1 1 re\nf"},
      {"initial colour of a space", "/A cs 1 scn 0 0 1 1 re f /A cs 0 0 1 1 re f",
       "/A cs\n1 scn\n0 0 1 1 re\nf/A cs\n0 0 1 1 re\nf"},
      {"colour in a space of its own", "0 g .5 sc 0 0 1 1 re f .5 sc 0 0 1 1 re f",
       "0 g\n.5 sc\n0 0 1 1 re\nf\n.5 sc\n0 0 1 1 re\nf"},
      {"graphics state", "/G gs 0 0 1 1 re f /G gs 0 0 1 1 re f 2 w /G gs 0 0 1 1 re S",
       "/G gs\n0 0 1 1 re\nf\n0 0 1 1 re\nf\n2 w/G gs\n0 0 1 1 re\nS"},
      {"graphics state makes unknown", "2 w 0 0 1 1 re S /G gs 2 w 0 0 1 1 re S",
       "2 w\n0 0 1 1 re\nS/G gs\n2 w\n0 0 1 1 re\nS"},
      {"a soft mask at another matrix", "/G gs 2 0 0 2 0 0 cm /G gs 0 0 1 1 re f",
       "/G gs\n2 0 0 2 0 0 cm/G gs\n0 0 1 1 re\nf"},
      {"font", "BT /F 9 Tf (a) Tj ET BT /F 9 Tf (b) Tj ET", "BT/F 9 Tf(a)Tj\nET\nBT(b)Tj\nET"},
      {"leading set by moving", "12 TL BT T* (a) Tj 0 -14 TD 12 TL T* (b) Tj ET",
       "BT\n12 TL\nT*(a)Tj\n0 -14 TD\n12 TL\nT*(b)Tj\nET"},
      {"spacing set by showing", "1 Tw BT (a) Tj 2 0 (b) \" 1 Tw (c) Tj ET", "BT\n1 Tw(a)Tj\n2 0(b)\"\n1 Tw(c)Tj\nET"},
  });
}

TEST(Rewrite, bracketsAroundNothingGo) {
  check({
      {"empty", "q Q 0 0 1 1 re f", "0 0 1 1 re\nf"},
      {"nested", "q q 1 w Q q BT ET Q Q", ""},
      {"only a clip and a matrix", "q 0 0 9 9 re W n 2 0 0 2 0 0 cm Q 0 0 1 1 re f", "0 0 1 1 re\nf"},
      {"state before it stays pending", "1 w q 2 w Q 3 w 0 0 1 1 re S", "3 w\n0 0 1 1 re\nS"},
      {"marked content stays", "q /P BMC EMC Q", "q/P BMC\nEMC\nQ"},
      {"text that shows nothing", "BT /F 9 Tf 1 2 Td ET BT (a) Tj ET", "BT/F 9 Tf(a)Tj\nET"},
      {"identity", "q 1 0 0 1 0 0 cm /X Do Q", "q/X Do\nQ"},
      {"graphics state in text outlasts it", "BT /G gs ET /X Do", "BT/G gs\nET/X Do"},
  });
}

TEST(Rewrite, pathsGetShorterOperators) {
  check({
      {"closing", "0 0 m 1 1 l h S 0 0 m 1 1 l h f* 0 0 m 1 1 l h B", "0 0 m\n1 1 l\ns\n0 0 m\n1 1 l\nh\nf*\n0 0 m\n1 1 l\nb"},
      {"closing before a clip stays", "0 0 m 1 1 l h W n", "0 0 m\n1 1 l\nh\nW\nn"},
      {"closing before another piece stays", "0 0 m 1 1 l h 2 2 m 3 3 l f F", "0 0 m\n1 1 l\nh\n2 2 m\n3 3 l\nf\nf"},
      {"curves", "1 2 m 1 2 3 4 5 6 c 5 5 7 8 7.0 8 c S", "1 2 m\n3 4 5 6 v\n5 5 7 8 y\nS"},
  });
}

TEST(Rewrite, joinsStringsOfSimpleFontsOnly) {
  RewriteOptions options;
  options.isSimpleFont = [](const std::string& name) { return name == "S"; };
  check({{"simple", "BT /S 9 Tf [(a) 0 (b) 5 (c)] TJ [(d)(e)] TJ ET", "BT/S 9 Tf[(ab)5(c)]TJ(de)Tj\nET"},
         {"composite", "BT /C 9 Tf [(a) 0 (b) 5 (c)] TJ ET", "BT/C 9 Tf[(a)(b)5(c)]TJ\nET"},
         {"one string", "BT /C 9 Tf [(a)] TJ [] TJ ET", "BT/C 9 Tf(a)Tj[]TJ\nET"}},
        options);
}

TEST(Rewrite, roundsPathsToTheTolerance) {
  RewriteOptions options;
  options.tolerance = 0.006;
  check({{"plain", "1.23456 2.0049 m 3 4.999 l S", "1.23 2 m\n3 5 l\nS"},
         {"sizes of rectangles", "1.23456 2 3.45678 0.12345 re f", "1.23 2 3.457 .123 re\nf"},
         {"enlarged", "100 0 0 100 0 0 cm 1.2345678 2 m 3 4 l S", "100 0 0 100 0 0 cm\n1.2346 2 m\n3 4 l\nS"},
         {"reduced", ".01 0 0 .01 0 0 cm 123.456 2 m 3 4 l S", ".01 0 0 .01 0 0 cm\n123 2 m\n3 4 l\nS"},
         {"enlarged beyond all numbers", std::string(200, '9') + " 0 0 " + std::string(200, '9') + " 0 0 cm 1.23456 2 m S",
          std::string(200, '9') + " 0 0 " + std::string(200, '9') + " 0 0 cm\n1.23456 2 m\nS"},
         {"text is exact", "BT 1 0 0 1 1.234567 2 Tm [(a)1.23456(b)]TJ ET", "BT\n1 0 0 1 1.234567 2 Tm[(a)1.23456(b)]TJ\nET"},
         {"an unknown matrix", "Q 1.23456 2 m 3 4 l S", "Q\n1.23456 2 m\n3 4 l\nS"}},
        options);
}

TEST(Rewrite, inlineImagesStayByteForByte) {
  const std::string image("BI /W 2 /H 2 /BPC 8 /CS /G ID \0\r\n\xff\nEI", 37);
  const std::string content = "q  " + image + "  Q";
  EXPECT_EQ(rewritten(content), "q\nBI/W 2/H 2/BPC 8/CS/G ID" + image.substr(image.find(" \0\r", 0, 3)) + "\nQ");
}

TEST(Rewrite, namesWithoutCharactersEnd) {
  check({{"operand", "/ gs /X Do", "/ gs/X Do"},
         {"key of an inline image", "BI /W 1 / ID abcd\nEI", "BI/W 1/ ID abcd\nEI"}});
}

TEST(Rewrite, contentStaysWhereAnInlineImageWouldEndElsewhere) {
  // Its end is known by the q behind it, which would go with its Q.
  const std::string image = "BI /W 1 /H 1 /BPC 8 /CS /X /F /RL ID ab\nEI ";
  EXPECT_EQ(rewritten(image + "q Q \xbd\xbd Q"), std::nullopt);
  EXPECT_EQ(rewritten(image + "q 0 w Q Q"), "BI/W 1/H 1/BPC 8/CS/X/F/RL ID ab\nEI\nQ");
}

TEST(Rewrite, damagedContentStays) {
  for (const char* content : {"(a Tj", "[(a) Tj", "BI /W 1", "a > b"}) {
    EXPECT_EQ(rewritten(content), std::nullopt) << content;
  }
}

TEST(Rewrite, isAFixedPoint) {
  for (const char* content : {"q 1 0 0 1 5 5 cm /A cs 1 scn 0 0 m 1 1 l h S Q BT /F 1 Tf [(a)-3(b)]TJ ET",
                              "/G gs q /P<</MCID 0>>BDC 1 w 0 0 9 9 re W n /X Do EMC Q"}) {
    const std::optional<std::string> once = rewritten(content);
    ASSERT_TRUE(once);
    EXPECT_EQ(rewritten(*once), once) << content;
  }
}

TEST(Rewrite, SaysWhetherAllNamesAreStillThere) {
  struct Case {
    const char* content;
    bool kept;
  };
  for (const Case& c :
       {Case{"0 g 1 1 9 9 re f", true}, Case{"/G gs 0 0 1 rg 1 1 9 9 re f", true}, Case{"q /G gs Q 1 1 9 9 re f", false},
        Case{"q /G gs 1 1 9 9 re f Q q /G gs Q 1 1 9 9 re f", true}, Case{"BT /F 9 Tf (a) Tj ET", true},
        Case{"BT /E 9 Tf /F 9 Tf (a) Tj ET", false}, Case{"BT /F 9 Tf /F 8.50 Tf (a) Tj ET", true},
        Case{"BT /F 9 Tf (a) Tj ET q /F gs Q 1 1 9 9 re f", false}, Case{"BT /FF 9 Tf (a) Tj /F 9 Tf ET", false},
        Case{"/S cs 1 0 scn 1 1 9 9 re f", true}, Case{"/S cs /T cs 1 scn 1 1 9 9 re f", false},
        Case{"/Pattern cs /P scn 1 1 9 9 re f", true}, Case{"/Pattern cs /P scn /Q scn 1 1 9 9 re f", false},
        Case{"/Pattern CS /P SCN 1 1 9 9 re S /Im Do /Sh sh", true}}) {
    bool kept = !c.kept;
    const std::string content = c.content;
    const auto written =
        rewriteContent({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, {}, &kept);
    ASSERT_TRUE(written) << c.content;
    EXPECT_EQ(kept, c.kept) << c.content << " -> " << *written;
  }
}

}  // namespace
}  // namespace optimizer::content
