// Every rule of the three readers, one table per form.
#include "platform/property_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "platform/linux/property_list_forms.h"
#include "platform/utf8.h"

namespace platform {
namespace {

using std::string;
using namespace std::string_literals;

std::vector<std::uint8_t> bytesOf(const string& text) { return {text.begin(), text.end()}; }
Result<PropertyList> parse(const string& text) { return parsePropertyList(bytesOf(text)); }

// A short text of a value, for tables: i5, r2.5, t"a", d<00ff>, D0, b1, [..], {a:..}, other.
string shown(const PropertyList& list) {
  struct Show {
    string operator()(bool flag) const { return flag ? "b1" : "b0"; }
    string operator()(std::int64_t number) const { return "i" + std::to_string(number); }
    string operator()(std::uint64_t number) const { return "u" + std::to_string(number); }
    string operator()(double number) const {
      char buffer[40];
      std::snprintf(buffer, sizeof buffer, "r%.17g", number);
      return buffer;
    }
    string operator()(const string& text) const { return "\"" + text + "\""; }
    string operator()(const PropertyListData& data) const {
      string result = "<";
      for (const std::uint8_t byte : data.bytes) {
        char buffer[4];
        std::snprintf(buffer, sizeof buffer, "%02x", byte);
        result += buffer;
      }
      return result + ">";
    }
    string operator()(const PropertyListDate& date) const { return "D" + std::to_string(std::llround(date.seconds)); }
    string operator()(const std::shared_ptr<const PropertyListArray>& items) const {
      string result = "[";
      for (const PropertyList& item : *items) result += (result.size() > 1 ? "," : "") + shown(item);
      return result + "]";
    }
    string operator()(const std::shared_ptr<const PropertyListDictionary>& entries) const {
      string result = "{";
      for (const auto& [key, value] : *entries) result += (result.size() > 1 ? "," : "") + key + ":" + shown(value);
      return result + "}";
    }
    string operator()(const PropertyListOther&) const { return "other"; }
  };
  return std::visit(Show{}, list.value());
}

struct Row {
  string text;
  string expected;  // "" for an error
};

string outcome(const Result<PropertyList>& result) {
  if (result) return shown(*result);
  EXPECT_EQ(result.error().domain, "NSCocoaErrorDomain");
  EXPECT_EQ(result.error().code, 3840);
  EXPECT_EQ(result.error().localizedDescription(),
            "The data couldn’t be read because it isn’t in the correct format.");
  return "";
}

template <typename Reader>
void expectRows(const std::vector<Row>& rows, Reader reader) {
  for (const Row& row : rows) EXPECT_EQ(outcome(reader(row.text)), row.expected) << row.text;
}

string nested(int levels, const string& open, const string& inner, const string& close) {
  string text;
  for (int i = 0; i < levels; ++i) text += open;
  text += inner;
  for (int i = 0; i < levels; ++i) text += close;
  return text;
}

TEST(PropertyListDetection, tellsTheFormByItself) {
  expectRows(
      {
          {"", ""},
          {" \n", "{}"},
          {"// only a comment", "{}"},
          {"/* open comment", "{}"},
          {"word", "\"word\""},
          {"'a b'", "\"a b\""},
          {"<array/>", "[]"},
          {"  \n<plist><true/></plist>", "b1"},
          {"<0a ff>", "<0aff>"},  // no XML, so old text
          {"bplist00", "\"bplist00\""},
          {"bplist00 and more that is nothing", ""},
          {"[1, 2]", ""},
          {"{\"a\": 1}", ""},
      },
      parse);
}

TEST(PropertyListDetection, reportsTheXmlErrorWithTheOldTextErrorInIt) {
  const Result<PropertyList> result = parse("<array><integer>x</integer></array>");
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().description(), testing::HasSubstr("\"Bad element integer"));
  EXPECT_THAT(result.error().description(), testing::HasSubstr("kCFPropertyListOldStyleParsingError=Error Domain="));
  EXPECT_THAT(result.error().description(), testing::Not(testing::HasSubstr("\n")));
}

TEST(PropertyListEncoding, followsMarksThenTheDeclarationThenUtf8) {
  const string latin = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xE9</string>";
  const string shiftJis = "<?xml version='1.0' encoding='Shift_JIS'?><string>\x82\xA0</string>";
  expectRows(
      {
          {"\xEF\xBB\xBF<string>é</string>", "\"é\""},
          {"\xEF\xBB\xBF a = b;", "{a:\"b\"}"},
          {latin, "\"é\""},
          {shiftJis, "\"あ\""},
          {"<?xml version=\"1.0\" encoding=\"utf-8\"?><string>é</string>", "\"é\""},
          {"<?xml version=\"1.0\" encoding=\"no-such\"?><string>e</string>", ""},
          {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>e</string>", ""},
          {"<string>\xE9</string>", ""},
          {"a = \"\xE9\";", ""},
          {"a = b; // \xE9", ""},
          {"\xFF\xFE(\0a\0)\0"s, "[\"a\"]"},
          {"\xFE\xFF\0(\0a\0)"s, "[\"a\"]"},
          {"\xFF\xFE\0\0(\0\0\0a\0\0\0)\0\0\0"s, "[\"a\"]"},
          {"\0\0\xFE\xFF\0\0\0(\0\0\0a\0\0\0)"s, "[\"a\"]"},
          {"(\0a\0)\0"s, ""},                     // UTF-16 without its mark
          {"<\0a\0r\0r\0a\0y\0/\0>\0"s, ""},      // which an XML reader alone would take
          {"\xFF\xFE\0\xD8"s, ""},                // half of a pair
          {"\xFF\xFE", ""},
      },
      parse);
}

TEST(OldTextForm, acceptsAndRejects) {
  const auto reader = [](const string& text) { return parseOldTextPropertyList(text); };
  expectRows(
      {
          // blanks and comments
          {"\t\n\v\f\r \u2028\u2029word", "\"word\""},
          {"\u00A0word", ""},
          {"(a, // b, )\n c)", "[\"a\",\"c\"]"},
          {"(a /* b */, c)", "[\"a\",\"c\"]"},
          {"(a) /* open", "[\"a\"]"},
          {"(a) # no comment", ""},
          {"(a) // end", "[\"a\"]"},
          // unquoted and quoted texts
          {"AZaz09_$/:.-", "\"AZaz09_$/:.-\""},
          {"a+b", ""},
          {"\"a\nb\"", "\"a\nb\""},
          {"'a\"b'", "\"a\"b\""},
          {"\"a", ""},
          {"\"a\\", ""},
          {"\"é\"", "\"é\""},
          {"é", ""},
          // escapes
          {R"("\a\b\f\n\r\t\v\"\\")", "\"\a\b\f\n\r\t\v\"\\\""},
          {"\"a\\\nb\"", "\"a\nb\""},
          {R"("\341")", "\"Æ\""},
          {R"("\101\60\0601")", "\"A001\""},
          {R"("\501")", "\"A\""},  // 321 modulo 256
          {R"("\8")", "\"8\""},
          {R"("\U00e9\Ue9")", "\"éé\""},
          {R"("\Ud83d\Ude00")", "\"😀\""},
          {R"("\Ud83d")", "\"\uFFFD\""},
          {R"("\U00e91")", "\"é1\""},
          {R"("\u00e9\x\'")", "\"u00e9x'\""},
          {"\"\\é\"", "\"é\""},
          // arrays
          {"()", "[]"},
          {"( a , b , )", "[\"a\",\"b\"]"},
          {"(,a)", ""},
          {"(a,,b)", ""},
          {"(a b)", ""},
          {"(a", ""},
          {"(a,", ""},
          // dictionaries
          {"{}", "{}"},
          {"{ k = v ; }", "{k:\"v\"}"},
          {"{ 'k k' = (a); }", "{k k:[\"a\"]}"},
          {"{ k = v }", ""},
          {"{ k; }", "{k:\"k\"}"},
          {"{ k = v;; }", ""},
          {"{ k = a; k = b; }", "{k:\"b\"}"},
          {"{ k = ; }", ""},
          {"{ k v; }", ""},
          {"{ (a) = b; }", ""},
          {"{ k = v;", ""},
          {"{ k", ""},
          {"{", ""},
          // data
          {"<>", "<>"},
          {"< 0fBD\n77 >", "<0fbd77>"},
          {"<0 f>", ""},
          {"<0>", ""},
          {"<0g>", ""},
          {"<00 /* c */ 01>", ""},
          {"<00", ""},
          {"<*I5>", ""},
          // strings files
          {"a = b; c = {d = e;};", "{a:\"b\",c:{d:\"e\"}}"},
          {"a; b;", "{a:\"a\",b:\"b\"}"},
          {"a = b; ) junk", "{a:\"b\"}"},
          {"'a' = <00>;", "{a:<00>}"},
          {"a = b", ""},
          {"a b", ""},
          {"a = b; \"open", ""},
          // trailing text, no other types
          {"(a) b", ""},
          {"{a=b;} }", ""},
          {"{ n = 1; t = YES; d = 2020-01-01; }", "{d:\"2020-01-01\",n:\"1\",t:\"YES\"}"},
      },
      reader);
}

TEST(OldTextForm, is513LevelsDeepAtMost) {
  EXPECT_TRUE(parseOldTextPropertyList(nested(513, "(", "", ")")));
  EXPECT_FALSE(parseOldTextPropertyList(nested(514, "(", "", ")")));
  EXPECT_TRUE(parseOldTextPropertyList(nested(513, "{a=", "b", ";}")));
  EXPECT_FALSE(parseOldTextPropertyList(nested(514, "{a=", "b", ";}")));
  EXPECT_FALSE(parseOldTextPropertyList(string(1000000, '(')));
}

TEST(OldTextForm, mapsOctalEscapesByNextStepLatin) {
  EXPECT_EQ(outcome(parse(R"("\200\375\376\377")")), "\"\u00A0ÿ\uFFFD\uFFFD\"");
  EXPECT_EQ(outcome(parse(R"("\177\246\361\255")")), "\"\x7Fƒæ\u203A\"");
}

TEST(XmlForm, acceptsAndRejects) {
  const auto reader = [](const string& text) { return parseXmlPropertyList(text); };
  const string doctype = "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://x/y.dtd\">";
  expectRows(
      {
          // frame
          {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>" + doctype + "<plist version=\"1.0\"><dict/></plist>", "{}"},
          {doctype + "<array/>", "[]"},
          {"<plist></plist>", ""},
          {"<plist/>", ""},
          {"<plist><true/><true/></plist>", ""},
          {"<plist><plist><true/></plist></plist>", ""},
          {"<plist>text<true/></plist>", ""},
          {"<plist><true/>", ""},
          {"<true/> anything & <<", "b1"},
          {"<plist><true/></plist><junk>", "b1"},
          {"<TRUE/>", ""},
          {"<dict a='1' b=\"2\"/>", "{}"},
          {"<other/>", ""},
          {"<!DOCTYPE plist [<!ENTITY a 'b'>]><string>&a;</string>", ""},
          {"<!DOCTYPE plist []><true/>", ""},
          {doctype + "<string>&unknown;</string>", ""},
          {"", ""},
          {"text", ""},
          // texts
          {"<string/>", "\"\""},
          {"<string></string>", "\"\""},
          {"<string> a\nb </string>", "\" a\nb \""},
          {"<string>&lt;&gt;&amp;&apos;&quot;&#65;&#x42;</string>", "\"<>&'\"AB\""},
          {"<string>&nbsp;</string>", ""},
          {"<string>&#0;</string>", ""},
          {"<string><![CDATA[<a>]]></string>", "\"<a>\""},
          {"<string>a<!-- c -->b</string>", ""},
          {"<string>a<?c?>b</string>", ""},
          {"<string><b/></string>", ""},
          {"<key>k</key>", "\"k\""},
          // containers
          {"<!-- c --><array><!-- c --><true/> <false/></array>", "[b1,b0]"},
          {"<array>x</array>", ""},
          {"<dict><key>a</key><true/><key>b</key><array/></dict>", "{a:b1,b:[]}"},
          {"<dict><key>a</key><true/><key>a</key><false/></dict>", "{a:b0}"},
          {"<dict><key/><true/></dict>", "{:b1}"},
          {"<dict><key>a</key></dict>", ""},
          {"<dict><true/></dict>", ""},
          {"<dict><key>a</key><key>b</key></dict>", "{a:\"b\"}"},
          {"<dict><key>a</key><true/><true/></dict>", ""},
          {"<dict><key>CF$UID</key><integer>5</integer></dict>", "other"},
          // integers
          {"<integer> \n+5</integer>", "i5"},
          {"<integer>- 5</integer>", "i-5"},
          {"<integer>0x1F</integer>", "i31"},
          {"<integer>-0x1f</integer>", "i-31"},
          {"<integer>0007</integer>", "i7"},
          {"<integer>-9223372036854775808</integer>", "i-9223372036854775808"},
          {"<integer>9223372036854775807</integer>", "i9223372036854775807"},
          {"<integer>9223372036854775808</integer>", "u9223372036854775808"},
          {"<integer>18446744073709551615</integer>", "u18446744073709551615"},
          {"<integer>18446744073709551616</integer>", ""},
          {"<integer>-9223372036854775809</integer>", ""},
          {"<integer>5 </integer>", ""},
          {"<integer>1.5</integer>", ""},
          {"<integer>1e3</integer>", ""},
          {"<integer></integer>", ""},
          {"<integer/>", ""},
          {"<integer>-</integer>", ""},
          {"<integer>0x</integer>", ""},
          {"<integer>abc</integer>", ""},
          // reals
          {"<real> 1.5</real>", "r1.5"},
          {"<real>.5</real>", "r0.5"},
          {"<real>5.</real>", "r5"},
          {"<real>-1e3</real>", "r-1000"},
          {"<real>+1E-2</real>", "r0.01"},
          {"<real>NaN</real>", "rnan"},
          {"<real>-INF</real>", "r-inf"},
          {"<real>+Infinity</real>", "rinf"},
          {"<real>1e999</real>", "rinf"},
          {"<real>-1e999</real>", "r-inf"},
          {"<real>1e-999</real>", "r0"},
          {"<real>1.5 </real>", ""},
          {"<real>0x10</real>", ""},
          {"<real>1,5</real>", ""},
          {"<real></real>", ""},
          {"<real>.</real>", ""},
          {"<real>1e</real>", ""},
          {"<real>1.5f</real>", ""},
          {"<real>+-1</real>", ""},
          // dates
          {"<date>2001-01-01T00:00:00Z</date>", "D0"},
          {"<date>2000-12-31T23:59:59Z</date>", "D-1"},
          {"<date>2001-13-01T25:00:61Z</date>", "D31626061"},
          {"<date>2001-01-01T00:00:00.5Z</date>", ""},
          {"<date>2001-01-01T00:00:00+01:00</date>", ""},
          {"<date>2001-01-01T00:00:00</date>", ""},
          {"<date> 2001-01-01T00:00:00Z</date>", ""},
          {"<date>2001-01-01T00:00:0xZ</date>", ""},
          {"<date/>", ""},
          // flags
          {"<true></true>", "b1"},
          {"<false/>", "b0"},
          {"<true> </true>", ""},
          {"<false>no</false>", ""},
          // data
          {"<data>AAEC/w==</data>", "<000102ff>"},
          {"<data>\n\tAA EC * /w= =\n</data>", "<000102ff>"},
          {"<data>AAECA</data>", "<000102>"},
          {"<data>AAE=</data>", "<0001>"},
          {"<data></data>", "<>"},
          {"<data/>", ""},
          {"<data>AAé</data>", ""},
      },
      reader);
}

TEST(XmlForm, is512LevelsDeepAtMost) {
  EXPECT_TRUE(parseXmlPropertyList(nested(512, "<array>", "<true/>", "</array>")));
  EXPECT_FALSE(parseXmlPropertyList(nested(513, "<array>", "<true/>", "</array>")));
  EXPECT_TRUE(parseXmlPropertyList("<plist>" + nested(512, "<array>", "<true/>", "</array>") + "</plist>"));
  EXPECT_FALSE(parseXmlPropertyList("<plist>" + nested(513, "<array>", "<true/>", "</array>") + "</plist>"));
  EXPECT_FALSE(parse(nested(100000, "<array>", "", "</array>")));
}

TEST(XmlForm, holdsNoMoreValuesThanItsBound) {
  EXPECT_FALSE(parseXmlPropertyList("<array>" + nested(static_cast<int>(mostValues), "<true/>", "", "") + "</array>"));
}

// Builds the binary form: objects are given as bytes, references in them are one byte.
class Binary {
 public:
  Binary& add(const string& object) {
    offsets_.push_back(8 + objects_.size());
    objects_ += object;
    return *this;
  }
  string bytes(int top = 0) const { return bytes(top, 2, 1, offsets_.size()); }
  string bytes(int top, int offsetSize, int referenceSize, std::size_t count) const {
    string result = "bplist00" + objects_;
    for (const std::size_t offset : offsets_) result += bigEndian(offset, offsetSize);
    result += "\0\0\0\0\0\0"s;
    result += static_cast<char>(offsetSize);
    result += static_cast<char>(referenceSize);
    return result + bigEndian(count, 8) + bigEndian(static_cast<std::uint64_t>(top), 8) + bigEndian(8 + objects_.size(), 8);
  }
  static string bigEndian(std::uint64_t number, int size) {
    string result;
    for (int i = size - 1; i >= 0; --i) result += static_cast<char>(number >> (8 * i));
    return result;
  }

