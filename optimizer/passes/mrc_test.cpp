#include "optimizer/passes/mrc.h"

#include <gtest/gtest.h>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/document/stream_data.h"

namespace optimizer {
namespace {

QPDFObjectHandle imageIn(QPDF& pdf, const char* extra) {
  QPDFObjectHandle image = QPDFObjectHandle::newStream(&pdf, std::string(4, '\0'));
  image.replaceDict(QPDFObjectHandle::parse(
      std::string("<</Type/XObject/Subtype/Image/Width 2/Height 2/BitsPerComponent 8/ColorSpace/DeviceGray") +
      extra + ">>"));
  return pdf.makeIndirectObject(image);
}

ImageJob pageJob() {
  ImageJob job;
  job.source.width = 1600;
  job.source.height = 2200;
  job.source.storedBytes = 500000;
  job.dpiX = job.dpiY = 200;
  return job;
}

TEST(Mrc, SuitsPagesOnlyAndOnlyWhereTheSettingsAllowIt) {
  QPDF pdf;
  pdf.emptyPDF();
  QPDFObjectHandle image = imageIn(pdf, "");
  const Settings web = webSettings();
  EXPECT_TRUE(layersSuit(image, pageJob(), 0.9, web));
  EXPECT_FALSE(layersSuit(image, pageJob(), 0.3, web)) << "a picture on a page";

  struct Case {
    const char* name;
    void (*change)(ImageJob&, Settings&);
  };
  const Case cases[] = {
      {"lossless quality", [](ImageJob&, Settings& s) { s.imageQuality = 100; }},
      {"automatic coding not allowed",
       [](ImageJob&, Settings& s) { s.continuousCodecs = codecBit(Codec::jpeg); }},
      {"samples must stay", [](ImageJob& j, Settings&) { j.losslessOnly = true; }},
      {"a soft mask", [](ImageJob& j, Settings&) { j.role = ImageRole::softMask; }},
      {"colour-key mask", [](ImageJob& j, Settings&) { j.source.colorKeyMask = true; }},
      {"CMYK", [](ImageJob& j, Settings&) { j.source.color.baseKind = ColorKind::cmyk; }},
      {"few bytes", [](ImageJob& j, Settings&) { j.source.storedBytes = 1000; }},
      {"never drawn", [](ImageJob& j, Settings&) { j.dpiX = j.dpiY = 0; }},
  };
  for (const Case& c : cases) {
    ImageJob job = pageJob();
    Settings settings = web;
    c.change(job, settings);
    EXPECT_FALSE(layersSuit(image, job, 0.9, settings)) << c.name;
  }
  for (const char* key : {"/SMask <<>>", "/Mask [0 1]", "/Alternates []"})
    EXPECT_FALSE(layersSuit(imageIn(pdf, key), pageJob(), 0.9, web)) << key;
}

TEST(Mrc, TheImageBecomesAFormOfTheSameSquareWithItsColorSpace) {
  QPDF pdf;
  pdf.emptyPDF();
  QPDFObjectHandle image = imageIn(pdf, "/OC <</Type/OCG/Name(x)>>/Intent/Perceptual/StructParent 7");
  const QPDFObjGen id = image.getObjGen();
  LayeredImage layers;
  Pixels grey(16, 16, 1, ColorKind::grey);
  layers.background = *encodeJpeg(grey, {});
  layers.foreground = *encodeJpeg(grey, {});
  layers.mask = encodeBitonal(Pixels(64, 64, 1, ColorKind::grey, 1));
  replaceByLayers(pdf, image, layers);

  QPDFObjectHandle form = pdf.getObject(id);
  QPDFObjectHandle dictionary = form.getDict();
  EXPECT_EQ(dictionary.getKey("/Subtype").getName(), "/Form");
  EXPECT_EQ(dictionary.getKey("/BBox").unparse(), "[ 0 0 1 1 ]");
  EXPECT_TRUE(dictionary.hasKey("/OC"));
  EXPECT_EQ(dictionary.getKey("/StructParent").getIntValue(), 7);
  EXPECT_FALSE(dictionary.hasKey("/Width"));
  const Result<Bytes> content = decodedStreamData(form);
  ASSERT_TRUE(content.ok());
  EXPECT_EQ(std::string(content->begin(), content->end()), "/B Do/F Do");
  QPDFObjectHandle objects = dictionary.getKey("/Resources").getKey("/XObject");
  for (const char* name : {"/B", "/F"}) {
    QPDFObjectHandle layer = objects.getKey(name).getDict();
    EXPECT_EQ(layer.getKey("/ColorSpace").getName(), "/DeviceGray");
    EXPECT_EQ(layer.getKey("/Filter").getName(), "/DCTDecode");
    EXPECT_EQ(layer.getKey("/Intent").getName(), "/Perceptual");
    EXPECT_TRUE(layer.getKey("/Interpolate").getBoolValue());
  }
  EXPECT_FALSE(objects.getKey("/B").getDict().hasKey("/Mask"));
  QPDFObjectHandle mask = objects.getKey("/F").getDict().getKey("/Mask").getDict();
  EXPECT_TRUE(mask.getKey("/ImageMask").getBoolValue());
  EXPECT_EQ(mask.getKey("/Width").getIntValue(), 64);
  EXPECT_EQ(mask.getKey("/BitsPerComponent").getIntValue(), 1);
}

TEST(Mrc, PicturesLieBetweenThePaperAndTheInk) {
  QPDF pdf;
  pdf.emptyPDF();
  QPDFObjectHandle image = imageIn(pdf, "");
  LayeredImage layers;
  Pixels grey(16, 16, 1, ColorKind::grey);
  layers.background = *encodeJpeg(grey, {});
  layers.foreground = *encodeJpeg(grey, {});
  layers.mask = encodeBitonal(Pixels(64, 64, 1, ColorKind::grey, 1));
  layers.pictures.push_back({{0.25, 0.5, 0.75, 0.625}, *encodeJpeg(grey, {})});
  replaceByLayers(pdf, image, layers);
  const Result<Bytes> content = decodedStreamData(image);
  ASSERT_TRUE(content.ok());
  EXPECT_EQ(std::string(content->begin(), content->end()),
            "/B Do q 0.50000 0 0 0.12500 0.25000 0.37500 cm /P1 Do Q /F Do");
  QPDFObjectHandle picture = image.getDict().getKey("/Resources").getKey("/XObject").getKey("/P1").getDict();
  EXPECT_EQ(picture.getKey("/ColorSpace").getName(), "/DeviceGray");
  EXPECT_FALSE(picture.hasKey("/Mask"));
}

}  // namespace
}  // namespace optimizer
