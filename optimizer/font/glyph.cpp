#include "optimizer/font/glyph.h"

#include <cmath>

namespace optimizer::font {

namespace {

bool isMask(const PathOp& op) { return op.kind == PathKind::hintMask || op.kind == PathKind::counterMask; }

// True where the line at index ends its contour: only masks stand between it and the next move or the end.
bool endsContour(const std::vector<PathOp>& path, std::size_t index) {
  for (std::size_t i = index + 1; i < path.size(); ++i) {
    if (!isMask(path[i])) return path[i].kind == PathKind::move;
  }
  return true;
}

}  // namespace

void normalizePath(Glyph& glyph) {
  std::vector<PathOp> out;
  out.reserve(glyph.path.size());
  double x = 0, y = 0, startX = 0, startY = 0;  // of the contour being read
  double owedX = 0, owedY = 0;                  // distance of dropped lines, added to the next move
  std::size_t segments = 0;
  for (std::size_t i = 0; i < glyph.path.size(); ++i) {
    PathOp op = glyph.path[i];
    if (isMask(op)) {
      out.push_back(op);
      continue;
    }
    if (op.kind == PathKind::move) {
      x += op.d[0];
      y += op.d[1];
      startX = x;
      startY = y;
      segments = 0;
      op.d[0] += owedX;
      op.d[1] += owedY;
      owedX = owedY = 0;
      if (!out.empty() && out.back().kind == PathKind::move) {
        out.back().d[0] += op.d[0];
        out.back().d[1] += op.d[1];
      } else {
        out.push_back(op);
      }
      continue;
    }
    const std::size_t pairs = op.kind == PathKind::line ? 1 : 3;
    for (std::size_t k = 0; k < pairs; ++k) {
      x += op.d[2 * k];
      y += op.d[2 * k + 1];
    }
    ++segments;
    const bool closing = op.kind == PathKind::line && segments > 2 && std::abs(x - startX) < 1e-6 &&
                         std::abs(y - startY) < 1e-6 && endsContour(glyph.path, i);
    if (closing) {
      owedX += op.d[0];
      owedY += op.d[1];
    } else {
      out.push_back(op);
    }
  }
  while (!out.empty() && (out.back().kind == PathKind::move || isMask(out.back()))) {
    // A counter mask, or a mask before any path, still speaks of the whole glyph.
    if (isMask(out.back()) && (out.size() == 1 || out.back().kind == PathKind::counterMask)) break;
    out.pop_back();
  }
  glyph.path = std::move(out);
}

}  // namespace optimizer::font
