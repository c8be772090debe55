#include "optimizer/passes/number_tables.h"

#include <gtest/gtest.h>

#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/testing/pdf_builder.h"
#include "optimizer/testing/run_pass.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;

TEST(NumberTables, KnowTheirEntriesByTheDictionary) {
  struct Case {
    const char* dictionary;
    unsigned step;
  };
  for (const Case& c :
       {Case{"<< /N 3 >>", 2}, Case{"<< /N 3 /Type /ObjStm >>", 0}, Case{"<< /N 2 >>", 0}, Case{"<< >>", 0},
        Case{"<< /FunctionType 0 /BitsPerSample 8 /Range [ 0 1 0 1 0 1 ] >>", 3},
        Case{"<< /FunctionType 0 /BitsPerSample 16 /Range [ 0 1 0 1 ] >>", 4},
        Case{"<< /FunctionType 0 /BitsPerSample 12 /Range [ 0 1 ] >>", 0},
        Case{"<< /FunctionType 4 /Range [ 0 1 ] >>", 0},
        Case{"<< /ShadingType 4 /BitsPerFlag 8 /BitsPerCoordinate 16 /BitsPerComponent 8 /Decode [ 0 1 0 1 0 "
             "1 0 1 0 1 ] >>",
             8},
        Case{"<< /ShadingType 5 /BitsPerCoordinate 24 /BitsPerComponent 16 /Decode [ 0 1 0 1 0 1 ] /Function "
             "1 >>",
             8},
        Case{"<< /ShadingType 4 /BitsPerFlag 8 /BitsPerCoordinate 99 /BitsPerComponent 8 /Decode [ 0 1 ] >>",
             0},
        Case{"<< /ShadingType 7 >>", 0}}) {
    EXPECT_EQ(tableStep(QPDFObjectHandle::parse(c.dictionary)), c.step) << c.dictionary;
  }
  EXPECT_EQ(tableColumns(3, 9), 3u);
  EXPECT_EQ(tableColumns(3, 10), 0u);
  EXPECT_EQ(tableColumns(0, 10), 0u);
  EXPECT_EQ(tableColumns(1, std::size_t{2} << 20), 0u);
}

// A curve of 16-bit numbers packs as differences, and every reader gets the curve back.
TEST(NumberTables, PackAsDifferences) {
  std::string curve;
  for (int i = 0; i < 1024; ++i) {
    const int value = i * i / 16;
    curve += static_cast<char>(value >> 8);
    curve += static_cast<char>(value);
  }
  PdfBuilder builder;
  const int profile = builder.addStream("/N 3", curve);
  builder.addToCatalog("/X " + PdfBuilder::ref(profile));
  builder.addPage("0 0 m", "<< >>");
  const auto document = builder.open();
  EXPECT_EQ(testing::runPass(*document, makeStreamsPass(), Settings()), PassOutcome::changed);
  QPDFObjectHandle stream = document->pdf().getRoot().getKey("/X");
  QPDFObjectHandle parms = stream.getDict().getKey("/DecodeParms");
  ASSERT_TRUE(parms.isDictionary());
  EXPECT_EQ(parms.getKey("/Predictor").getIntValue(), 2);
  EXPECT_EQ(parms.getKey("/Colors").getIntValue(), 2);
  EXPECT_EQ(parms.getKey("/Columns").getIntValue(), 1024);
  const std::shared_ptr<Buffer> decoded = stream.getStreamData(qpdf_dl_all);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(decoded->getBuffer()), decoded->getSize()), curve);
}

}  // namespace
}  // namespace optimizer
