#include <gtest/gtest.h>

#include "optimizer/passes/passes.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string ref(int number) { return PdfBuilder::ref(number); }

// A page that has everything that can be stripped.
std::unique_ptr<Document> everything() {
  PdfBuilder builder;
  const int xmp = builder.addStream("/Type /Metadata /Subtype /XML", "<x/>");
  const int alternate = builder.addStream("/Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
                                          "/BitsPerComponent 8", "a");
  const int image = builder.addStream(
      "/Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray /BitsPerComponent 8 /ID (x) /StructParent 3 "
      "/Alternates [ << /Image " + ref(alternate) + " >> ] /Metadata " + ref(xmp), "b");
  const int form = builder.addStream("/Subtype /Form /BBox [0 0 1 1] /LastModified (D:2020) /PieceInfo << /Me << >> >>",
                                     "");
  const int thread = builder.addObject("<< /Type /Thread /F null >>");
  const int annotation = builder.addObject("<< /Type /Annot /Subtype /Text /Rect [0 0 9 9] /StructParent 1 >>");
  builder.addPage("/I Do", "<< /XObject << /I " + ref(image) + " /F " + ref(form) + " >> >>",
                  "/B [ ] /Thumb " + ref(image) + " /StructParents 0 /Tabs /S /ID (id) /PieceInfo << >> /LastModified "
                  "(D:2021) /Annots [ " + ref(annotation) + " ]");
  builder.addToCatalog("/Threads [ " + ref(thread) + " ] /Metadata " + ref(xmp) +
                       " /StructTreeRoot << /Type /StructTreeRoot >> /MarkInfo << /Marked true >> /SpiderInfo << /V 1 >>"
                       " /Names << /IDS << >> /URLS << >> /Dests << >> >> /OutputIntents [ << /S /GTS_PDFA1 >> ]"
                       " /Lang (en) /PageLabels << /Nums [ 0 << /S /r >> ] >>");
  return builder.open();
}

struct StripCase {
  const char* name;
  std::uint32_t bits;
  std::vector<std::string> gone;  // paths below the catalog C, page P, image I, form F, annotation A
};

QPDFObjectHandle dictionaryOf(Document& document, char place) {
  QPDFObjectHandle page = document.pages()[0];
  QPDFObjectHandle objects = page.getKey("/Resources").getKey("/XObject");
  switch (place) {
    case 'C': return document.pdf().getRoot();
    case 'N': return document.pdf().getRoot().getKey("/Names");
    case 'P': return page;
    case 'I': return objects.getKey("/I").getDict();
    case 'F': return objects.getKey("/F").getDict();
    default: return page.getKey("/Annots").getArrayItem(0);
  }
}

std::set<std::string> entries(Document& document) {
  std::set<std::string> out;
  for (char place : std::string("CNPIFA")) {
    for (const std::string& key : dictionaryOf(document, place).getKeys()) out.insert(place + key);
  }
  return out;
}

class Strip : public ::testing::TestWithParam<StripCase> {};

TEST_P(Strip, RemovesItsEntriesAndNothingElse) {
  const auto before = everything();
  const auto document = everything();
  Settings settings;
  settings.strip = GetParam().bits;
  EXPECT_EQ(runPass(*document, makeStripPass(), settings), PassOutcome::changed);
  std::set<std::string> wanted = entries(*before);
  for (const std::string& gone : GetParam().gone) {
    EXPECT_EQ(wanted.erase(gone), 1u) << gone << " was never there";
  }
  EXPECT_EQ(entries(*document), wanted);
  EXPECT_EQ(runPass(*document, makeStripPass(), settings), PassOutcome::unchanged);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Strip,
    ::testing::Values(
        StripCase{"threads", stripThreads, {"C/Threads", "P/B"}},
        StripCase{"metadata", stripMetadata, {"C/Metadata", "I/Metadata"}},
        StripCase{"pieceInfo", stripPieceInfo, {"P/PieceInfo", "P/LastModified", "F/PieceInfo", "F/LastModified"}},
        StripCase{"structureTree", stripStructureTree,
                  {"C/StructTreeRoot", "C/MarkInfo", "P/StructParents", "P/Tabs", "I/StructParent", "A/StructParent"}},
        StripCase{"thumbnails", stripThumbnails, {"P/Thumb"}},
        StripCase{"spiderInfo", stripSpiderInfo, {"C/SpiderInfo", "N/IDS", "N/URLS", "P/ID", "I/ID"}},
        StripCase{"alternateImages", stripAlternateImages, {"I/Alternates"}},
        StripCase{"outputIntents", stripOutputIntents, {"C/OutputIntents"}}),
    [](const auto& info) { return info.param.name; });

TEST(StripPass, ChangesNothingWithoutBits) {
  EXPECT_EQ(runPass(*everything(), makeStripPass()), PassOutcome::unchanged);
}

}  // namespace
}  // namespace optimizer
