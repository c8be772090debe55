#include "optimizer/document/field_button.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "optimizer/document/field_box.h"
#include "optimizer/document/field_text.h"
#include "optimizer/document/free_text.h"

namespace optimizer {
namespace {

// The marks that viewers offer. All stand from just below the baseline to seven tenths of the size above it.
struct Mark {
  char letter;
  double width;  // of the size
};
constexpr Mark kMarks[] = {{'4', 0.846}, {'8', 0.677}, {'H', 0.816},
                           {'l', 0.791}, {'n', 0.761}, {'u', 0.788}};
constexpr double kMiddle = 0.346;  // of the size above the baseline

Mark markOf(QPDFObjectHandle widget, bool radio) {
  QPDFObjectHandle characteristics = widget.getKey("/MK");
  QPDFObjectHandle caption =
      characteristics.isDictionary() ? characteristics.getKey("/CA") : QPDFObjectHandle::newNull();
  const std::string text = caption.isString() ? caption.getStringValue() : "";
  for (const Mark& mark : kMarks) {
    if (text.size() == 1 && text[0] == mark.letter) return mark;
  }
  return kMarks[radio ? 3 : 0];
}

}  // namespace

QPDFObjectHandle drawFieldButton(QPDF& pdf, QPDFObjectHandle widget, const FieldButton& button) {
  const std::optional<FieldBox> box = fieldBoxOf(widget);
  if (!box) return QPDFObjectHandle::newNull();
  const Mark mark = markOf(widget, button.radio);
  std::string content = fieldBoxContent(*box, button.radio && mark.letter == 'l');
  if (button.on) {
    QPDFObjectHandle asked = QPDFObjectHandle::newDictionary();
    asked.replaceKey("/DA", QPDFObjectHandle::newString(button.defaultAppearance));
    // A circle in a circle is a dot.
    const double room = std::min(box->width, box->height) - 2 * box->border;
    const double fitting = std::max(room, 1.0) * (button.radio && mark.letter == 'l' ? 0.7 : 1);
    const TextStyle style = textStyleOf(asked, QPDFObjectHandle::newNull());
    const double size = namesSize(button.defaultAppearance) ? style.size : fitting;
    char text[160];
    std::snprintf(text, sizeof text, "BT\n/F %.3f Tf\n%.3f %.3f Td (%c) Tj\nET\nQ\n", size,
                  (box->width - mark.width * size) / 2, box->height / 2 - kMiddle * size, mark.letter);
    content += "q\n" + style.color + text;
  }
  if (content.empty()) return QPDFObjectHandle::newNull();
  return fieldForm(pdf, *box, content, "<< /F << /Type /Font /Subtype /Type1 /BaseFont /ZapfDingbats >> >>");
}

}  // namespace optimizer
