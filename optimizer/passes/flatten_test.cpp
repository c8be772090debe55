#include <gtest/gtest.h>

#include <set>

#include <qpdf/QPDFEFStreamObjectHelper.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>

#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string ref(int number) { return PdfBuilder::ref(number); }

Settings flattening(std::uint32_t bits) {
  Settings settings;
  settings.strip = bits;
  return settings;
}

std::string pageContent(Document& document) {
  QPDFObjectHandle contents = QPDFObjectHandle(document.pages()[0]).getKey("/Contents");
  std::string out;
  const auto add = [&](QPDFObjectHandle part) {
    const Result<Bytes> data = decodedStreamData(part);
    if (data.ok()) out += std::string(data->begin(), data->end()) + "\n";
  };
  if (contents.isArray()) {
    for (QPDFObjectHandle part : contents.getArrayAsVector()) add(part);
  } else {
    add(contents);
  }
  return out;
}

// A text field, a link with a border and a stamp, all on one page with a form.
std::unique_ptr<Document> threeKinds() {
  PdfBuilder builder;
  const int appearance = builder.addStream("/Subtype /Form /BBox [0 0 10 10]", "0 0 10 10 re f");
  const int field = builder.addObject("<< /Type /Annot /Subtype /Widget /FT /Tx /T (a) /V (hello) /Rect [0 0 20 20] "
                                      "/AP << /N " + ref(appearance) + " >> >>");
  const int link = builder.addObject("<< /Type /Annot /Subtype /Link /Rect [30 30 50 50] /C [1 0 0] >>");
  const int stamp = builder.addObject("<< /Type /Annot /Subtype /Stamp /Rect [100 100 120 140] /AP << /N " +
                                      ref(appearance) + " >> >>");
  builder.addPage("q 2 0 0 2 0 0 cm q", "<< >>",
                  "/Annots [ " + ref(field) + " " + ref(link) + " " + ref(stamp) + " ]");
  builder.addToCatalog("/AcroForm << /Fields [ " + ref(field) + " ] >>");
  return builder.open();
}

TEST(Flatten, DrawsOnlyTheKindsThatAreAskedFor) {
  struct Case {
    std::uint32_t bits;
    int kept;
    bool form;
  };
  for (const Case& c : {Case{flattenFormFields, 2, false}, Case{flattenLinks, 2, true},
                        Case{flattenOtherAnnotations, 2, true},
                        Case{flattenFormFields | flattenLinks | flattenOtherAnnotations, 0, false}}) {
    const auto document = threeKinds();
    EXPECT_EQ(runPass(*document, makeFlattenPass(), flattening(c.bits)), PassOutcome::changed);
    QPDFObjectHandle annotations = QPDFObjectHandle(document->pages()[0]).getKey("/Annots");
    EXPECT_EQ(annotations.isArray() ? annotations.getArrayNItems() : 0, c.kept);
    EXPECT_EQ(document->pdf().getRoot().hasKey("/AcroForm"), c.form);
  }
}

TEST(Flatten, DrawsAppearancesIntoTheirRectanglesOnABalancedState) {
  const auto document = threeKinds();
  runPass(*document, makeFlattenPass(), flattening(flattenOtherAnnotations));
  const std::string content = pageContent(*document);
  // The page leaves two states open; the stamp's 10 by 10 box becomes 20 by 40 at 100, 100.
  EXPECT_EQ(content.substr(0, 2), "q ");
  EXPECT_NE(content.find("Q Q Q"), std::string::npos);
  EXPECT_NE(content.find("2 0 0 4 100 100 cm"), std::string::npos) << content;
}

