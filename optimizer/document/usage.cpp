#include "optimizer/document/usage.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "optimizer/content/interpreter.h"
#include "optimizer/document/document.h"
#include "optimizer/document/typing_fonts.h"

namespace optimizer {
namespace {

using content::ContentDraw;
using content::ImageDraw;
using content::Interpreter;
using content::Matrix;
using content::Rect;
using content::ResourceScope;
using content::Summary;

constexpr std::size_t maxReplay = 4'000'000;
constexpr int maxTreeDepth = 64;

// A page as the drawings on it are measured.
struct PageFrame {
  int index = -1;         // -1: not in the page tree (a template)
  double unit = 1;        // UserUnit: default user space units of 1/72 inch
  Rect media;             // what programs may show or print, beyond the crop box too
  Rect box;               // the visible part
};

struct ImageInfo {
  std::vector<QPDFObjGen> alternates;
  std::vector<QPDFObjGen> masks;
};

double numberOf(QPDFObjectHandle dictionary, const char* key) {
  QPDFObjectHandle value = dictionary.getKey(key);
  return value.isNumber() ? value.getNumericValue() : 0;
}

QPDFObjectHandle inherited(QPDFObjectHandle page, const std::string& key) {
  for (int depth = 0; page.isDictionary() && depth < maxTreeDepth; ++depth) {
    QPDFObjectHandle value = page.getKey(key);
    if (!value.isNull()) {
      return value;
    }
    page = page.getKey("/Parent");
  }
  return QPDFObjectHandle::newNull();
}

PageFrame frameOf(QPDFObjectHandle page, int index) {
  PageFrame frame;
  frame.index = index;
  const Rect media = content::readRect(inherited(page, "/MediaBox")).value_or(Rect{0, 0, 612, 792});
  frame.media = media;
  frame.box = intersect(content::readRect(inherited(page, "/CropBox")).value_or(media), media);
  if (frame.box.empty() || frame.box.area() == 0) {
    frame.box = media;
  }
  QPDFObjectHandle unit = page.getKey("/UserUnit");
  if (unit.isNumber() && unit.getNumericValue() > 0 && unit.getNumericValue() <= 1e6) {
    frame.unit = unit.getNumericValue();
  }
  return frame;
}

class Analysis {
 public:
  explicit Analysis(QPDF& pdf) : pdf_(pdf) {}

  void page(QPDFObjectHandle page, int index);
  void namedContent();
  DocumentUsage finish();

 private:
  void annotation(QPDFObjectHandle annotation, const PageFrame& page, ResourceScope& scope);
  void appearance(QPDFObjectHandle form, const std::optional<Rect>& rect, const PageFrame& page, ResourceScope& scope);
  void nameTree(QPDFObjectHandle node, int depth, std::set<QPDFObjGen>& seen, const std::function<void(QPDFObjectHandle)>& visit);
  void replay(const Summary& summary, const Matrix& matrix, const Rect& clip, const PageFrame& page);
  void replayUnsized(const Summary& summary);
  void drawn(const ImageDraw& draw, const Matrix& matrix, const Rect& clip, const PageFrame& page);
  void count(ImageUse& use, const Matrix& matrix, const Rect& visible, double coverage, const PageFrame& page);
  ImageUse& useOf(std::map<QPDFObjGen, ImageUse>& uses, QPDFObjGen image);
  const ImageInfo& infoOf(QPDFObjGen image);