 private:
  string objects_;
  std::vector<std::size_t> offsets_;
};

string one(const string& object) { return Binary().add(object).bytes(); }

Result<PropertyList> parseBinary(const string& text) { return parseBinaryPropertyList(bytesOf(text)); }

TEST(BinaryForm, readsEveryKindOfObject) {
  expectRows(
      {
          {one("\x00"s), "other"},
          {one("\x08"), "b0"},
          {one("\x09"), "b1"},
          {one("\x0F"), ""},
          {one("\x10\xFF"), "i255"},
          {one("\x11\xFF\xFE"), "i65534"},
          {one("\x12\xFF\xFF\xFF\xFE"), "i4294967294"},
          {one("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"), "i-2"},
          {one("\x14" + Binary::bigEndian(0, 8) + Binary::bigEndian(~0ull, 8)), "u18446744073709551615"},
          {one("\x14" + Binary::bigEndian(0, 8) + Binary::bigEndian(7, 8)), "i7"},
          {one("\x14" + Binary::bigEndian(~0ull, 8) + Binary::bigEndian(~0ull, 8)), "i-1"},
          {one("\x14" + Binary::bigEndian(1, 8) + Binary::bigEndian(0, 8)), "r1.8446744073709552e+19"},
          {one("\x15" + string(32, '\0')), ""},
          {one("\x22\x3F\x00\x00\x00"s), "r0.5"},
          {one("\x23" + Binary::bigEndian(std::bit_cast<std::uint64_t>(2.5), 8)), "r2.5"},
          {one("\x21\x00\x00"s), ""},
          {one("\x33" + Binary::bigEndian(std::bit_cast<std::uint64_t>(60.0), 8)), "D60"},
          {one("\x32\x00\x00\x00\x00"s), ""},
          {one("\x42\x01\xFF"), "<01ff>"},
          {one("\x52" "a\xE9"), "\"aé\""},
          {one("\x62\x00\xE9\x20\x26"s), "\"é…\""},
          {one("\x62\xD8\x3D\xDE\x00"s), "\"😀\""},
          {one("\x61\xD8\x3D"), "\"\uFFFD\""},
          {one("\x71" "a"), ""},
          {one("\x80\x05"), "other"},
          {one("\x88" + string(9, '\1')), ""},
          {one("\xA0"), "[]"},
          {one("\xB0"), ""},
          {one("\xC0"), "other"},
          {one("\xD0"), "{}"},
          {one("\xE0"), ""},
          {one("\x5F\x10\x03" "abc"), "\"abc\""},
          {one("\x5F\x11\x00\x03" "abc"s), "\"abc\""},
          {one("\x5F\x14" + string(16, '\0')), ""},
          {one("\x5F\x20\x03" "abc"), ""},
          {one("\x5F"), ""},
          {one("\x5F\x13\x00"s), ""},
          // content that reaches beyond the objects
          {one("\x12\x00"s), ""},
          {one("\x23\x00"s), ""},
          {one("\x33\x00"s), ""},
          {one("\x45\x00"s), ""},
          {one("\x63\x00"s), ""},
          {one("\x81"), ""},
          {one("\xA5\x00"s), ""},
          {one("\x4F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), ""},
          {one("\xDF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), ""},
      },
      parseBinary);
}

TEST(BinaryForm, readsContainers) {
  expectRows(
      {
          {Binary().add("\xA2\x01\x01").add("\x09").bytes(), "[b1,b1]"},
          {Binary().add("\x09").add("\xA1\x00"s).bytes(1), "[b1]"},
          {Binary().add("\xD2\x01\x02\x03\x03").add("\x51" "a").add("\x51" "b").add("\x09").bytes(), "{a:b1,b:b1}"},
          {Binary().add("\xD2\x01\x01\x02\x03").add("\x51" "a").add("\x09").add("\x08").bytes(), "{a:b1}"},
          {Binary().add("\xD1\x01\x02").add("\x10\x05").add("\x09").bytes(), "other"},
          {Binary().add("\xD1\x01\x02").add("\xA0").add("\x09").bytes(), ""},
          {Binary().add("\xD1\x01\x05").add("\x51" "a").bytes(), ""},
          {Binary().add("\xC1\x01").add("\x09").bytes(), "other"},
          {Binary().add("\xA1\x01").add("\x0F").bytes(), ""},
          {Binary().add("\xA1\x00"s).bytes(), ""},                             // within itself
          {Binary().add("\xA1\x01").add("\xA1\x00"s).bytes(), ""},             // by a detour
          {Binary().add("\xA1\x02").add("\x09").bytes(), ""},                  // no such object
      },
      parseBinary);
}

TEST(BinaryForm, checksItsFrame) {
  const Binary plain = Binary().add("\x09");
  const string good = plain.bytes();
  string trailing = good + "x";
  string otherVersion = good;
  otherVersion[7] = '7';
  string farOffset = good;
  farOffset[9] = '\x7F';
  string lowOffset = good;
  lowOffset[10] = '\x02';
  expectRows(
      {
          {good, "b1"},
          {otherVersion, "b1"},
          {plain.bytes(0, 8, 8, 1), "b1"},
          {plain.bytes(0, 3, 1, 1), "b1"},
          {trailing, ""},
          {farOffset, ""},
          {lowOffset, ""},
          {plain.bytes(1), ""},
          {plain.bytes(0, 2, 1, 0), ""},
          {plain.bytes(0, 2, 1, 2), ""},
          {plain.bytes(0, 2, 0, 1), ""},
          {plain.bytes(0, 2, 9, 1), ""},
          {plain.bytes(0, 2, 1, std::size_t{1} << 63), ""},
          {good.substr(0, 20), ""},
          {good.substr(1), ""},
      },
      parseBinary);
  EXPECT_FALSE(parse("\xEF\xBB\xBF" + good));
  EXPECT_EQ(outcome(parse(otherVersion)), "b1");
}

// An array of arrays of … , each referring twice to the next.
string bomb(int levels) {
  Binary binary;
  for (int i = 0; i + 1 < levels; ++i) {
    const char next = static_cast<char>(i + 1);
    binary.add({'\xA2', next, next});
  }
  return binary.add("\xA0").bytes();
}

TEST(BinaryForm, sharesSharedReferences) {
  const Result<PropertyList> list = parse(bomb(200));
  ASSERT_TRUE(list);
  const PropertyListArray& items = *list->arrayItems();
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].arrayItems(), items[1].arrayItems());
}

TEST(BinaryForm, boundsWhatSharedTextsGrowTo) {
  Binary binary;
  binary.add("\xAF\x12\x00\x01\x00\x00"s + string(65536, '\1'));
  binary.add("\x5F\x12\x00\x10\x00\x00"s + string(1 << 20, 'x'));
  EXPECT_FALSE(parse(binary.bytes(0, 4, 1, 2)));
}

// A chain of arrays with references of two bytes; each link holds the next, the last is empty. Object 0 is the top.
string chain(int levels) {
  Binary binary;
  for (int i = 0; i + 1 < levels; ++i) binary.add("\xA1" + Binary::bigEndian(static_cast<std::uint64_t>(i) + 1, 2));
  return binary.add("\xA0").bytes(0, 2, 2, static_cast<std::size_t>(levels));
}

TEST(BinaryForm, is512LevelsDeepAtMost) {
  EXPECT_TRUE(parse(chain(512)));
  EXPECT_FALSE(parse(chain(513)));
  EXPECT_FALSE(parse(chain(10000)));
}

TEST(BinaryForm, cannotStackSharedValuesDeeper) {
  // Object 1 heads a chain of 300; object 301 heads a chain of 300 whose last holds object 1 once more.
  Binary binary;
  binary.add("\xA2" + Binary::bigEndian(1, 2) + Binary::bigEndian(301, 2));
  for (int i = 1; i < 300; ++i) binary.add("\xA1" + Binary::bigEndian(static_cast<std::uint64_t>(i) + 1, 2));
  binary.add("\xA0");
  for (int i = 301; i < 600; ++i) binary.add("\xA1" + Binary::bigEndian(static_cast<std::uint64_t>(i) + 1, 2));
  binary.add("\xA1" + Binary::bigEndian(1, 2));
  EXPECT_FALSE(parse(binary.bytes(0, 2, 2, 601)));
}

TEST(PropertyListNumbers, convertOnlyWhatIsExact) {
  const auto integerOf = [](PropertyList::Value value) -> std::optional<std::int64_t> {
    std::int64_t result = 0;
    if (!PropertyList(std::move(value)).integer(result)) return std::nullopt;
    return result;
  };
  EXPECT_EQ(integerOf(true), 1);
  EXPECT_EQ(integerOf(std::int64_t{-3}), -3);
  EXPECT_EQ(integerOf(1e10), 10000000000);
  EXPECT_EQ(integerOf(2.5), std::nullopt);
  EXPECT_EQ(integerOf(-0.0), std::nullopt);
  EXPECT_EQ(integerOf(std::nan("")), std::nullopt);
  EXPECT_EQ(integerOf(0x1p63), std::nullopt);
  EXPECT_EQ(integerOf(~std::uint64_t{0}), std::nullopt);
  EXPECT_EQ(integerOf(string("1")), std::nullopt);

  double number = 0;
  EXPECT_TRUE(PropertyList(PropertyList::Value(~std::uint64_t{0})).number(number));
  EXPECT_EQ(number, 0x1p64);
  EXPECT_TRUE(PropertyList(PropertyList::Value(false)).number(number));
  EXPECT_EQ(number, 0);
  EXPECT_FALSE(PropertyList(PropertyList::Value(string("1"))).number(number));
  EXPECT_FALSE(PropertyList().number(number));
}

TEST(XmlWriter, writesWhatTheReaderReadsBack) {
  using Value = PropertyList::Value;
  const PropertyList list = PropertyList::dictionary({
      {"array", PropertyList::array({PropertyList(Value(true)), PropertyList(Value(false))})},
      {"data", PropertyList(Value(PropertyListData{{0, 1, 2, 255}}))},
      {"date", PropertyList(Value(PropertyListDate{-86400}))},
      {"early", PropertyList(Value(PropertyListDate{-63113904000}))},
      {"late", PropertyList(Value(PropertyListDate{252423993599}))},
      {"empty", PropertyList(Value(PropertyListData{}))},
      {"int", PropertyList(Value(std::int64_t{-5}))},
      {"large", PropertyList(Value(~std::uint64_t{0}))},
      {"real", PropertyList(Value(0.1))},
      {"nan", PropertyList(Value(std::nan("")))},
      {"inf", PropertyList(Value(-HUGE_VAL))},
      {"a <&> \r\n\t\"'", PropertyList(Value(string("é <&> \r\n")))},
  });
  const Result<string> text = writeXmlPropertyList(list);
  ASSERT_TRUE(text);
  EXPECT_EQ(outcome(parse(*text)), shown(list));
}

TEST(XmlWriter, refusesWhatCannotBeReadBack) {
  using Value = PropertyList::Value;
  for (const string& text : {"\x01"s, "\0"s, "\xFF"s, "\xC0\x80"s, "\xED\xA0\x80"s, "\xEF\xBF\xBF"s, "\xF4\x90\x80\x80"s}) {
    EXPECT_FALSE(writeXmlPropertyList(PropertyList(Value(text))));
    EXPECT_FALSE(writeXmlPropertyList(PropertyList::dictionary({{text, PropertyList(Value(true))}})));
  }
  for (const double seconds : {-1e12, 1e12, 1e300, std::nan("")})
    EXPECT_FALSE(writeXmlPropertyList(PropertyList(Value(PropertyListDate{seconds}))));
  const Result<PropertyList> deepest = parse(nested(513, "(", "", ")"));
  ASSERT_TRUE(deepest);
  EXPECT_FALSE(writeXmlPropertyList(*deepest));
  EXPECT_TRUE(writeXmlPropertyList(deepest->arrayItems()->front()));
  EXPECT_FALSE(writeXmlPropertyList(PropertyList()));
  EXPECT_FALSE(writeXmlPropertyList(PropertyList::array({PropertyList()})));
  const Result<PropertyList> shared = parse(bomb(100));
  ASSERT_TRUE(shared);
  EXPECT_FALSE(writeXmlPropertyList(*shared));
}

TEST(Utf8, isCheckedToTheLetter) {
  for (const string& text : {""s, "a\0b"s, "é"s, "\u0800\uD7FF\uE000\uFFFD"s, "\U00010000\U0010FFFF"s})
    EXPECT_TRUE(isValidUtf8(text));
  for (const string& text : {"\x80"s, "\xC1\xBF"s, "\xC3"s, "\xE0\x9F\xBF"s, "\xE2\x82"s, "\xF0\x8F\xBF\xBF"s, "\xF5\x80\x80\x80"s,
                             "\xC3("s, "\xED\xBF\xBF"s})
    EXPECT_FALSE(isValidUtf8(text));
}

}  // namespace
}  // namespace platform