TEST(Flatten, DrawsTheBorderOfALinkInItsColour) {
  const auto document = threeKinds();
  runPass(*document, makeFlattenPass(), flattening(flattenLinks));
  QPDFObjectHandle objects = QPDFObjectHandle(document->pages()[0]).getKey("/Resources").getKey("/XObject");
  ASSERT_EQ(objects.getKeys().size(), 1u);
  const Result<Bytes> data = decodedStreamData(objects.getKey(*objects.getKeys().begin()));
  ASSERT_TRUE(data.ok());
  EXPECT_EQ(std::string(data->begin(), data->end()), "1 0 0 RG\n1 w\n30.5 30.5 19 19 re\nS\n");
}

TEST(Flatten, DrawsNothingThatAScreenDoesNotShow) {
  for (const char* extra : {"/F 2", "/F 32", "/Subtype /Popup"}) {
    PdfBuilder builder;
    const int appearance = builder.addStream("/Subtype /Form /BBox [0 0 10 10]", "0 0 10 10 re f");
    const std::string subtype = std::string(extra).find("/Subtype") == std::string::npos ? "/Subtype /Stamp " : "";
    const int annotation = builder.addObject("<< " + subtype + extra + " /Rect [0 0 9 9] /AP << /N " +
                                             ref(appearance) + " >> >>");
    builder.addPage("0 0 m", "<< >>", "/Annots [ " + ref(annotation) + " ]");
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeFlattenPass(), flattening(flattenOtherAnnotations)), PassOutcome::changed);
    EXPECT_EQ(pageContent(*document), "0 0 m\n") << extra;
    EXPECT_FALSE(QPDFObjectHandle(document->pages()[0]).hasKey("/Annots"));
  }
}

TEST(Flatten, MakesAppearancesForFieldsThatHaveNone) {
  PdfBuilder builder;
  const int field = builder.addObject("<< /Subtype /Widget /FT /Tx /T (a) /V (hello) /DA (/Helv 12 Tf 0 g) "
                                      "/Rect [0 0 100 20] >>");
  const int font = builder.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
  builder.addPage("", "<< >>", "/Annots [ " + ref(field) + " ]");
  builder.addToCatalog("/AcroForm << /Fields [ " + ref(field) + " ] /DR << /Font << /Helv " + ref(font) + " >> >> >>");
  const auto document = builder.open();
  runPass(*document, makeFlattenPass(), flattening(flattenFormFields));
  EXPECT_NE(testing::written(*document).find("(hello) Tj"), std::string::npos) << testing::written(*document);
}

