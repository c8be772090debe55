#include "optimizer/document/promises.h"

#include <gtest/gtest.h>

#include "optimizer/document/stream_data.h"
#include "optimizer/document/xmp.h"
#include "optimizer/pipeline/optimize.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::TempDir;

constexpr const char* kPacket = R"(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
<rdf:Description rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" xmlns:pdf="http://ns.adobe.com/pdf/1.3/"
  xmp:ModifyDate="2001-01-01" pdf:Producer='Old &amp; grey'/>
<rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/">
<dc:title><rdf:Alt><rdf:li xml:lang="x-default">Old title</rdf:li></rdf:Alt></dc:title><dc:format>application/pdf</dc:format>
</rdf:Description>
<rdf:Description rdf:about="" xmlns:a="http://www.aiim.org/pdfa/ns/id/"><a:part>1</a:part><a:conformance>A</a:conformance>
</rdf:Description>
<rdf:Description rdf:about="" xmlns:u="http://www.aiim.org/pdfua/ns/id/" u:part="1"/>
</rdf:RDF></x:xmpmeta>



<?xpacket end="w"?>)";

ByteView view(std::string_view text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

TEST(XmpPacket, ReadsPropertiesFromElementsAndAttributes) {
  const std::optional<Xmp> packet = Xmp::parse(view(kPacket));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->property(xmp::kDublinCore, "title"), "Old title");
  EXPECT_EQ(packet->property(xmp::kPdf, "Producer"), "Old & grey");
  EXPECT_EQ(packet->property(xmp::kPdfAId, "part"), "1");
  EXPECT_EQ(packet->property(xmp::kDublinCore, "creator"), std::nullopt);
  EXPECT_TRUE(packet->hasNamespace(xmp::kPdfUaId));
}

TEST(XmpPacket, SetsAndRemovesWithoutTouchingTheRest) {
  std::optional<Xmp> packet = Xmp::parse(view(kPacket));
  ASSERT_TRUE(packet);
  EXPECT_TRUE(packet->set(xmp::kDublinCore, "title", Xmp::Form::languageAlternative, "A < B & \"C\""));
  EXPECT_TRUE(packet->set(xmp::kPdf, "Producer", Xmp::Form::text, "New"));
  packet->remove(xmp::kBasic, "ModifyDate");
  packet->removeNamespace(xmp::kPdfAId);
  const std::optional<Xmp> again = Xmp::parse(view(packet->text()));
  ASSERT_TRUE(again);
  EXPECT_EQ(again->property(xmp::kDublinCore, "title"), "A < B & \"C\"");
  EXPECT_EQ(again->property(xmp::kPdf, "Producer"), "New");
  EXPECT_EQ(again->property(xmp::kBasic, "ModifyDate"), std::nullopt);
  EXPECT_EQ(again->property(xmp::kDublinCore, "format"), "application/pdf");
  EXPECT_FALSE(again->hasNamespace(xmp::kPdfAId));
  EXPECT_TRUE(again->hasNamespace(xmp::kPdfUaId));
}

TEST(XmpPacket, RefusesWhatIsNotXml) {
  for (const char* bad : {"", "<x", "plain", "<!DOCTYPE x [<!ENTITY a 'b'>]><x>&a;</x>", "\xFF\xFE<\0"}) {
    EXPECT_FALSE(Xmp::parse(view(bad))) << bad;
  }
}

std::unique_ptr<Document> withMetadata() {
  PdfBuilder builder;
  builder.addPage("0 0 m");
  const int xmp = builder.addStream("/Type /Metadata /Subtype /XML", kPacket);
  builder.addToCatalog("/Metadata " + PdfBuilder::ref(xmp) + " /OutputIntents [ << >> ] /MarkInfo << >>");
  return builder.open();
}

std::optional<Xmp> metadataAfter(Document& document, const Settings& settings) {
  TempDir directory;
  Report report;
  const Status status = optimizeToFile(document, settings, directory.file("x.pdf"), {}, report);
  EXPECT_TRUE(status.ok()) << (status.ok() ? "" : status.error().message);
  auto saved = Document::open(directory.file("x.pdf"), "");
  if (!saved.ok()) return std::nullopt;
  const Result<Bytes> bytes = decodedStreamData((*saved)->pdf().getRoot().getKey("/Metadata"));
  return bytes.ok() ? Xmp::parse(*bytes) : std::nullopt;
}

