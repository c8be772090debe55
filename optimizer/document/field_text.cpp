#include "optimizer/document/field_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <qpdf/QPDF.hh>
#include <qpdf/QUtil.hh>

#include "optimizer/content/font_codes.h"
#include "optimizer/document/free_text.h"
#include "optimizer/document/stream_data.h"

namespace optimizer {
namespace {

// The operator that sets a colour array of the widget's characteristics; "" for none.
std::string colorOf(QPDFObjectHandle characteristics, const char* key,
                    const std::array<const char*, 3>& operators) {
  QPDFObjectHandle array =
      characteristics.isDictionary() ? characteristics.getKey(key) : QPDFObjectHandle::newNull();
  if (!array.isArray()) return "";
  std::string out;
  for (QPDFObjectHandle part : array.getArrayAsVector()) {
    if (!part.isNumber()) return "";
    char text[32];
    std::snprintf(text, sizeof text, "%.3f ", std::clamp(part.getNumericValue(), 0.0, 1.0));
    out += text;
  }
  switch (array.getArrayNItems()) {
    case 1:
      return out + operators[0] + "\n";
    case 3:
      return out + operators[1] + "\n";
    case 4:
      return out + operators[2] + "\n";
    default:
      return "";
  }
}

std::string box(double left, double bottom, double width, double height, const char* operation) {
  char text[160];
  std::snprintf(text, sizeof text, "%.3f %.3f %.3f %.3f re %s\n", left, bottom, width, height, operation);
  return text;
}

bool namesSize(const std::string& appearance) {
  // A size of 0 asks the viewer to choose.
  return appearance.find(" 0 Tf") == std::string::npos && appearance.find("Tf") != std::string::npos;
}

}  // namespace

QPDFObjectHandle drawFieldText(QPDF& pdf, QPDFObjectHandle widget, const FieldText& text,
                               QPDFObjectHandle fonts) {
  const auto rect = content::readRect(widget.getKey("/Rect"));
  QPDFObjectHandle characteristics = widget.getKey("/MK");
  QPDFObjectHandle turn =
      characteristics.isDictionary() ? characteristics.getKey("/R") : QPDFObjectHandle::newNull();
  std::string latin;
  if (!rect || (turn.isInteger() && turn.getIntValue() != 0) ||
      !QUtil::utf8_to_win_ansi(text.value, latin, '?')) {
    return QPDFObjectHandle::newNull();
  }
  const double width = rect->right - rect->left, height = rect->top - rect->bottom;
  if (!(width > 0 && width < 1e5 && height > 0 && height < 1e5)) return QPDFObjectHandle::newNull();

  QPDFObjectHandle asked = QPDFObjectHandle::newDictionary();
  asked.replaceKey("/DA", QPDFObjectHandle::newString(text.defaultAppearance));
  asked.replaceKey("/Q", QPDFObjectHandle::newInteger(text.quadding));
  TextStyle style = textStyleOf(asked, fonts);
  if (!namesSize(text.defaultAppearance) && !text.multiline) {
    style.size = std::clamp(height * 0.7, 4.0, 144.0);
    const double needed = textWidth(latin, style), room = std::max(width - 4, 1.0);
    if (needed > room) style.size = std::max(style.size * room / needed, 4.0);
  }

  double border = 0;
  const std::string line = colorOf(characteristics, "/BC", {"G", "RG", "K"});
  const std::string fill = colorOf(characteristics, "/BG", {"g", "rg", "k"});
  if (!line.empty()) {
    QPDFObjectHandle borderStyle = widget.getKey("/BS");
    QPDFObjectHandle given =
        borderStyle.isDictionary() ? borderStyle.getKey("/W") : QPDFObjectHandle::newNull();
    border = given.isNumber() ? std::clamp(given.getNumericValue(), 0.0, 50.0) : 1;
  }
  std::string content;
  if (!fill.empty()) content += fill + box(0, 0, width, height, "f");
  if (border > 0) {
    content += line + std::to_string(border) + " w\n" +
               box(border / 2, border / 2, width - border, height - border, "S");
  }
  const double margin = std::max(2 * border, 2.0);
  double bottom = margin, room = height - 2 * margin;
  if (!text.multiline) {  // in the middle
    room = std::min(1.15 * style.size, height);
    bottom = (height - room) / 2;
  }
  content += "/Tx BMC\n" + textInBox(text.value, style, margin, bottom, width - 2 * margin, room) + "EMC\n";

  QPDFObjectHandle form = QPDFObjectHandle::newStream(&pdf);
  QPDFObjectHandle dictionary = form.getDict();
  dictionary.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
  dictionary.replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
  dictionary.replaceKey("/BBox",
                        QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(0, 0, width, height)));
  QPDFObjectHandle resources = QPDFObjectHandle::newDictionary();
  resources.replaceKey("/Font", QPDFObjectHandle::parse(&pdf, fontResource(style)));
  dictionary.replaceKey("/Resources", resources);
  setStreamData(form, Bytes(content.begin(), content.end()), QPDFObjectHandle::newNull(),
                QPDFObjectHandle::newNull());
  return form;
}

}  // namespace optimizer