// Several lines, text that is not set from the left, and a password, which nobody sees.
TEST(Flatten, SetsFieldTextAsItsFlagsSay) {
  struct Case {
    const char* entries;
    std::vector<const char*> shown;
    const char* not_shown;
  };
  const Case cases[] = {
      {"/Ff 4096 /V (one two three four)", {"(one two three)", "(four)"}, "four)) Tj"},
      {"/Q 1 /V (mid) /MK << /BG [ 1 1 0 ] /BC [ 0 ] >>", {"40.334 4.7 Td (mid) Tj", "1.000 1.000 0.000 rg"}, "(mid) Tj\n("},
      {"/Q 2 /V (right)", {"(right) Tj"}, "\n2 4.7 Td"},
      {"/Ff 8192 /V (secret)", {"(******) Tj"}, "(secret) Tj"},
      // A comb of five cells, each 20 wide; "a" takes 6.672.
      {"/Ff 16777216 /MaxLen 5 /V (aai)", {"6.664 4.700 Td (a) Tj\n20.000 0.000 Td (a) Tj\n22.004 0.000 Td (i) Tj"}, "(aai) Tj"},
      {"/Ff 16777216 /MaxLen 5 /Q 2 /V (aa)", {"66.664 4.700 Td (a) Tj"}, "(aa) Tj"},
      {"/Ff 16777216 /MaxLen 2 /V (aaa) /MK << /BC [ 0 ] >>", {"50.000 1.000 m 50.000 16.200 l\nS"}, "(aaa) Tj"},
  };
  for (const Case& c : cases) {
    PdfBuilder builder;
    const int field = builder.addObject(std::string("<< /Subtype /Widget /FT /Tx /T (a) /DA (/Helv 12 Tf 0 g) "
                                                    "/Rect [0 0 100 ") +
                                        (std::string(c.entries).find("4096") != std::string::npos ? "60" : "17.2") +
                                        "] " + c.entries + " >>");
    const int font = builder.addObject("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
    builder.addPage("", "<< >>", "/Annots [ " + ref(field) + " ]");
    builder.addToCatalog("/AcroForm << /Fields [ " + ref(field) + " ] /DR << /Font << /Helv " + ref(font) +
                         " >> >> >>");
    const auto document = builder.open();
    runPass(*document, makeFlattenPass(), flattening(flattenFormFields));
    const std::string out = testing::written(*document);
    for (const char* shown : c.shown) EXPECT_NE(out.find(shown), std::string::npos) << shown << "\n" << out;
    EXPECT_EQ(out.find(c.not_shown), std::string::npos) << c.not_shown;
  }
}

// Upright on a page that viewers turn, such widgets are turned as well.
TEST(Flatten, TurnsWhatIsSetIntoTurnedFields) {
  struct Case {
    const char* entries;
    const char* box;
    const char* matrix;
  };
  const Case cases[] = {
      {"/FT /Tx /V (up) /MK << /R 90 >>", "/BBox [ 0 0 100 20 ]", "/Matrix [ 0 1 -1 0 0 0 ]"},
      {"/FT /Tx /V (up) /MK << /R 180 >>", "/BBox [ 0 0 20 100 ]", "/Matrix [ -1 0 0 -1 0 0 ]"},
      {"/FT /Tx /V (up) /MK << /R -90 >>", "/BBox [ 0 0 100 20 ]", "/Matrix [ 0 -1 1 0 0 0 ]"},
      {"/FT /Ch /Ff 131072 /V (up) /MK << /R 90 >>", "/BBox [ 0 0 100 20 ]", "/Matrix [ 0 1 -1 0 0 0 ]"},
  };
  for (const Case& c : cases) {
    PdfBuilder builder;
    const int field = builder.addObject(
        std::string("<< /Subtype /Widget /T (a) /DA (/Helv 12 Tf 0 g) /Rect [0 0 20 100] ") + c.entries + " >>");
    builder.addPage("", "<< >>", "/Annots [ " + ref(field) + " ]");
    builder.addToCatalog("/AcroForm << /NeedAppearances true /Fields [ " + ref(field) + " ] >>");
    const auto document = builder.open();
    runPass(*document, makeFlattenPass(), flattening(flattenFormFields));
    const std::string out = testing::written(*document);
    for (const char* shown : {c.box, c.matrix, "(up) Tj"}) EXPECT_NE(out.find(shown), std::string::npos) << shown << out;
  }
}

// Buttons without an appearance in any state show their box, and their mark where they are on.
TEST(Flatten, DrawsButtonsThatHaveNoAppearance) {
  struct Case {
    const char* entries;
    std::vector<const char*> shown;
    std::vector<const char*> notShown;
  };
  const char* const mark = "/ZapfDingbats";
  const Case cases[] = {
      {"/AS /Off /AP << /N << /Yes << >> >> >> /MK << /BC [1 0 0] /CA (4) >>", {"1.000 0.000 0.000 RG"}, {"Tj"}},
      {"/AS /Yes /MK << /BG [0 1 0] /CA (8) >> /DA (/ZaDb 0 Tf 0 0 1 rg)", {"0.000 1.000 0.000 rg", "0 0 1 rg", "(8) Tj", mark}, {"RG"}},
      {"/V /Yes", {"(4) Tj", mark}, {" re"}},
      {"/Ff 32768 /AS /a /MK << /BC [0] >>", {"(l) Tj", " c "}, {" re"}},
      {"/AS /Yes /DA (/ZaDb 9 Tf)", {"/F 9.000 Tf"}, {}},
      {"/Ff 32768 /AS /Off /MK << /BG [0] >>", {"30.000 10.000 m 30.000 "}, {}},
      {"/Ff 32768 /V /a /MK << /BC [0] >>", {" c "}, {"Tj"}},
      {"/Ff 65536 /MK << /BC [0] /CA (Send) >> /DA (/Helv 10 Tf)", {" re S", "(Send) Tj"}, {mark}},
      // A state without an appearance beside one that has one.
      {"/AS /Off /AP << /N << /Yes 1 0 R >> >> /MK << /BC [1 0 0] >>", {}, {"RG"}},
  };
  for (const Case& c : cases) {
    PdfBuilder builder;
    std::string entries = c.entries;
    if (const std::size_t at = entries.find("1 0 R"); at != std::string::npos) {
      entries.replace(at, 5, ref(builder.addStream("/Subtype /Form /BBox [0 0 10 10]", "0 0 10 10 re f")));
    }
    const int field = builder.addObject("<< /Subtype /Widget /FT /Btn /T (a) /Rect [0 0 40 20] " + entries + " >>");
    builder.addPage("", "<< >>", "/Annots [ " + ref(field) + " ]");
    builder.addToCatalog("/AcroForm << /Fields [ " + ref(field) + " ] >>");
    const auto document = builder.open();
    runPass(*document, makeFlattenPass(), flattening(flattenFormFields));
    const std::string out = testing::written(*document);
    for (const char* shown : c.shown) EXPECT_NE(out.find(shown), std::string::npos) << shown << "\n" << out;
    for (const char* not_shown : c.notShown) EXPECT_EQ(out.find(not_shown), std::string::npos) << not_shown << "\n" << out;
  }
}

// The font of the default appearance is taken where the standard one lacks a letter and it does not.
TEST(Flatten, SetsOtherLettersInTheFontOfTheForm) {
  struct Case {
    const char* font;
    const char* value;
    const char* shown;  // null: not in this font
  };
  const char* const cyrillic = "/Subtype /Type1 /BaseFont /Own /FirstChar 200 /Widths [ 700 600 ] "
                               "/Encoding << /BaseEncoding /WinAnsiEncoding /Differences [ 200 /afii10024 /afii10017 ] >>";
  const char* const japanese =
      "/Subtype /Type0 /BaseFont /Own /Encoding /UniJIS-UTF16-H /DescendantFonts [ << /Type /Font /Subtype /CIDFontType0 "
      "/BaseFont /Own /CIDSystemInfo << /Registry (Adobe) /Ordering (Japan1) /Supplement 2 >> /W [ 633 [ 450 ] ] >> ]";
  const Case cases[] = {
      {cyrillic, "<FEFF0416041000610416>", "(\xc8\xc9" "a\xc8) Tj"},
      {cyrillic, "<FEFF041603C0>", nullptr},
      {japanese, "<FEFF65E5672C0041>", "<65e5672c0041> Tj"},
      {japanese, "<FEFF05D0>", nullptr},  // from right to left
  };
  for (const Case& c : cases) {
    PdfBuilder builder;
    const int field = builder.addObject(std::string("<< /Subtype /Widget /FT /Tx /T (a) /DA (/Own 12 Tf 0 g) "
                                                    "/Rect [0 0 100 20] /V ") + c.value + " >>");
    const int note = builder.addObject(std::string("<< /Subtype /FreeText /DA (/Own 12 Tf 0 g) /Rect [0 40 200 60] "
                                                   "/Contents ") + c.value + " >>");
    const int font = builder.addObject(std::string("<< /Type /Font ") + c.font + " >>");
    builder.addPage("", "<< >>", "/Annots [ " + ref(field) + " " + ref(note) + " ]");
    builder.addToCatalog("/AcroForm << /Fields [ " + ref(field) + " ] /DR << /Font << /Own " + ref(font) + " >> >> >>");
    const auto document = builder.open();
    runPass(*document, makeFlattenPass(), flattening(flattenFormFields | flattenOtherAnnotations));
    const std::string out = testing::written(*document);
    std::size_t times = 0;
    for (std::size_t at = 0; c.shown != nullptr && (at = out.find(c.shown, at)) != std::string::npos; ++at) ++times;
    EXPECT_EQ(times, c.shown != nullptr ? 2u : 0u) << c.value << "\n" << out;
    if (c.shown == nullptr) {
      EXPECT_NE(out.find("?"), std::string::npos) << c.value;
    }
  }
}

TEST(Flatten, KeepsTheFilesThatPagesHavePinnedToThem) {
  PdfBuilder builder;
  const auto pin = [&](const char* text) {
    const int file = builder.addStream("/Type /EmbeddedFile", text);
    return ref(builder.addObject("<< /Subtype /FileAttachment /Rect [0 0 9 9] /FS << /Type /Filespec /F (a.txt) /UF (a.txt) "
                                 "/EF << /F " + ref(file) + " >> >> >>"));
  };
  const std::string first = pin("one"), second = pin("two");
  builder.addPage("", "<< >>", "/Annots [ " + first + " " + second + " ]");
  const auto document = builder.open();
  runPass(*document, makeFlattenPass(), flattening(flattenOtherAnnotations));
  QPDFEmbeddedFileDocumentHelper files(document->pdf());
  std::set<std::string> names;
  for (const auto& [name, file] : files.getEmbeddedFiles()) {
    const auto data = QPDFEFStreamObjectHelper(file->getEmbeddedFileStream()).getObjectHandle().getStreamData();
    names.insert(name + ": " + std::string(reinterpret_cast<const char*>(data->getBuffer()), data->getSize()));
  }
  EXPECT_EQ(names, (std::set<std::string>{"a.txt: one", "a.txt 2: two"}));
}

TEST(Flatten, KeepsNamesOfSharedResourcesToThePageThatNeedsThem) {
  PdfBuilder builder;
  const int appearance = builder.addStream("/Subtype /Form /BBox [0 0 10 10]", "0 0 10 10 re f");
  const int stamp = builder.addObject("<< /Subtype /Stamp /Rect [0 0 9 9] /AP << /N " + ref(appearance) + " >> >>");
  const int resources = builder.addObject("<< /XObject << /Fx1 " + ref(appearance) + " >> >>");
  builder.addPage("/Fx1 Do", ref(resources), "/Annots [ " + ref(stamp) + " ]");
  builder.addPage("/Fx1 Do", ref(resources));
  const auto document = builder.open();
  runPass(*document, makeFlattenPass(), flattening(flattenOtherAnnotations));
  const auto names = [&](std::size_t page) {
    return QPDFObjectHandle(document->pages()[page]).getKey("/Resources").getKey("/XObject").getKeys().size();
  };
  EXPECT_EQ(names(0), 2u);
  EXPECT_EQ(names(1), 1u);
}

TEST(Flatten, RemovesTheReferencesOfTheStructureTree) {
  PdfBuilder builder;
  const int link = builder.addObject("<< /Subtype /Link /Rect [0 0 9 9] /Border [0 0 0] /StructParent 1 >>");
  const int element = builder.addObject("<< /Type /StructElem /S /Link /K [ 0 << /Type /OBJR /Obj " + ref(link) +
                                        " >> ] >>");
  builder.addPage("", "<< >>", "/Annots [ " + ref(link) + " ]");
  builder.addToCatalog("/StructTreeRoot << /Type /StructTreeRoot /K " + ref(element) + " >>");
  const auto document = builder.open();
  runPass(*document, makeFlattenPass(), flattening(flattenLinks));
  EXPECT_EQ(document->pdf().getRoot().getKey("/StructTreeRoot").getKey("/K").getKey("/K").getArrayNItems(), 1);
  EXPECT_EQ(testing::written(*document).find("/Link /Rect"), std::string::npos);
}

}  // namespace
}  // namespace optimizer
