#include "optimizer/document/field_text.h"

#include <algorithm>
#include <optional>
#include <qpdf/QUtil.hh>

#include "optimizer/document/field_box.h"
#include "optimizer/document/free_text.h"

namespace optimizer {
namespace {

bool namesSize(const std::string& appearance) {
  // A size of 0 asks the viewer to choose.
  return appearance.find(" 0 Tf") == std::string::npos && appearance.find("Tf") != std::string::npos;
}

}  // namespace

QPDFObjectHandle drawFieldText(QPDF& pdf, QPDFObjectHandle widget, const FieldText& text,
                               QPDFObjectHandle fonts) {
  const std::optional<FieldBox> box = fieldBoxOf(widget);
  std::string latin;
  if (!box || !QUtil::utf8_to_win_ansi(text.value, latin, '?')) return QPDFObjectHandle::newNull();
  const double width = box->width, height = box->height;

  QPDFObjectHandle asked = QPDFObjectHandle::newDictionary();
  asked.replaceKey("/DA", QPDFObjectHandle::newString(text.defaultAppearance));
  asked.replaceKey("/Q", QPDFObjectHandle::newInteger(text.quadding));
  TextStyle style = textStyleOf(asked, fonts);
  if (!namesSize(text.defaultAppearance) && !text.multiline) {
    style.size = std::clamp(height * 0.7, 4.0, 144.0);
    const double needed = textWidth(latin, style), room = std::max(width - 4, 1.0);
    if (needed > room) style.size = std::max(style.size * room / needed, 4.0);
  }

  const double margin = std::max(2 * box->border, 2.0);
  double bottom = margin, room = height - 2 * margin;
  if (!text.multiline) {  // in the middle
    room = std::min(1.15 * style.size, height);
    bottom = (height - room) / 2;
  }
  const std::string content = fieldBoxContent(*box) + "/Tx BMC\n" +
                              textInBox(text.value, style, margin, bottom, width - 2 * margin, room) +
                              "EMC\n";
  return fieldForm(pdf, *box, content, fontResource(style));
}

}  // namespace optimizer
