#include "optimizer/document/field_text.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <vector>

#include "optimizer/document/field_box.h"
#include "optimizer/document/free_text.h"

namespace optimizer {
namespace {

constexpr double kLineHeight = 1.15, kAscent = 0.9;  // of the size

std::string numbers(double x, double y) {
  char text[96];
  std::snprintf(text, sizeof text, "%.3f %.3f ", x, y);
  return text;
}

// The lines between the cells of a comb, as wide as its border.
std::string combLines(int cells, const FieldBox& box) {
  std::string out = std::to_string(box.border) + " w\n";
  for (int i = 1; i < cells; ++i) {
    const double x = box.width * i / cells;
    out += numbers(x, box.border) + "m " + numbers(x, box.height - box.border) + "l\n";
  }
  return out + "S\n";
}

// Each character in the middle of its cell; what is too much for the comb is not shown.
std::string textInComb(const FieldText& text, const TextStyle& style, double width, double height) {
  const std::vector<TextLine> shown = characters(text.value, style);
  const int count = std::min(static_cast<int>(shown.size()), text.cells), empty = text.cells - count;
  if (count == 0) return "";
  const double cell = width / text.cells, line = std::min(kLineHeight * style.size, height);
  const double baseline = (height + line) / 2 - kAscent * style.size;
  const int first = text.quadding == 1 ? empty / 2 : text.quadding == 2 ? empty : 0;
  char size[32];
  std::snprintf(size, sizeof size, "%.3f", style.size);
  std::string out = "q 0 0 " + numbers(width, height) + "re W n\nBT\n/F " + size + " Tf\n" + style.color;
  double x = 0, y = 0;
  for (int i = 0; i < count; ++i) {
    const TextLine& character = shown[static_cast<std::size_t>(i)];
    const double start = (first + i) * cell + (cell - character.width) / 2;
    out += numbers(start - x, baseline - y) + "Td " + shownString(character.codes) + " Tj\n";
    x = start;
    y = baseline;
  }
  return out + "ET\nQ\n";
}

}  // namespace

bool namesSize(const std::string& appearance) {
  // A size of 0 asks the viewer to choose.
  return appearance.find(" 0 Tf") == std::string::npos && appearance.find("Tf") != std::string::npos;
}

QPDFObjectHandle drawFieldText(QPDF& pdf, QPDFObjectHandle widget, const FieldText& text,
                               QPDFObjectHandle fonts) {
  const std::optional<FieldBox> box = fieldBoxOf(widget);
  if (!box) return QPDFObjectHandle::newNull();
  const double width = box->width, height = box->height;

  QPDFObjectHandle asked = QPDFObjectHandle::newDictionary();
  asked.replaceKey("/DA", QPDFObjectHandle::newString(text.defaultAppearance));
  asked.replaceKey("/Q", QPDFObjectHandle::newInteger(text.quadding));
  TextStyle style = textStyleOf(asked, fonts);
  chooseFont(style, text.value);
  if (!canShow(style, text.value)) return QPDFObjectHandle::newNull();
  if (!namesSize(text.defaultAppearance) && !text.multiline) {
    style.size = std::clamp(height * 0.7, 4.0, 144.0);
    const double needed = textWidth(text.value, style), room = std::max(width - 4, 1.0);
    if (needed > room && text.cells == 0) style.size = std::max(style.size * room / needed, 4.0);
  }

  const double margin = std::max(2 * box->border, 2.0);
  double bottom = margin, room = height - 2 * margin;
  if (!text.multiline) {  // in the middle
    room = std::min(kLineHeight * style.size, height);
    bottom = (height - room) / 2;
  }
  std::string content = fieldBoxContent(*box);
  if (text.cells > 0 && box->border > 0) content += box->line + combLines(text.cells, *box);
  content += "/Tx BMC\n" +
             (text.cells > 0 ? textInComb(text, style, width, height)
                             : textInBox(text.value, style, margin, bottom, width - 2 * margin, room)) +
             "EMC\n";
  return fieldForm(pdf, *box, content, fontResource(style));
}

}  // namespace optimizer
