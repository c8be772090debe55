// Matrices and rectangles of content streams (ISO 32000-1, 8.3). Lengths are in units of user space.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace optimizer::content {

// [a b c d e f]: maps the row vector (x, y, 1); points of the inner space come out in the outer one.
struct Matrix {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;

  double mapX(double x, double y) const { return a * x + c * y + e; }
  double mapY(double x, double y) const { return b * x + d * y + f; }
  double determinant() const { return a * d - b * c; }
  // Lengths of the images of the two unit vectors.
  double scaleX() const { return std::hypot(a, b); }
  double scaleY() const { return std::hypot(c, d); }
  bool finite() const { return std::isfinite(a + b + c + d + e + f); }
  bool identity() const { return a == 1 && b == 0 && c == 0 && d == 1 && e == 0 && f == 0; }
  bool operator==(const Matrix&) const = default;
};

// First inner, then outer.
inline Matrix concat(const Matrix& inner, const Matrix& outer) {
  return {inner.a * outer.a + inner.b * outer.c,
          inner.a * outer.b + inner.b * outer.d,
          inner.c * outer.a + inner.d * outer.c,
          inner.c * outer.b + inner.d * outer.d,
          inner.e * outer.a + inner.f * outer.c + outer.e,
          inner.e * outer.b + inner.f * outer.d + outer.f};
}

// Sides parallel to the axes. Empty when left > right or bottom > top.
struct Rect {
  double left = 0, bottom = 0, right = 0, top = 0;

  static Rect everything() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {-infinity, -infinity, infinity, infinity};
  }
  static Rect nothing() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {infinity, infinity, -infinity, -infinity};
  }
  bool empty() const { return !(left <= right && bottom <= top); }
  bool bounded() const { return std::isfinite(left) && std::isfinite(bottom) && std::isfinite(right) && std::isfinite(top); }
  double area() const { return empty() ? 0 : (right - left) * (top - bottom); }
  void include(double x, double y) {
    left = std::min(left, x), right = std::max(right, x);
    bottom = std::min(bottom, y), top = std::max(top, y);
  }
  bool operator==(const Rect&) const = default;
};

inline Rect intersect(const Rect& one, const Rect& other) {
  return {std::max(one.left, other.left), std::max(one.bottom, other.bottom), std::min(one.right, other.right),
          std::min(one.top, other.top)};
}

inline Rect unite(const Rect& one, const Rect& other) {
  if (one.empty()) {
    return other;
  }
  if (other.empty()) {
    return one;
  }
  return {std::min(one.left, other.left), std::min(one.bottom, other.bottom), std::max(one.right, other.right),
          std::max(one.top, other.top)};
}

// Bounds of the image of a rectangle; an unbounded one stays unbounded, an empty one empty.
inline Rect mapBounds(const Rect& rect, const Matrix& matrix) {
  if (rect.empty()) {
    return Rect::nothing();
  }
  if (!rect.bounded() || !matrix.finite()) {
    return Rect::everything();
  }
  Rect bounds = Rect::nothing();
  for (double x : {rect.left, rect.right}) {
    for (double y : {rect.bottom, rect.top}) {
      bounds.include(matrix.mapX(x, y), matrix.mapY(x, y));
    }
  }
  return bounds;
}

}  // namespace optimizer::content
