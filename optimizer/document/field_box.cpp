#include "optimizer/document/field_box.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <qpdf/QPDF.hh>
#include <utility>

#include "optimizer/content/font_codes.h"
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

std::string rectangle(double left, double bottom, double width, double height) {
  char text[160];
  std::snprintf(text, sizeof text, "%.3f %.3f %.3f %.3f re ", left, bottom, width, height);
  return text;
}

// Four arcs of the largest circle in the middle.
std::string circle(double left, double bottom, double width, double height) {
  constexpr double kArc = 0.5523;
  const double x = left + width / 2, y = bottom + height / 2, r = std::min(width, height) / 2;
  char text[200];
  std::snprintf(text, sizeof text, "%.3f %.3f m ", x + r, y);
  std::string out = text;
  const double turns[][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
  for (const auto& [c, s] : turns) {
    std::snprintf(text, sizeof text, "%.3f %.3f %.3f %.3f %.3f %.3f c ", x + r * (c - s * kArc),
                  y + r * (s + c * kArc), x + r * (c * kArc - s), y + r * (s * kArc + c), x - r * s,
                  y + r * c);
    out += text;
  }
  return out;
}

}  // namespace

std::optional<FieldBox> fieldBoxOf(QPDFObjectHandle widget) {
  const auto rect = content::readRect(widget.getKey("/Rect"));
  QPDFObjectHandle characteristics = widget.getKey("/MK");
  QPDFObjectHandle turn =
      characteristics.isDictionary() ? characteristics.getKey("/R") : QPDFObjectHandle::newNull();
  if (!rect) return std::nullopt;
  FieldBox box;
  box.width = rect->right - rect->left;
  box.height = rect->top - rect->bottom;
  if (turn.isInteger()) {
    box.turn = static_cast<int>((turn.getIntValue() % 360 + 360) % 360);
    if (box.turn % 90 != 0) return std::nullopt;
    if (box.turn % 180 != 0) std::swap(box.width, box.height);
  }
  if (!(box.width > 0 && box.width < 1e5 && box.height > 0 && box.height < 1e5)) return std::nullopt;
  box.line = colorOf(characteristics, "/BC", {"G", "RG", "K"});
  box.fill = colorOf(characteristics, "/BG", {"g", "rg", "k"});
  if (!box.line.empty()) {
    QPDFObjectHandle style = widget.getKey("/BS");
    QPDFObjectHandle given = style.isDictionary() ? style.getKey("/W") : QPDFObjectHandle::newNull();
    box.border = given.isNumber() ? std::clamp(given.getNumericValue(), 0.0, 50.0) : 1;
  }
  return box;
}

std::string fieldBoxContent(const FieldBox& box, bool round) {
  const auto shape = round ? circle : rectangle;
  std::string content;
  if (!box.fill.empty()) content += box.fill + shape(0, 0, box.width, box.height) + "f\n";
  if (box.border > 0) {
    content += box.line + std::to_string(box.border) + " w\n" +
               shape(box.border / 2, box.border / 2, box.width - box.border, box.height - box.border) + "S\n";
  }
  return content;
}

QPDFObjectHandle fieldForm(QPDF& pdf, const FieldBox& box, const std::string& content,
                           const std::string& fonts) {
  QPDFObjectHandle form = QPDFObjectHandle::newStream(&pdf);
  QPDFObjectHandle dictionary = form.getDict();
  dictionary.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
  dictionary.replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
  dictionary.replaceKey("/BBox",
                        QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(0, 0, box.width, box.height)));
  // The box that comes out is moved to the widget's rectangle (12.5.5).
  static constexpr const char* kTurned[] = {"", "[0 1 -1 0 0 0]", "[-1 0 0 -1 0 0]", "[0 -1 1 0 0 0]"};
  if (box.turn != 0) dictionary.replaceKey("/Matrix", QPDFObjectHandle::parse(kTurned[box.turn / 90]));
  QPDFObjectHandle resources = QPDFObjectHandle::newDictionary();
  resources.replaceKey("/Font", QPDFObjectHandle::parse(&pdf, fonts));
  dictionary.replaceKey("/Resources", resources);
  setStreamData(form, Bytes(content.begin(), content.end()), QPDFObjectHandle::newNull(),
                QPDFObjectHandle::newNull());
  return form;
}

}  // namespace optimizer
