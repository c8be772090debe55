// What a document's content really uses, found by interpreting every content stream once: pages, form XObjects,
// patterns, Type 3 glyphs, soft-mask groups and annotation appearances (ISO 32000-1, 7.8, 8.4, 9.4). Optional content
// counts whether it is switched on or not; so do hidden annotations and every state of an appearance.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

class Document;

// All draws of one image XObject.
struct ImageUse {
  // False when it may also be drawn at a size not known here: then its resolution and its edges stay as they are.
  bool complete = true;
  // Inches that the largest and the smallest of its draws on a page take along the image's own axes; 0 where there are
  // none of any length. They hold whatever number of pixels the image has: resolutionOf.
  double largestWidth = 0, largestHeight = 0;
  double smallestWidth = 0, smallestHeight = 0;
  // Smallest rectangle of the unit square of image space (origin bottom left) that holds every part a page ever shows,
  // clip paths and media boxes considered (many programs show and print what lies beyond the crop box, too); {0,0,1,1} where that is not known to be smaller, and for an image that no
  // page shows at all. Exact to rounding: leave a pixel around it.
  double visibleLeft = 0, visibleBottom = 0, visibleRight = 1, visibleTop = 1;
  // Largest share of a page's area that one draw covers, 0 to 1.
  double pageCoverage = 0;
  int drawCount = 0;
  std::set<int> pages;  // indexes of the pages on which it is drawn, directly or through forms
  bool operator==(const ImageUse&) const = default;
};

// Every character code shown through one font dictionary.
struct FontUse {
  // False when some shown string could not be split into codes or the font may be typed with: then every glyph counts.
  bool complete = true;
  // Simple fonts: one byte. Composite fonts: the code's bytes, high byte first, as its CMap's codespace splits them;
  // codes of different lengths and equal value are not told apart.
  std::set<std::uint32_t> codes;
  bool operator==(const FontUse&) const = default;
};

struct DocumentUsage {
  // False when some content could not be read: then nothing may be removed for being unused.
  bool complete = true;
  // Images drawn for themselves, their alternates included. An image that is missing here is never drawn.
  std::map<QPDFObjGen, ImageUse> images;
  // Soft masks and stencil masks of those images: drawn wherever the images are, with figures for their own size.
  std::map<QPDFObjGen, ImageUse> masks;
  // Fonts that text is shown with, or that a form field or free text names for typing. A font that is missing here is
  // never used.
  std::map<QPDFObjGen, FontUse> fonts;
  // For each object that has Resources (page, form, pattern, Type 3 font): the resource names used from them, as
  // "category/name", for instance "XObject/Im0". A page's names include those that content without resources of its own
  // takes from it, and a page inherits its Resources from the page tree.
  std::map<QPDFObjGen, std::set<std::string>> resources;
  // Names, without slash, under which content draws an external object that no resources have.
  std::set<std::string> missingXObjects;
  bool operator==(const DocumentUsage&) const = default;
};

// Dots per inch of an image for the Width and Height that its dictionary has now.
struct ImageResolution {
  // Along its own axes at its largest use (the smallest value over all draws); 0 when it is never drawn on a page.
  double x = 0, y = 0;
  double finest = 0;  // along either axis at its smallest use
};

ImageResolution resolutionOf(const ImageUse& use, QPDFObjectHandle dictionary);

// Interprets the whole document. Bounded in depth and time on hostile input; what cannot be read clears `complete`.
// Font dictionaries that stand directly in a resource dictionary become indirect objects on the way.
DocumentUsage analyzeUsage(Document& document);
DocumentUsage analyzeUsage(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages);

}  // namespace optimizer
