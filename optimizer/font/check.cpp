#include "optimizer/font/check.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <cstdlib>
#include <vector>

namespace optimizer::font {

namespace {

constexpr FT_Pos kTolerance = 16;  // of 64 parts of a font unit
constexpr int kMostToReorder = 64;

class Library {
 public:
  Library() { ok_ = FT_Init_FreeType(&library_) == 0; }
  ~Library() {
    if (ok_) FT_Done_FreeType(library_);
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  FT_Library get() const { return ok_ ? library_ : nullptr; }

 private:
  FT_Library library_ = nullptr;
  bool ok_ = false;
};

class Face {
 public:
  Face(const Library& library, ByteView data) {
    if (library.get() == nullptr) return;
    if (FT_New_Memory_Face(library.get(), data.data(), static_cast<FT_Long>(data.size()), 0, &face_) != 0) {
      face_ = nullptr;
    }
  }
  ~Face() {
    if (face_ != nullptr) FT_Done_Face(face_);
  }
  Face(const Face&) = delete;
  Face& operator=(const Face&) = delete;

  bool ok() const { return face_ != nullptr; }
  unsigned unitsPerEm() const { return face_->units_per_EM; }
  // One pixel per font unit, so that outlines come out in font units with six binary places.
  bool scaleTo(unsigned unitsPerEm) { return FT_Set_Pixel_Sizes(face_, unitsPerEm, unitsPerEm) == 0; }
  bool load(unsigned index) {
    return FT_Load_Glyph(face_, index, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP | FT_LOAD_NO_AUTOHINT) == 0 &&
           face_->glyph->format == FT_GLYPH_FORMAT_OUTLINE;
  }
  // Nothing where no glyph has the name; .notdef is glyph 0.
  unsigned indexOf(const std::string& name) const {
    std::string copy = name;
    return FT_Get_Name_Index(face_, copy.data());
  }
  FT_GlyphSlot slot() const { return face_->glyph; }

 private:
  FT_Face face_ = nullptr;
};

// The points of contour a of p are those of contour b of q.
bool sameContour(const FT_Outline& p, int a, const FT_Outline& q, int b) {
  const auto first = [](const FT_Outline& outline, int contour) {
    return contour == 0 ? 0 : outline.contours[contour - 1] + 1;
  };
  const int start = first(p, a), other = first(q, b), count = p.contours[a] + 1 - start;
  if (q.contours[b] + 1 - other != count) return false;
  for (int i = 0; i < count; ++i) {
    const FT_Vector &left = p.points[start + i], &right = q.points[other + i];
    if ((p.tags[start + i] & 3) != (q.tags[other + i] & 3)) return false;
    if (std::labs(left.x - right.x) > kTolerance || std::labs(left.y - right.y) > kTolerance) return false;
  }
  return true;
}

// The contours of an accented character may come in another order; what they fill is the same.
bool sameOutline(FT_GlyphSlot a, FT_GlyphSlot b) {
  if (std::labs(a->linearHoriAdvance - b->linearHoriAdvance) > 65536 / 4) return false;
  const FT_Outline &p = a->outline, &q = b->outline;
  if (p.n_points != q.n_points || p.n_contours != q.n_contours) return false;
  std::vector<bool> taken(static_cast<std::size_t>(p.n_contours));
  for (int i = 0; i < p.n_contours; ++i) {
    int match = i;
    if (taken[static_cast<std::size_t>(i)] || !sameContour(p, i, q, i)) {
      if (p.n_contours > kMostToReorder) return false;
      for (match = 0; match < p.n_contours; ++match) {
        if (!taken[static_cast<std::size_t>(match)] && sameContour(p, i, q, match)) break;
      }
      if (match == p.n_contours) return false;
    }
    taken[static_cast<std::size_t>(match)] = true;
  }
  return true;
}

Error differs(const std::string& what) { return Error{ErrorKind::damaged, "font check: " + what}; }

}  // namespace

Status sameGlyphs(ByteView before, ByteView after, const GlyphsToCheck& glyphs) {
  const Library library;
  Face old(library, before), fresh(library, after);
  if (!old.ok()) return differs("the old program does not load");
  if (!fresh.ok()) return differs("the new program does not load");
  if (old.unitsPerEm() != fresh.unitsPerEm()) return differs("the units differ");
  const unsigned size = old.unitsPerEm() == 0 ? 1000 : old.unitsPerEm();
  if (!old.scaleTo(size) || !fresh.scaleTo(size)) return differs("no scaling");
  const auto compare = [&](unsigned a, unsigned b, const std::string& what) -> Status {
    if (!old.load(a)) return {};
    if (!fresh.load(b)) return differs(what + " does not load");
    if (!sameOutline(old.slot(), fresh.slot())) return differs(what + " looks different");
    return {};
  };
  for (const std::string& name : glyphs.names) {
    const unsigned a = old.indexOf(name), b = fresh.indexOf(name);
    if (a == 0 && name != ".notdef") continue;  // not in the old program
    if (b == 0 && name != ".notdef" && a != 0) return differs("glyph " + name + " is missing");
    OPTIMIZER_TRY(compare(a, b, "glyph " + name));
  }
  for (const auto& [a, b] : glyphs.numbers) OPTIMIZER_TRY(compare(a, b, "glyph " + std::to_string(a)));
  return {};
}

}  // namespace optimizer::font
