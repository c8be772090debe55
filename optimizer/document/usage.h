// What a document's content really uses, found by interpreting every content stream once: pages, form XObjects,
// patterns, Type 3 glyphs, soft-mask groups and annotation appearances (ISO 32000-1, 7.8, 8.4, 9.4).
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

class Document;

// All draws of one image XObject. A soft mask or stencil mask counts with the image that it belongs to.
struct ImageUse {
  // Effective resolution in dots per inch at the image's largest use (the smallest value over all draws), along the
  // image's own axes; 0 when the image is never drawn.
  double dpiX = 0;
  double dpiY = 0;
  // Smallest rectangle of the unit square of image space (origin bottom left) that holds every part a page ever shows,
  // clip paths and page boxes considered; {0,0,1,1} where that is not known to be smaller.
  double visibleLeft = 0, visibleBottom = 0, visibleRight = 1, visibleTop = 1;
  // Largest share of a page's area that one draw covers, 0 to 1.
  double pageCoverage = 0;
  int drawCount = 0;
  std::set<int> pages;  // indexes of the pages on which it is drawn, directly or through forms
};

// Every character code shown through one font dictionary.
struct FontUse {
  // False when some shown string could not be split into codes or the font may be typed with: then every glyph counts.
  bool complete = true;
  std::set<std::uint32_t> codes;   // simple fonts: one byte; composite fonts: the code as its CMap's codespace splits it
};

struct DocumentUsage {
  // False when some content could not be read: then nothing may be removed for being unused.
  bool complete = true;
  std::map<QPDFObjGen, ImageUse> images;
  std::map<QPDFObjGen, FontUse> fonts;
  // For each object that holds a content stream (page, form, pattern, Type 3 font): the resource names it uses, as
  // "category/name", for instance "XObject/Im0".
  std::map<QPDFObjGen, std::set<std::string>> resources;
};

// Interprets the whole document. Bounded in depth and time on hostile input; what cannot be read clears `complete`.
DocumentUsage analyzeUsage(Document& document);

}  // namespace optimizer