TEST(Promises, KeepMetadataInStepWithTheInformation) {
  const auto document = withMetadata();
  ASSERT_TRUE(document->setInfoEntry("Title", "New title").ok());
  ASSERT_TRUE(document->setInfoEntry("ModDate", "D:20200102030405Z").ok());
  const std::optional<Xmp> metadata = metadataAfter(*document, {});
  ASSERT_TRUE(metadata);
  EXPECT_EQ(metadata->property(xmp::kDublinCore, "title"), "New title");
  EXPECT_EQ(metadata->property(xmp::kBasic, "ModifyDate"), "2020-01-02T03:04:05Z");
  EXPECT_EQ(metadata->property(xmp::kPdf, "Producer"), "Old & grey");
  EXPECT_EQ(metadata->property(xmp::kPdfAId, "conformance"), "A");
}

TEST(Promises, AreTakenBackWhereAStripBitBreaksThem) {
  Settings settings;
  settings.strip = stripStructureTree;
  std::optional<Xmp> metadata = metadataAfter(*withMetadata(), settings);
  ASSERT_TRUE(metadata);
  EXPECT_EQ(metadata->property(xmp::kPdfAId, "conformance"), "B");
  EXPECT_FALSE(metadata->hasNamespace(xmp::kPdfUaId));
  settings.strip = stripOutputIntents;
  metadata = metadataAfter(*withMetadata(), settings);
  ASSERT_TRUE(metadata);
  EXPECT_FALSE(metadata->hasNamespace(xmp::kPdfAId));
  EXPECT_TRUE(metadata->hasNamespace(xmp::kPdfUaId));
}

TEST(Promises, OfPdfA1AllowNeitherObjectStreamsNorFilteredMetadata) {
  const auto document = withMetadata();
  EXPECT_TRUE(promisesOf(*document).pdfA1());
  TempDir directory;
  Report report;
  ASSERT_TRUE(optimizeToFile(*document, webSettings(), directory.file("x.pdf"), {}, report).ok());
  const std::string bytes = testing::readFile(directory.file("x.pdf"));
  EXPECT_EQ(bytes.find("/ObjStm"), std::string::npos);
  EXPECT_NE(bytes.find("Old &amp; grey"), std::string::npos);
}

TEST(Promises, OfASignatureRefuseEveryChangeButFlattening) {
  PdfBuilder builder;
  const int signature = builder.addObject("<< /Type /Sig /ByteRange [0 1 2 3] /Contents <00> >>");
  const int field = builder.addObject("<< /Subtype /Widget /Rect [0 0 0 0] /T (s) /V " + PdfBuilder::ref(signature) +
                                      " /Parent 5 0 R >>");
  const int parent = builder.addObject("<< /FT /Sig /Kids [ " + PdfBuilder::ref(field) + " ] >>");
  builder.addPage("0 0 m", "<< >>", "/Annots [ " + PdfBuilder::ref(field) + " ]");
  builder.addToCatalog("/AcroForm << /SigFlags 3 /Fields [ " + PdfBuilder::ref(parent) + " ] >>");
  TempDir directory;
  Report report;
  const auto document = builder.open();
  EXPECT_TRUE(isSigned(*document));
  const Status refused = optimizeToFile(*document, webSettings(), directory.file("x.pdf"), {}, report);
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().kind, ErrorKind::unsupported);
  EXPECT_NE(refused.error().message.find("signed"), std::string::npos);
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
  Settings settings = webSettings();
  settings.strip |= flattenFormFields;
  EXPECT_TRUE(optimizeToFile(*document, settings, directory.file("x.pdf"), {}, report).ok());
  EXPECT_EQ(testing::readFile(directory.file("x.pdf")).find("ByteRange"), std::string::npos);
}

TEST(Promises, AnEmptySignatureFieldIsNoSignature) {
  PdfBuilder builder;
  const int field = builder.addObject("<< /FT /Sig /T (s) >>");
  builder.addPage("");
  builder.addToCatalog("/AcroForm << /Fields [ " + PdfBuilder::ref(field) + " ] >>");
  EXPECT_FALSE(isSigned(*builder.open()));
}

}  // namespace
}  // namespace optimizer
