#include "optimizer/document/annotation_appearance.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "optimizer/document/free_text.h"

namespace optimizer {
namespace {

std::string number(double value) {
  if (!std::isfinite(value)) return "0";
  char text[64];
  std::snprintf(text, sizeof text, "%.4f", std::clamp(value, -1e6, 1e6));
  std::string out = text;
  out.erase(out.find_last_not_of('0') + 1);
  if (out.back() == '.') out.pop_back();
  return out == "-0" ? "0" : out;
}

std::string numbers(std::initializer_list<double> values, const char* operation) {
  std::string out;
  for (double value : values) out += number(value) + " ";
  return out + operation + "\n";
}

std::vector<double> numbersOf(QPDFObjectHandle array) {
  std::vector<double> out;
  if (!array.isArray()) return out;
  constexpr int kMost = 100'000;
  for (int i = 0; i < std::min(array.getArrayNItems(), kMost); ++i) {
    QPDFObjectHandle item = array.getArrayItem(i);
    if (!item.isNumber()) return {};
    out.push_back(item.getNumericValue());
  }
  return out;
}

// The colour of an array of 1, 3 or 4 components as an operator; "" for none (12.5.2, entry C).
std::string color(QPDFObjectHandle array, bool stroke) {
  const std::vector<double> parts = numbersOf(array);
  std::string out;
  for (double part : parts) out += number(part) + " ";
  switch (parts.size()) {
    case 1: return out + (stroke ? "G\n" : "g\n");
    case 3: return out + (stroke ? "RG\n" : "rg\n");
    case 4: return out + (stroke ? "K\n" : "k\n");
    default: return "";
  }
}

struct Border {
  double width = 1;
  std::string dash;
  bool underline = false;
};

// 12.5.4: the border style dictionary, or the older array, or one point solid.
Border borderOf(QPDFObjectHandle annotation) {
  Border border;
  QPDFObjectHandle dashes = QPDFObjectHandle::newNull();
  QPDFObjectHandle style = annotation.getKey("/BS");
  QPDFObjectHandle old = annotation.getKey("/Border");
  if (style.isDictionary()) {
    if (style.getKey("/W").isNumber()) border.width = style.getKey("/W").getNumericValue();
    border.underline = style.getKey("/S").isNameAndEquals("/U");
    if (style.getKey("/S").isNameAndEquals("/D")) {
      dashes = style.getKey("/D");
      if (!dashes.isArray()) border.dash = "[3] 0 d\n";
    }
  } else if (old.isArray() && old.getArrayNItems() >= 3) {
    if (old.getArrayItem(2).isNumber()) border.width = old.getArrayItem(2).getNumericValue();
    if (old.getArrayNItems() >= 4) dashes = old.getArrayItem(3);
  }
  const std::vector<double> lengths = numbersOf(dashes);
  const bool useful = std::any_of(lengths.begin(), lengths.end(), [](double d) { return d > 0; }) &&
                      std::all_of(lengths.begin(), lengths.end(), [](double d) { return d >= 0; });
  if (useful && lengths.size() <= 16) {
    border.dash = "[";
    for (double length : lengths) border.dash += number(length) + " ";
    border.dash += "] 0 d\n";
  }
  return border;
}

struct Rect {
  double left = 0, bottom = 0, right = 0, top = 0;
};

Rect rectOf(QPDFObjectHandle annotation) {
  const std::vector<double> r = numbersOf(annotation.getKey("/Rect"));
  if (r.size() != 4) return {};
  return {std::min(r[0], r[2]), std::min(r[1], r[3]), std::max(r[0], r[2]), std::max(r[1], r[3])};
}

std::string link(QPDFObjectHandle annotation) {
  const Border border = borderOf(annotation);
  if (border.width <= 0) return "";
  QPDFObjectHandle given = annotation.getKey("/C");
  if (given.isArray() && given.getArrayNItems() == 0) return "";
  const Rect r = rectOf(annotation);
  const double half = border.width / 2;
  std::string out = color(given, true) + numbers({border.width}, "w") + border.dash;
  if (border.underline) {
    return out + numbers({r.left, r.bottom + half}, "m") + numbers({r.right, r.bottom + half}, "l") + "S\n";
  }
  return out + numbers({r.left + half, r.bottom + half, r.right - r.left - border.width,
                        r.top - r.bottom - border.width}, "re") + "S\n";
}

// Quadrilaterals are given as upper left, upper right, lower left, lower right by the writers that matter, whatever the
// standard's figure says.
std::string textMarkup(QPDFObjectHandle annotation, const std::string& kind) {
  const std::vector<double> q = numbersOf(annotation.getKey("/QuadPoints"));
  const bool fill = kind == "/Highlight";
  std::string out = color(annotation.getKey("/C"), !fill);
  for (std::size_t i = 0; i + 8 <= q.size(); i += 8) {
    const double height = std::hypot(q[i] - q[i + 4], q[i + 1] - q[i + 5]);
    const auto between = [&](double share) {
      return numbers({q[i + 4] + (q[i] - q[i + 4]) * share, q[i + 5] + (q[i + 1] - q[i + 5]) * share}, "m") +
             numbers({q[i + 6] + (q[i + 2] - q[i + 6]) * share, q[i + 7] + (q[i + 3] - q[i + 7]) * share}, "l");
    };
    if (fill) {
      out += numbers({q[i], q[i + 1]}, "m") + numbers({q[i + 2], q[i + 3]}, "l") +
             numbers({q[i + 6], q[i + 7]}, "l") + numbers({q[i + 4], q[i + 5]}, "l") + "h f\n";
    } else {
      out += numbers({std::max(height / 16, 0.5)}, "w") + between(kind == "/StrikeOut" ? 0.45 : 0.1) + "S\n";
    }
  }
  return out;
}

std::string ellipse(const Rect& r) {
  constexpr double kArc = 0.5522847498;  // of a quarter circle by one Bézier curve
  const double x = (r.left + r.right) / 2, y = (r.bottom + r.top) / 2;
  const double a = (r.right - r.left) / 2, b = (r.top - r.bottom) / 2;
  return numbers({x + a, y}, "m") + numbers({x + a, y + b * kArc, x + a * kArc, y + b, x, y + b}, "c") +
         numbers({x - a * kArc, y + b, x - a, y + b * kArc, x - a, y}, "c") +
         numbers({x - a, y - b * kArc, x - a * kArc, y - b, x, y - b}, "c") +
         numbers({x + a * kArc, y - b, x + a, y - b * kArc, x + a, y}, "c") + "h\n";
}

std::string path(const std::vector<double>& points) {
  std::string out;
  for (std::size_t i = 0; i + 2 <= points.size(); i += 2) out += numbers({points[i], points[i + 1]}, i ? "l" : "m");
  return out;
}

std::string shape(QPDFObjectHandle annotation, const std::string& kind) {
  const Border border = borderOf(annotation);
  const std::string stroke = color(annotation.getKey("/C"), true);
  const bool closed = kind == "/Square" || kind == "/Circle" || kind == "/Polygon";
  const std::string fill = closed ? color(annotation.getKey("/IC"), false) : "";
  const bool strokes = border.width > 0 && !stroke.empty();
  if (!strokes && fill.empty()) return "";
  std::string out = stroke + fill + numbers({std::max(border.width, 0.0)}, "w") + border.dash;
  if (kind == "/Square" || kind == "/Circle") {
    Rect r = rectOf(annotation);
    const std::vector<double> inset = numbersOf(annotation.getKey("/RD"));
    if (inset.size() == 4) {
      r = {r.left + inset[0], r.bottom + inset[1], r.right - inset[2], r.top - inset[3]};
    }
    const double half = strokes ? border.width / 2 : 0;
    r = {r.left + half, r.bottom + half, r.right - half, r.top - half};
    if (kind == "/Circle") {
      out += ellipse(r);
    } else {
      out += numbers({r.left, r.bottom, r.right - r.left, r.top - r.bottom}, "re");
    }
  } else if (kind == "/Ink") {
    QPDFObjectHandle strokesOfInk = annotation.getKey("/InkList");
    if (!strokesOfInk.isArray()) return "";
    for (const QPDFObjectHandle& line : strokesOfInk.getArrayAsVector()) out += path(numbersOf(line));
  } else {
    out += path(numbersOf(annotation.getKey(kind == "/Line" ? "/L" : "/Vertices")));
  }
  if (!closed) return out + "S\n";
  const std::string close = kind == "/Polygon" ? "h " : "";
  return out + close + (strokes && !fill.empty() ? "B\n" : strokes ? "S\n" : "f\n");
}

// A box in the colour C with a border in that of the text, the text in it, and the line that leads to what it is about.
void freeText(QPDFObjectHandle annotation, QPDFObjectHandle fonts, DrawnAppearance& drawn) {
  TextStyle style = textStyleOf(annotation, fonts);
  if (annotation.getKey("/Contents").isString()) chooseFont(style, annotation.getKey("/Contents").getUTF8Value());
  const Border border = borderOf(annotation);
  const double width = std::clamp(border.width, 0.0, 100.0);
  Rect r = rectOf(annotation);
  const std::vector<double> inset = numbersOf(annotation.getKey("/RD"));
  if (inset.size() == 4) r = {r.left + inset[0], r.bottom + inset[1], r.right - inset[2], r.top - inset[3]};
  const std::string fill = color(annotation.getKey("/C"), false);
  if (!fill.empty() || width > 0) {
    drawn.content = fill + style.lineColor + numbers({width}, "w") + border.dash +
                    numbers({r.left + width / 2, r.bottom + width / 2, r.right - r.left - width, r.top - r.bottom - width}, "re") +
                    (fill.empty() ? "S\n" : width > 0 ? "B\n" : "f\n");
  }
  const std::vector<double> callout = numbersOf(annotation.getKey("/CL"));
  if (width > 0 && (callout.size() == 4 || callout.size() == 6)) drawn.content += path(callout) + "S\n";
  QPDFObjectHandle contents = annotation.getKey("/Contents");
  if (!contents.isString()) return;
  const double margin = std::max(2 * width, 2.0);
  const std::string text = textInBox(contents.getUTF8Value(), style, r.left + margin, r.bottom + margin,
                                     r.right - r.left - 2 * margin, r.top - r.bottom - 2 * margin);
  if (text.empty()) return;
  drawn.content += text;
  drawn.fonts = fontResource(style);
}

}  // namespace

DrawnAppearance drawAnnotation(QPDFObjectHandle annotation, QPDFObjectHandle fonts) {
  DrawnAppearance drawn;
  QPDFObjectHandle subtype = annotation.getKey("/Subtype");
  if (!subtype.isName()) return drawn;
  const std::string kind = subtype.getName();
  QPDFObjectHandle opacity = annotation.getKey("/CA");
  if (opacity.isNumber()) drawn.opacity = std::clamp(opacity.getNumericValue(), 0.0, 1.0);
  if (kind == "/Link") {
    drawn.content = link(annotation);
  } else if (kind == "/Highlight" || kind == "/Underline" || kind == "/Squiggly" || kind == "/StrikeOut") {
    drawn.content = textMarkup(annotation, kind);
    drawn.multiply = kind == "/Highlight";
  } else if (kind == "/Square" || kind == "/Circle" || kind == "/Line" || kind == "/Polygon" || kind == "/PolyLine" ||
             kind == "/Ink") {
    drawn.content = shape(annotation, kind);
  } else if (kind == "/FreeText") {
    freeText(annotation, fonts, drawn);
  }
  return drawn;
}

}  // namespace optimizer
