#include "optimizer/audit/audit.h"

#include <gtest/gtest.h>

#include "optimizer/audit/roles.h"
#include "optimizer/testing/pdf_builder.h"

namespace optimizer {
namespace {

using testing::PdfBuilder;
using testing::TempDir;

Audit audited(const std::string& bytes) {
  static TempDir folder;
  static int number = 0;
  const std::string path = folder.file(std::to_string(++number) + ".pdf");
  testing::writeFile(path, bytes);
  Result<std::unique_ptr<Document>> document = Document::open(path, "");
  EXPECT_TRUE(document.ok());
  if (!document.ok()) return {};
  Result<Audit> audit = auditDocument(**document);
  EXPECT_TRUE(audit.ok());
  if (!audit.ok()) return {};
  std::uint64_t sum = 0;
  for (const AuditRow& row : audit->rows) sum += row.bytes;
  EXPECT_EQ(sum, bytes.size());
  EXPECT_EQ(audit->fileBytes, bytes.size());
  return *audit;
}

std::uint64_t bytesOf(const Audit& audit, AuditKind kind) {
  std::uint64_t bytes = 0;
  for (const AuditRow& row : audit.rows) bytes += row.kind == kind ? row.bytes : 0;
  return bytes;
}

std::uint64_t countOf(const Audit& audit, AuditKind kind) {
  std::uint64_t count = 0;
  for (const AuditRow& row : audit.rows) count += row.kind == kind ? row.count : 0;
  return count;
}

const std::string kImage =
    "/Type /XObject /Subtype /Image /Width 100 /Height 50 /BitsPerComponent 8 /ColorSpace /DeviceGray";

TEST(Audit, KindsAreInTheOrderOfTheEnumeration) {
  for (std::size_t i = 0; i < auditKinds().size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(auditKinds()[i].kind), i) << auditKinds()[i].id;
  }
}

TEST(Audit, AnImageIsCountedUnderItsCodecAndItsResolutionOnThePage) {
  PdfBuilder pdf;
  const int image = pdf.addStream(kImage, std::string(5000, 'x'));
  pdf.addPage("q 36 0 0 18 0 0 cm /Im0 Do Q", "<< /XObject << /Im0 " + PdfBuilder::ref(image) + " >> >>");
  const Audit audit = audited(pdf.build());
  ASSERT_EQ(countOf(audit, AuditKind::imagePlain), 1u);
  EXPECT_GT(bytesOf(audit, AuditKind::imagePlain), 5000u);
  EXPECT_LT(bytesOf(audit, AuditKind::imagePlain), 5300u);
  ASSERT_FALSE(audit.items.empty());
  const AuditItem& item = audit.items.front();
  EXPECT_EQ(item.object, image);
  EXPECT_EQ(item.page, 1);
  EXPECT_EQ(item.width, 100);
  EXPECT_EQ(item.height, 50);
  EXPECT_EQ(item.color, "DeviceGray");
  EXPECT_NEAR(item.dpi, 200, 0.01);
  EXPECT_EQ(item.band, DpiBand::above150);
}

TEST(Audit, AnImageThatNoPageShowsIsSaidToBeNeverShown) {
  PdfBuilder pdf;
  const int image = pdf.addFlateStream(kImage, std::string(5000, 'x'));
  pdf.addPage("", "<< /XObject << /Im0 " + PdfBuilder::ref(image) + " >> >>");
  const Audit audit = audited(pdf.build());
  for (const AuditRow& row : audit.rows) {
    if (row.kind != AuditKind::imageFlate) continue;
    EXPECT_EQ(row.band, DpiBand::neverDrawn);
  }
  EXPECT_EQ(countOf(audit, AuditKind::imageFlate), 1u);
}

TEST(Audit, TheLastCodecOfImagesCounts) {
  PdfBuilder pdf;
  const auto object = [&pdf](const std::string& filter) {
    const std::unique_ptr<Document> document = pdf.open();
    return imageKindOf(QPDFObjectHandle::parse("<< /Filter " + filter + " >>"));
  };
  pdf.addPage("");
  EXPECT_EQ(object("/DCTDecode"), AuditKind::imageJpeg);
  EXPECT_EQ(object("[/FlateDecode /DCTDecode]"), AuditKind::imageJpeg);
  EXPECT_EQ(object("[/ASCII85Decode /LZWDecode]"), AuditKind::imageLzw);
  EXPECT_EQ(object("[/ASCIIHexDecode]"), AuditKind::imagePlain);
  EXPECT_EQ(object("7"), AuditKind::imagePlain);
}

TEST(Audit, EveryKindOfObjectIsToldApart) {
  PdfBuilder pdf;
  const int program = pdf.addStream("/Length1 300", std::string(300, 't'));
  const int descriptor = pdf.addObject("<< /Type /FontDescriptor /FontName /ABCDEF+Some-Font /FontFile2 " +
                                       PdfBuilder::ref(program) + " >>");
  const int unicode = pdf.addStream("", std::string(200, 'u'));
  const int font =
      pdf.addObject("<< /Type /Font /Subtype /TrueType /BaseFont /ABCDEF+Some-Font /FontDescriptor " +
                    PdfBuilder::ref(descriptor) + " /ToUnicode " + PdfBuilder::ref(unicode) + " >>");
  const int profile = pdf.addStream("/N 3", std::string(100, 'i'));
  const int form = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", "0 0 1 1 re f");
  const int appearance = pdf.addStream("/Type /XObject /Subtype /Form /BBox [0 0 1 1]", "0 0 1 1 re f");
  const int link = pdf.addObject("<< /Type /Annot /Subtype /Square /Rect [0 0 1 1] /AP << /N " +
                                 PdfBuilder::ref(appearance) + " >> >>");
  const int thumbnail = pdf.addStream(kImage, std::string(5000, 'x'));
  const int privately = pdf.addStream(kImage, std::string(5000, 'x'));
  const int metadata = pdf.addStream("/Type /Metadata /Subtype /XML", "<x/>");
  const int file = pdf.addStream("/Type /EmbeddedFile", std::string(700, 'f'));
  const int description =
      pdf.addObject("<< /Type /Filespec /F (a.txt) /EF << /F " + PdfBuilder::ref(file) + " >> >>");
  const int orphan = pdf.addStream("", std::string(50, 'o'));
  pdf.addPage("/Fm0 Do",
              "<< /Font << /F1 " + PdfBuilder::ref(font) + " >> /XObject << /Fm0 " + PdfBuilder::ref(form) +
                  " >> /ColorSpace << /C [/ICCBased " + PdfBuilder::ref(profile) + "] >> >>",
              "/Annots [" + PdfBuilder::ref(link) + "] /Thumb " + PdfBuilder::ref(thumbnail) +
                  " /PieceInfo << /App << /Private " + PdfBuilder::ref(privately) + " >> >>");
  pdf.addToCatalog("/Metadata " + PdfBuilder::ref(metadata) + " /Names << /EmbeddedFiles << /Names [(a) " +
                   PdfBuilder::ref(description) + "] >> >>");
  const Audit audit = audited(pdf.build());
  for (const AuditKind kind :
       {AuditKind::fontTrueType, AuditKind::fontMaps, AuditKind::colorProfiles, AuditKind::formContent,
        AuditKind::appearances, AuditKind::annotations, AuditKind::thumbnails, AuditKind::privateData,
        AuditKind::metadataXmp, AuditKind::pageContent, AuditKind::unreferenced}) {
    EXPECT_EQ(countOf(audit, kind), 1u) << entryOf(kind).id;
  }
  EXPECT_EQ(countOf(audit, AuditKind::fontObjects), 2u);
  EXPECT_EQ(countOf(audit, AuditKind::attachments), 2u);  // the file and its description
  EXPECT_EQ(countOf(audit, AuditKind::imagePlain), 0u);
  EXPECT_GT(bytesOf(audit, AuditKind::crossReference), 0u);
  EXPECT_GT(bytesOf(audit, AuditKind::framing), 0u);
  const auto named = [&audit](int number) {
    for (const AuditItem& item : audit.items) {
      if (item.object == number) return item.name;
    }
    return std::string("missing");
  };
  EXPECT_EQ(named(program), "Some-Font");
  EXPECT_EQ(named(file), "a.txt");
  EXPECT_EQ(named(orphan), "");
}

TEST(Audit, WhatAnUpdateReplacedIsAnEarlierVersion) {
  PdfBuilder pdf;
  pdf.addPage("0 0 10 10 re f");
  const std::string before = pdf.build();
  const std::size_t table = before.rfind("startxref\n") + 10;
  const std::string previous = before.substr(table, before.find('\n', table) - table);
  const std::string update = "9 0 obj\n(new)\nendobj\n";
  const std::string old = "9 0 obj\n(the old one)\nendobj\n";
  const std::size_t at = before.size() + old.size();
  std::string offset = std::to_string(at);
  offset.insert(0, 10 - offset.size(), '0');
  const std::string bytes = before + old + update + "xref\n9 1\n" + offset +
                            " 00000 n \ntrailer\n<< /Size 10 /Root 1 0 R /Prev " + previous +
                            " >>\nstartxref\n" + std::to_string(at + update.size()) + "\n%%EOF\n";
  const Audit audit = audited(bytes);
  EXPECT_EQ(bytesOf(audit, AuditKind::earlierVersions), old.size() - 1);  // without the line break behind it
  EXPECT_EQ(bytesOf(audit, AuditKind::unreferenced), update.size() - 1);
}

TEST(Audit, AddsUpForFilesThatAreNotInOrder) {
  PdfBuilder pdf;
  pdf.addPage("0 0 10 10 re f");
  const std::string whole = pdf.build();
  audited("junk before the header\n" + whole);
  audited(whole + "junk behind the end (unbalanced << [");
  std::string without = whole;
  without.replace(without.rfind("startxref"), 9, "startxxxx");
  audited(without);
  std::string wrongLength = whole;
  wrongLength.replace(wrongLength.find("/Length "), 9, "/Length 9");
  audited(wrongLength);
}

}  // namespace
}  // namespace optimizer
