#include <gtest/gtest.h>

#include "optimizer/base/pool.h"
#include "optimizer/document/reachable.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::runPass;

std::string ref(int number) { return PdfBuilder::ref(number); }

TEST(RedundantPass, LetsOneOfEqualStreamsStandForAll) {
  PdfBuilder builder;
  const int a = builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", "0 0 1 1 re f");
  const int b = builder.addStream("/Subtype /Form /Type /XObject /BBox [0 0 1 1]", "0 0 1 1 re f");
  const int other = builder.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", "0 0 1 1 re F");
  builder.addPage("/A Do /B Do /C Do",
                  "<< /XObject << /A " + ref(a) + " /B " + ref(b) + " /C " + ref(other) + " >> >>");
  const auto document = builder.open();
  EXPECT_EQ(runPass(*document, makeRedundantPass()), PassOutcome::changed);
  QPDFObjectHandle objects = QPDFObjectHandle(document->pages()[0]).getKey("/Resources").getKey("/XObject");
  EXPECT_EQ(objects.getKey("/A").getObjGen(), objects.getKey("/B").getObjGen());
  EXPECT_NE(objects.getKey("/A").getObjGen(), objects.getKey("/C").getObjGen());
  EXPECT_EQ(runPass(*document, makeRedundantPass()), PassOutcome::unchanged);
}

TEST(RedundantPass, FindsObjectsThatBecomeEqualOnlyThroughOthers) {
  PdfBuilder builder;
  std::string fonts;
  for (int i = 0; i < 2; ++i) {
    const int file = builder.addStream("", "a font program");
    const int descriptor = builder.addObject("<< /Type /FontDescriptor /FontFile " + ref(file) + " >>");
    const int widths = builder.addObject("[ 500 500 ]");
    const int font = builder.addObject("<< /Type /Font /Subtype /Type1 /FontDescriptor " + ref(descriptor) +
                                       " /Widths " + ref(widths) + " >>");
    fonts += " /F" + std::to_string(i) + " " + ref(font);
  }
  builder.addPage("", "<< /Font <<" + fonts + " >> >>");
  const auto document = builder.open();
  const std::size_t before = reachableObjects(document->pdf()).size();
  EXPECT_EQ(runPass(*document, makeRedundantPass()), PassOutcome::changed);
  EXPECT_EQ(reachableObjects(document->pdf()).size(), before - 4);
}

TEST(RedundantPass, TellsStreamsOfOneDictionaryApartByTheirData) {
  // What the streams refer to follows them, and becomes equal only after they were looked at.
  for (const std::string data : {"abaabb", "aab", "ab", "bbbb"}) {
    PdfBuilder builder;
    std::string streams;
    for (char letter : data) {
      const int part = builder.addObject("[ 500 500 ]");
      streams += ref(builder.addStream("/Parts " + ref(part), std::string(50, letter))) + " ";
    }
    builder.addPage("", "<< /Properties << /A [ " + streams + "] >> >>");
    const auto document = builder.open();
    EXPECT_EQ(runPass(*document, makeRedundantPass()), PassOutcome::changed);
    QPDFObjectHandle resources = QPDFObjectHandle(document->pages()[0]).getKey("/Resources");
    QPDFObjectHandle list = resources.getKey("/Properties").getKey("/A");
    for (int i = 0; i < list.getArrayNItems(); ++i) {
      const auto at = static_cast<int>(data.find(data[static_cast<std::size_t>(i)]));
      EXPECT_EQ(list.getArrayItem(i).getObjGen(), list.getArrayItem(at).getObjGen()) << data << i;
      EXPECT_EQ(list.getArrayItem(i).getStreamData()->getBuffer()[0], data[static_cast<std::size_t>(i)]);
    }
  }
}

TEST(RedundantPass, KeepsObjectsApartWhoseIdentityMatters) {
  PdfBuilder builder;
  const char* annotation = "<< /Subtype /Link /Rect [0 0 9 9] /A << /S /URI /URI (http://example.org) >> >>";
  const int link1 = builder.addObject(annotation), link2 = builder.addObject(annotation);
  const int intent1 = builder.addObject("[ /View /Design ]"),
            intent2 = builder.addObject("[ /View /Design ]");
  const int layer1 = builder.addObject("<< /Type /OCG /Name (Layer) /Intent " + ref(intent1) + " >>");
  const int layer2 = builder.addObject("<< /Type /OCG /Name (Layer) /Intent " + ref(intent2) + " >>");
  const int element1 = builder.addObject("<< /S /P /K 0 >>"),
            element2 = builder.addObject("<< /S /P /K 0 >>");
  const int field1 = builder.addObject("<< /FT /Tx >>"), field2 = builder.addObject("<< /FT /Tx >>");
  builder.addPage("", "<< >>", "/Annots [ " + ref(link1) + " " + ref(link2) + " ]");
  builder.addPage("");
  builder.addToCatalog("/OCProperties << /OCGs [ " + ref(layer1) + " " + ref(layer2) + " ] >>");
  builder.addToCatalog("/StructTreeRoot << /K [ " + ref(element1) + " " + ref(element2) + " ] >>");
  builder.addToCatalog("/AcroForm << /Fields [ " + ref(field1) + " " + ref(field2) + " ] >>");
  const auto document = builder.open();
  runPass(*document, makeRedundantPass());
  QPDFObjectHandle root = document->pdf().getRoot();
  const auto differ = [](QPDFObjectHandle pair) {
    return pair.getArrayItem(0).getObjGen() != pair.getArrayItem(1).getObjGen();
  };
  EXPECT_TRUE(differ(QPDFObjectHandle(document->pages()[0]).getKey("/Annots")));
  QPDFObjectHandle layers = root.getKey("/OCProperties").getKey("/OCGs");
  EXPECT_TRUE(differ(layers));
  EXPECT_NE(layers.getArrayItem(0).getKey("/Intent").getObjGen(),
            layers.getArrayItem(1).getKey("/Intent").getObjGen());
  EXPECT_TRUE(differ(root.getKey("/StructTreeRoot").getKey("/K")));
  EXPECT_TRUE(differ(root.getKey("/AcroForm").getKey("/Fields")));
  EXPECT_EQ(document->pages().size(), 2u);
}

TEST(RedundantPass, ComparesStringsByTheirBytesAndNumbersByTheirText) {
  PdfBuilder builder;
  const int a = builder.addObject("<< /X (abc) /Y 1 >>"), b = builder.addObject("<< /X <616263> /Y 1 >>");
  const int c = builder.addObject("<< /X /abc /Y 1 >>"), d = builder.addObject("<< /X (abc) /Y 1.0 >>");
  builder.addToCatalog("/Test [ " + ref(a) + " " + ref(b) + " " + ref(c) + " " + ref(d) + " ]");
  builder.addPage("");
  const auto document = builder.open();
  runPass(*document, makeRedundantPass());
  QPDFObjectHandle test = document->pdf().getRoot().getKey("/Test");
  EXPECT_EQ(test.getArrayItem(0).getObjGen(), test.getArrayItem(1).getObjGen());
  EXPECT_NE(test.getArrayItem(0).getObjGen(), test.getArrayItem(2).getObjGen());
  EXPECT_NE(test.getArrayItem(0).getObjGen(), test.getArrayItem(3).getObjGen());
}

}  // namespace
}  // namespace optimizer