  QPDF& pdf_;
  Interpreter interpreter_;
  DocumentUsage usage_;
  std::map<QPDFObjGen, ImageInfo> infos_;
  std::set<const Summary*> unsized_;
  std::size_t replayed_ = 0;
  bool imagesComplete_ = true;
};

void Analysis::page(QPDFObjectHandle page, int index) {
  const PageFrame frame = frameOf(page, index);
  // Appearances look behind the page's resources into those of the form.
  QPDFObjectHandle form = pdf_.getRoot().getKey("/AcroForm");
  QPDFObjectHandle defaults = form.isDictionary() ? form.getKey("/DR") : QPDFObjectHandle::newNull();
  QPDFObjectHandle resources = inherited(page, "/Resources");
  {
    ResourceScope scope(page.getObjGen(), resources, nullptr, interpreter_.resources());
    const std::unique_ptr<Summary> summary = interpreter_.page(page, frame.media, scope);
    replay(*summary, {}, frame.media, frame);
  }
  QPDFObjectHandle annotations = page.getKey("/Annots");
  if (annotations.isArray()) {
    ResourceScope formScope(form.isDictionary() ? form.getObjGen() : QPDFObjGen(), defaults, nullptr,
                            interpreter_.resources());
    ResourceScope scope(page.getObjGen(), resources, &formScope, interpreter_.resources());
    for (QPDFObjectHandle& item : annotations.getArrayAsVector()) {
      if (item.isDictionary()) {
        annotation(item, frame, scope);
      }
    }
  }
}

void Analysis::annotation(QPDFObjectHandle annotation, const PageFrame& page, ResourceScope& scope) {
  const std::optional<Rect> rect = content::readRect(annotation.getKey("/Rect"));
  QPDFObjectHandle appearances = annotation.getKey("/AP");
  if (appearances.isDictionary()) {
    for (const char* key : {"/N", "/R", "/D"}) {
      QPDFObjectHandle entry = appearances.getKey(key);
      if (entry.isStream()) {
        appearance(entry, rect, page, scope);
      } else if (entry.isDictionary()) {
        for (auto& [state, form] : entry.getDictAsMap()) {
          appearance(form, rect, page, scope);
        }
      }
    }
  }
  // Icons from which readers build a button's appearance anew (12.5.6.19): at a size of their own choice.
  QPDFObjectHandle characteristics = annotation.getKey("/MK");
  if (characteristics.isDictionary()) {
    for (const char* key : {"/I", "/RI", "/IX"}) {
      appearance(characteristics.getKey(key), std::nullopt, page, scope);
    }
  }
}

// The appearance's box, as its matrix turns it, is fitted to the annotation's rectangle (12.5.5, algorithm 8.1).
void Analysis::appearance(QPDFObjectHandle form, const std::optional<Rect>& rect, const PageFrame& page,
                          ResourceScope& scope) {
  const Summary* summary = interpreter_.form(form, scope);
  if (summary == nullptr || !summary->drawsImages) {
    return;
  }
  const std::optional<Rect> box = content::readRect(form.getDict().getKey("/BBox"));
  if (!rect || !box) {
    replayUnsized(*summary);
    return;
  }
  const Rect turned = mapBounds(*box, summary->matrix);
  const double width = turned.right - turned.left, height = turned.top - turned.bottom;
  Matrix fit;
  fit.a = width > 0 ? (rect->right - rect->left) / width : 1;
  fit.d = height > 0 ? (rect->top - rect->bottom) / height : 1;
  fit.e = rect->left - turned.left * fit.a;
  fit.f = rect->bottom - turned.bottom * fit.d;
  replay(*summary, concat(summary->matrix, fit), page.media, page);
}

// Hidden pages and appearances that scripts can bring in (7.7.4).
void Analysis::namedContent() {
  QPDFObjectHandle names = pdf_.getRoot().getKey("/Names");
  if (!names.isDictionary()) {
    return;
  }
  for (const char* key : {"/Pages", "/Templates"}) {
    std::set<QPDFObjGen> seen;
    nameTree(names.getKey(key), 0, seen, [&](QPDFObjectHandle value) {
      if (value.isDictionary()) {
        page(value, -1);
      }
    });
  }
  ResourceScope none(QPDFObjGen(), QPDFObjectHandle::newNull(), nullptr, interpreter_.resources());
  std::set<QPDFObjGen> seen;
  nameTree(names.getKey("/AP"), 0, seen, [&](QPDFObjectHandle value) {
    if (const Summary* summary = interpreter_.form(value, none)) {
      replayUnsized(*summary);
    }
  });
}

void Analysis::nameTree(QPDFObjectHandle node, int depth, std::set<QPDFObjGen>& seen,
                        const std::function<void(QPDFObjectHandle)>& visit) {
  if (!node.isDictionary() || depth > maxTreeDepth || (node.isIndirect() && !seen.insert(node.getObjGen()).second)) {
    return;
  }
  QPDFObjectHandle pairs = node.getKey("/Names");
  for (int i = 1; pairs.isArray() && i < pairs.getArrayNItems(); i += 2) {
    visit(pairs.getArrayItem(i));
  }
  QPDFObjectHandle kids = node.getKey("/Kids");
  for (int i = 0; kids.isArray() && i < kids.getArrayNItems(); ++i) {
    nameTree(kids.getArrayItem(i), depth + 1, seen, visit);
  }
}

void Analysis::replay(const Summary& summary, const Matrix& matrix, const Rect& clip, const PageFrame& page) {
  if (++replayed_ > maxReplay) {
    imagesComplete_ = false;
    return;
  }
  for (const ImageDraw& draw : summary.images) {
    drawn(draw, matrix, clip, page);
  }
  for (const ContentDraw& draw : summary.children) {
    const Rect inner = intersect(mapBounds(draw.clip, matrix), clip);
    replay(*draw.content, concat(draw.matrix, matrix), draw.placed ? inner : Rect::everything(), page);
  }
}

// Notes the images of content that is drawn at no known size.
void Analysis::replayUnsized(const Summary& summary) {
  if (!unsized_.insert(&summary).second) {
    return;
  }
  for (const ImageDraw& draw : summary.images) {
    useOf(usage_.images, draw.image).complete = false;
    for (QPDFObjGen alternate : infoOf(draw.image).alternates) {
      useOf(usage_.images, alternate).complete = false;
    }
    for (QPDFObjGen mask : infoOf(draw.image).masks) {
      useOf(usage_.masks, mask).complete = false;
    }
  }
  for (const ContentDraw& draw : summary.children) {
    replayUnsized(*draw.content);
  }
}

void Analysis::drawn(const ImageDraw& draw, const Matrix& outer, const Rect& clip, const PageFrame& page) {
  if (++replayed_ > maxReplay) {
    imagesComplete_ = false;
    return;
  }
  const Matrix matrix = concat(draw.matrix, outer);
  constexpr Rect unitSquare{0, 0, 1, 1};
  Rect visible = unitSquare;
  double coverage = 0;
  const double area = std::abs(matrix.determinant());
  if (matrix.finite() && area > 0) {
    const Rect bounds = mapBounds(unitSquare, matrix);
    const Rect shown = intersect(intersect(mapBounds(draw.clip, outer), clip), bounds);
    const Matrix inverse{matrix.d / matrix.determinant(),
                         -matrix.b / matrix.determinant(),
                         -matrix.c / matrix.determinant(),
                         matrix.a / matrix.determinant(),
                         (matrix.c * matrix.f - matrix.d * matrix.e) / matrix.determinant(),
                         (matrix.b * matrix.e - matrix.a * matrix.f) / matrix.determinant()};
    // An inverse that is not finite maps to everything.
    visible = intersect(mapBounds(shown, inverse), unitSquare);
    coverage = std::min({1.0, area / page.box.area(), intersect(bounds, page.box).area() / page.box.area()});
  }
  count(useOf(usage_.images, draw.image), matrix, visible, coverage, page);
  const ImageInfo& info = infoOf(draw.image);
  for (QPDFObjGen alternate : info.alternates) {
    count(useOf(usage_.images, alternate), matrix, visible, coverage, page);
  }
  for (QPDFObjGen mask : info.masks) {
    count(useOf(usage_.masks, mask), matrix, visible, coverage, page);
  }
}

void Analysis::count(ImageUse& use, const Matrix& matrix, const Rect& visible, double coverage,
                     const PageFrame& page) {
  // A side of no length shows nothing: it says nothing about the resolution.
  const auto measure = [](double& largest, double& smallest, double inches) {
    if (!(inches > 0) || !std::isfinite(inches)) return;
    smallest = smallest == 0 ? inches : std::min(smallest, inches);
    largest = std::max(largest, inches);
  };
  measure(use.largestWidth, use.smallestWidth, matrix.scaleX() * page.unit / 72);
  measure(use.largestHeight, use.smallestHeight, matrix.scaleY() * page.unit / 72);
  Rect known{use.visibleLeft, use.visibleBottom, use.visibleRight, use.visibleTop};
  known = unite(known, visible);
  use.visibleLeft = known.left, use.visibleRight = known.right;
  use.visibleBottom = known.bottom, use.visibleTop = known.top;
  use.pageCoverage = std::max(use.pageCoverage, coverage);
  if (use.drawCount < std::numeric_limits<int>::max()) {
    ++use.drawCount;
  }
  if (page.index >= 0 && (use.pages.empty() || *use.pages.rbegin() != page.index)) {
    use.pages.insert(page.index);
  }
}

// While draws are counted, an image that nothing shows has an empty visible part.
ImageUse& Analysis::useOf(std::map<QPDFObjGen, ImageUse>& uses, QPDFObjGen image) {
  const auto [place, isNew] = uses.try_emplace(image);
  if (isNew) {
    const Rect nothing = Rect::nothing();
    ImageUse& use = place->second;
    use.visibleLeft = nothing.left, use.visibleRight = nothing.right;
    use.visibleBottom = nothing.bottom, use.visibleTop = nothing.top;
  }
  return place->second;
}

const ImageInfo& Analysis::infoOf(QPDFObjGen image) {
  const auto known = infos_.find(image);
  if (known != infos_.end()) {
    return known->second;
  }
  ImageInfo info;
  QPDFObjectHandle object = pdf_.getObject(image);
  if (object.isStream()) {
    QPDFObjectHandle dict = object.getDict();
    for (const char* key : {"/SMask", "/Mask"}) {
      if (QPDFObjectHandle mask = dict.getKey(key); mask.isStream()) {
        info.masks.push_back(mask.getObjGen());
      }
    }
    QPDFObjectHandle alternates = dict.getKey("/Alternates");
    for (int i = 0; alternates.isArray() && i < std::min(alternates.getArrayNItems(), 64); ++i) {
      QPDFObjectHandle alternate = alternates.getArrayItem(i);
      QPDFObjectHandle stream = alternate.isDictionary() ? alternate.getKey("/Image") : alternate;
      if (stream.isStream()) {
        info.alternates.push_back(stream.getObjGen());
      }
    }
  }
  return infos_.emplace(image, std::move(info)).first->second;
}

DocumentUsage Analysis::finish() {
  usage_.complete = interpreter_.complete();
  imagesComplete_ = imagesComplete_ && interpreter_.withinLimits();
  for (auto* uses : {&usage_.images, &usage_.masks}) {
    for (auto& [image, use] : *uses) {
      use.complete = use.complete && imagesComplete_;
      const bool shown = use.visibleLeft < use.visibleRight && use.visibleBottom < use.visibleTop;
      if (!shown || !use.complete) {
        use.visibleLeft = use.visibleBottom = 0;
        use.visibleRight = use.visibleTop = 1;
      }
    }
  }
  for (const auto& [font, codes] : interpreter_.fonts()) {
    usage_.fonts[font] = {codes->complete(), codes->codes()};
  }
  for (QPDFObjGen font : typingFonts(pdf_)) {
    usage_.fonts[font].complete = false;
  }
  usage_.resources = std::move(interpreter_.resources());
  usage_.missingXObjects = interpreter_.missingXObjects();
  return std::move(usage_);
}

}  // namespace

ImageResolution resolutionOf(const ImageUse& use, QPDFObjectHandle dictionary) {
  const double width = numberOf(dictionary, "/Width"), height = numberOf(dictionary, "/Height");
  const auto dpi = [](double pixels, double inches) {
    const double value = pixels > 0 && inches > 0 ? pixels / inches : 0;
    return std::isfinite(value) ? value : 0;
  };
  return {dpi(width, use.largestWidth), dpi(height, use.largestHeight),
          std::max(dpi(width, use.smallestWidth), dpi(height, use.smallestHeight))};
}

DocumentUsage analyzeUsage(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages) {
  try {
    Analysis analysis(pdf);
    int index = 0;
    for (const QPDFObjectHandle& page : pages) {
      analysis.page(page, index++);
    }
    analysis.namedContent();
    return analysis.finish();
  } catch (const std::exception&) {
    // The document's structure is beyond reading: nothing is known of any use.
    DocumentUsage usage;
    usage.complete = false;
    return usage;
  }
}

DocumentUsage analyzeUsage(Document& document) { return analyzeUsage(document.pdf(), document.pages()); }

}  // namespace optimizer
