#include "optimizer/font/check.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_FONT_FORMATS_H
#include FT_OUTLINE_H

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace optimizer::font {

namespace {

constexpr FT_Pos kTolerance = 16;  // of 64 parts of a font unit
constexpr int kMostToReorder = 64;
// Pixels to the em: one at which hints move much, one at which outlines show.
constexpr unsigned kPictureSizes[] = {17, 64};
constexpr int kGreyTolerance = 32;  // of 255: what the rounding of coordinates does to the pixels of an edge

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
  // At one pixel per font unit outlines come out in font units with six binary places.
  bool scaleTo(unsigned pixels) { return FT_Set_Pixel_Sizes(face_, pixels, pixels) == 0; }
  bool load(unsigned index) {
    return FT_Load_Glyph(face_, index, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP | FT_LOAD_NO_AUTOHINT) == 0 &&
           face_->glyph->format == FT_GLYPH_FORMAT_OUTLINE;
  }
  // In levels of grey, as viewers draw it that use hints, or others.
  bool draw(unsigned index, bool hinted) {
    const FT_Int32 plain = FT_LOAD_NO_BITMAP | FT_LOAD_NO_AUTOHINT | FT_LOAD_RENDER;
    return FT_Load_Glyph(face_, index, hinted ? plain : plain | FT_LOAD_NO_HINTING) == 0;
  }
  std::string_view format() const { return FT_Get_Font_Format(face_); }
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

// A pixel of a drawn glyph, counted from its origin, upwards.
int pixel(FT_GlyphSlot slot, int x, int y) {
  const FT_Bitmap& bitmap = slot->bitmap;
  const int column = x - slot->bitmap_left, row = slot->bitmap_top - y;
  const bool inside = column >= 0 && row >= 0 && column < static_cast<int>(bitmap.width) &&
                      row < static_cast<int>(bitmap.rows);
  return inside ? bitmap.buffer[row * bitmap.pitch + column] : 0;
}

bool samePicture(FT_GlyphSlot a, FT_GlyphSlot b) {
  if (std::labs(a->advance.x - b->advance.x) > kTolerance) return false;
  const auto bounds = [](FT_GlyphSlot slot, bool across) {
    const int first = across ? slot->bitmap_left : slot->bitmap_top - static_cast<int>(slot->bitmap.rows) + 1;
    return std::pair(first, first + static_cast<int>(across ? slot->bitmap.width : slot->bitmap.rows));
  };
  const auto [left, right] = bounds(a, true);
  const auto [otherLeft, otherRight] = bounds(b, true);
  const auto [bottom, top] = bounds(a, false);
  const auto [otherBottom, otherTop] = bounds(b, false);
  for (int y = std::min(bottom, otherBottom); y < std::max(top, otherTop); ++y) {
    for (int x = std::min(left, otherLeft); x < std::max(right, otherRight); ++x) {
      if (std::abs(pixel(a, x, y) - pixel(b, x, y)) > kGreyTolerance) return false;
    }
  }
  return true;
}

Error differs(const std::string& what) { return Error{ErrorKind::damaged, "font check: " + what}; }

// The programs, and the glyphs of both that belong together.
struct Faces {
  Library library;
  Face old, fresh;
  std::vector<std::pair<unsigned, unsigned>> pairs;
  std::vector<std::string> what;

  Faces(ByteView before, ByteView after) : old(library, before), fresh(library, after) {}

  Status pairUp(const GlyphsToCheck& glyphs) {
    if (!old.ok()) return differs("the old program does not load");
    if (!fresh.ok()) return differs("the new program does not load");
    for (const std::string& name : glyphs.names) {
      const unsigned a = old.indexOf(name), b = fresh.indexOf(name);
      if (a == 0 && name != ".notdef") continue;  // not in the old program
      if (b == 0 && name != ".notdef") return differs("glyph " + name + " is missing");
      pairs.emplace_back(a, b);
      what.push_back("glyph " + name);
    }
    for (const auto& [a, b] : glyphs.numbers) {
      pairs.emplace_back(a, b);
      what.push_back("glyph " + std::to_string(a));
    }
    return {};
  }
};

}  // namespace

Status samePictures(ByteView before, ByteView after, const GlyphsToCheck& glyphs) {
  Faces faces(before, after);
  OPTIMIZER_TRY(faces.pairUp(glyphs));
  // Of Type 1 and CFF FreeType's hinter treats replaced hints differently: one forgets where it put stems
  // before.
  const bool hinted = faces.old.format() == faces.fresh.format();
  for (const unsigned size : kPictureSizes) {
    if (!faces.old.scaleTo(size) || !faces.fresh.scaleTo(size)) return differs("no scaling");
    for (std::size_t i = 0; i < faces.pairs.size(); ++i) {
      if (!faces.old.draw(faces.pairs[i].first, hinted)) continue;
      if (faces.fresh.draw(faces.pairs[i].second, hinted) &&
          samePicture(faces.old.slot(), faces.fresh.slot()))
        continue;
      return differs(faces.what[i] + " is drawn differently at " + std::to_string(size) + " pixels");
    }
  }
  return {};
}

Status sameGlyphs(ByteView before, ByteView after, const GlyphsToCheck& glyphs) {
  Faces faces(before, after);
  OPTIMIZER_TRY(faces.pairUp(glyphs));
  Face &old = faces.old, &fresh = faces.fresh;
  if (old.unitsPerEm() != fresh.unitsPerEm()) return differs("the units differ");
  const unsigned size = old.unitsPerEm() == 0 ? 1000 : old.unitsPerEm();
  if (!old.scaleTo(size) || !fresh.scaleTo(size)) return differs("no scaling");
  for (std::size_t i = 0; i < faces.pairs.size(); ++i) {
    const auto [a, b] = faces.pairs[i];
    if (!old.load(a)) continue;
    if (!fresh.load(b)) return differs(faces.what[i] + " does not load");
    if (!sameOutline(old.slot(), fresh.slot())) return differs(faces.what[i] + " looks different");
  }
#ifndef NDEBUG
  OPTIMIZER_TRY(samePictures(before, after, glyphs));
#endif
  return {};
}

}  // namespace optimizer::font
