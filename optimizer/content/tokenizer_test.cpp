#include "optimizer/content/tokenizer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "optimizer/content/reader.h"

namespace optimizer::content {
namespace {

using ::testing::ElementsAre;

ByteView view(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

std::vector<std::string> texts(std::string_view content) {
  std::vector<std::string> all;
  Tokenizer tokens(view(content));
  for (Token token = tokens.next(); token.kind != TokenKind::end; token = tokens.next()) {
    all.emplace_back(token.text());
  }
  return all;
}

bool damaged(std::string_view content) {
  Tokenizer tokens(view(content));
  while (tokens.next().kind != TokenKind::end) {
  }
  return tokens.damaged();
}

TEST(Tokenizer, splitsAtWhiteSpaceAndDelimiters) {
  EXPECT_THAT(texts("q 1 0 0 1 5.5 -3cm/F1 12Tf(a)Tj[(b)-3(c)]TJ"),
              ElementsAre("q", "1", "0", "0", "1", "5.5", "-3", "cm", "/F1", "12", "Tf", "(a)", "Tj", "[", "(b)", "-3",
                          "(c)", "]", "TJ"));
  EXPECT_THAT(texts("/P<</MCID 0>>BDC% comment ) (\n<41 42>Tj"),
              ElementsAre("/P", "<<", "/MCID", "0", ">>", "BDC", "<41 42>", "Tj"));
  EXPECT_THAT(texts(std::string_view("a\0b", 3)), ElementsAre("a", "b"));
}

TEST(Tokenizer, readsNumbers) {
  struct Case {
    const char* text;
    double value;
    bool irregular;
  };
  for (const Case& c : {Case{"12", 12, false}, Case{"-.5", -0.5, false}, Case{"+3.25", 3.25, false}, Case{"4.", 4, false},
                        Case{"0.000001", 1e-6, false}, Case{"--5", -5, true}, Case{"1.2.3", 1.2, true},
                        Case{"-", 0, true}, Case{"5-3", 5, true}, Case{".", 0, true}}) {
    Tokenizer tokens(view(c.text));
    const Token token = tokens.next();
    ASSERT_EQ(token.kind, TokenKind::number) << c.text;
    EXPECT_DOUBLE_EQ(token.value, c.value) << c.text;
    EXPECT_EQ(token.irregular, c.irregular) << c.text;
    EXPECT_EQ(tokens.next().kind, TokenKind::end) << c.text;
  }
}

TEST(Tokenizer, readsStrings) {
  struct Case {
    const char* text;
    std::string value;
  };
  for (const Case& c : {Case{"(a(b)c)", "a(b)c"}, Case{"(a\\)\\(\\\\)", "a)(\\"}, Case{"(\\101\\7x\\0529)", "A\7x*9"},
                        Case{"(a\\\r\nb\r\nc\rd)", "ab\nc\nd"}, Case{"(\\n\\q)", "\nq"}, Case{"<41 4>", "A@"},
                        Case{"<>", ""}, Case{"()", ""}}) {
    Tokenizer tokens(view(c.text));
    const Token token = tokens.next();
    ASSERT_TRUE(token.isString()) << c.text;
    std::string value;
    appendStringValue(token, value);
    EXPECT_EQ(value, c.value) << c.text;
  }
}

TEST(Tokenizer, resolvesNameEscapes) {
  Tokenizer tokens(view("/A#20B#4 /#00 /"));
  EXPECT_EQ(nameValue(tokens.next()), std::string("A B\0004", 5));
  EXPECT_EQ(nameValue(tokens.next()), std::string("\00000", 3));
  EXPECT_EQ(nameValue(tokens.next()), "");
}

TEST(Tokenizer, tellsDamage) {
  for (const char* sound : {"(a) Tj", "<41>", "[ ]", "%)\n"}) {
    EXPECT_FALSE(damaged(sound)) << sound;
  }
  for (const char* broken : {"(a", "<41", ")", "a > b", "{", "<4G>", "(a\\"}) {
    EXPECT_TRUE(damaged(broken)) << broken;
  }
}

TEST(ContentReader, givesOperandsAndOperators) {
  const std::string content = "q [1 2] 0 d /GS gs true null x Q 5";
  ContentReader reader(view(content));
  Instruction in;
  std::vector<std::string> seen;
  while (reader.next(in)) {
    seen.push_back(std::string(in.keyword.text()) + std::to_string(in.operands.size()) +
                   (in.op == Op::unknown ? "?" : ""));
  }
  EXPECT_THAT(seen, ElementsAre("q0", "d5", "gs1", "x2?", "Q0"));
  EXPECT_FALSE(reader.damaged());
}

TEST(ContentReader, tellsBrokenNesting) {
  for (const char* broken : {"[(a) Tj", "[ 1 0 d", "] 0 d", "<< /A 1 gs", "[[1] 0 d", "BI /W 1 EI q", "BI /W 1"}) {
    ContentReader reader(view(broken));
    Instruction in;
    while (reader.next(in)) {
    }
    EXPECT_TRUE(reader.damaged()) << broken;
  }
}

TEST(ContentReader, isNotDeepInItsOwnStack) {
  std::string content;
  for (int i = 0; i < 200000; ++i) {
    content += "BI EI ";
  }
  ContentReader reader(view(content));
  Instruction in;
  EXPECT_FALSE(reader.next(in));
}

struct ImageCase {
  const char* what;
  std::string content;
  std::string data;
};

TEST(ContentReader, findsInlineImageData) {
  const std::string tricky("\x01 EI Q \x02\xff ", 9);  // 9 bytes that hold something like an end
  const ImageCase cases[] = {
      {"computed length", "BI /W 9 /H 1 /BPC 8 /CS /G ID " + tricky + "\nEI Q", tricky},
      {"computed length of a mask", "BI /W 17 /H 3 /IM true ID " + tricky + " EI Q", tricky},
      {"nothing between data and end", "BI /W 9 /H 1 /BPC 8 /CS /G ID " + tricky + "EI Q", tricky},
      {"length of PDF 2.0", "BI /W 99 /H 9 /BPC 8 /CS /G /F /Fl /L 9 ID " + tricky + "\nEI Q", tricky},
      {"looked for", "BI /W 4 /H 1 /BPC 8 /CS /CS0 /F /RL ID ab EI\x80\x81 EI Q", "ab EI\x80\x81"},
      {"hexadecimal", "BI /W 1 /H 1 /BPC 8 /CS /G /F /AHx ID 41>EI Q", "41>"},
      {"end of stream", "BI /W 1 /H 1 /BPC 8 /CS /X /F /RL ID abc\nEI", "abc"},
  };
  for (const ImageCase& c : cases) {
    ContentReader reader(view(c.content));
    Instruction in;
    ASSERT_TRUE(reader.next(in)) << c.what;
    ASSERT_EQ(in.op, Op::beginInlineImage) << c.what;
    EXPECT_EQ(std::string(in.imageData.begin(), in.imageData.end()), c.data) << c.what;
    EXPECT_FALSE(reader.damaged()) << c.what;
    if (c.content.back() == 'Q') {
      ASSERT_TRUE(reader.next(in)) << c.what;
      EXPECT_EQ(in.op, Op::restore) << c.what;
    }
  }
}

TEST(ContentReader, findsKeysOfInlineImages) {
  const std::string content = "BI /D[1 0]/Width 3/CS[/Indexed /DeviceRGB 1 <000000ffffff>]/BPC 1 ID x\nEI";
  ContentReader reader(view(content));
  Instruction in;
  ASSERT_TRUE(reader.next(in));
  EXPECT_EQ(in.operands[inlineImageValue(in, "W", "Width")].text(), "3");
  EXPECT_EQ(in.operands[inlineImageValue(in, "BPC", "BitsPerComponent")].text(), "1");
  EXPECT_EQ(in.operands[inlineImageValue(in, "CS", "ColorSpace") + 1].text(), "/Indexed");
  EXPECT_EQ(inlineImageValue(in, "F", "Filter"), std::string_view::npos);
}

}  // namespace
}  // namespace optimizer::content
