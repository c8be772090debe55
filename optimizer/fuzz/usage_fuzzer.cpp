// The interpreter: the input is the content of a page, a form, a pattern and a glyph that all know each other.
#include <string>

#include <qpdf/QPDF.hh>

#include "optimizer/document/usage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  QPDF pdf;
  pdf.emptyPDF();
  QPDFObjectHandle form = QPDFObjectHandle::newStream(&pdf, content);
  QPDFObjectHandle pattern = QPDFObjectHandle::newStream(&pdf, content);
  QPDFObjectHandle image = QPDFObjectHandle::newStream(&pdf, "x");
  image.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
  image.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(9));
  image.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(9));
  form.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
  form.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 9 9]"));
  pattern.getDict().replaceKey("/PatternType", QPDFObjectHandle::newInteger(1));
  QPDFObjectHandle font = pdf.makeIndirectObject(QPDFObjectHandle::parse(
      "<< /Subtype /Type3 /FontMatrix [.1 0 0 .1 0 0] /Encoding << /Differences [0 /a /b 65 /a] >> >>"));
  QPDFObjectHandle glyphs = QPDFObjectHandle::newDictionary();
  glyphs.replaceKey("/a", form);
  font.replaceKey("/CharProcs", glyphs);
  QPDFObjectHandle composite =
      pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /Subtype /Type0 /Encoding /90ms-RKSJ-H >>"));
  composite.replaceKey("/Encoding", pattern);  // content read as a CMap, too
  QPDFObjectHandle resources = QPDFObjectHandle::parse(
      "<< /XObject << >> /Pattern << >> /Font << >> /ExtGState << /G << /SMask << >> >> >> >>");
  resources.getKey("/XObject").replaceKey("/X", form);
  resources.getKey("/XObject").replaceKey("/I", image);
  resources.getKey("/Pattern").replaceKey("/P", pattern);
  resources.getKey("/Font").replaceKey("/F", font);
  resources.getKey("/Font").replaceKey("/C", composite);
  resources.getKey("/ExtGState").getKey("/G").getKey("/SMask").replaceKey("/G", form);
  pattern.getDict().replaceKey("/Resources", resources);
  QPDFObjectHandle page = pdf.makeIndirectObject(QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 99 99] >>"));
  page.replaceKey("/Resources", resources);
  page.replaceKey("/Contents", QPDFObjectHandle::newStream(&pdf, content));
  optimizer::analyzeUsage(pdf, {page});
  return 0;
}
