// Interprets content streams for what they draw and use: graphics state, forms, tiling patterns, Type 3 glyphs and
// soft-mask groups (ISO 32000-1, 8.4, 8.7.3, 8.10, 9.6.5, 11.6.5). Each content stream is read once, however often it
// is drawn: its summary holds its draws relative to its own space.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/base/bytes.h"
#include "optimizer/content/font_codes.h"
#include "optimizer/content/geometry.h"
#include "optimizer/content/reader.h"
#include "optimizer/content/resource_scope.h"

namespace optimizer::content {

struct Summary;

// One draw of an image XObject.
struct ImageDraw {
  QPDFObjGen image;
  Matrix matrix;  // image space to the space of the content
  Rect clip;      // bounds of the clip path, in the space of the content
};

// One draw of other content.
struct ContentDraw {
  const Summary* content = nullptr;
  Matrix matrix;  // the drawn content's space to this content's
  Rect clip;
  // False for pattern cells and glyphs: only the scale of the matrix counts, the place is many or not followed.
  bool placed = true;
};

struct Summary {
  Matrix matrix;  // of a form or pattern: its space to that of the content it is drawn in
  std::vector<ImageDraw> images;
  std::vector<ContentDraw> children;  // only those that draw images in the end
  bool drawsImages = false;
  // Strings shown before any font was set: with the font of whoever draws this.
  std::vector<std::string> inheritedText;
};

class Interpreter {
 public:
  Interpreter() = default;

  // A page's own content. clip: the page's visible box. The page's scope can serve its annotations afterwards.
  std::unique_ptr<Summary> page(QPDFObjectHandle page, const Rect& clip, ResourceScope& scope);
  // A form (or anything of its shape) found outside of content streams, such as an appearance. Null when it is none.
  const Summary* form(QPDFObjectHandle form, ResourceScope& outer) { return content(form, outer); }

  ResourceUse& resources() { return resources_; }
  // Names drawn, without slash, that nothing has.
  const std::set<std::string>& missingXObjects() const { return missing_; }
  // The gatherer of a font dictionary (which must be indirect), or null.
  FontCodes* fontCodes(QPDFObjectHandle font);
  const std::map<QPDFObjGen, std::unique_ptr<FontCodes>>& fonts() const { return fonts_; }

  // False once content was met that could not be read, or a limit on depth or work was reached.
  bool complete() const { return complete_; }
  // False once a limit was reached: content is missing, and with it draws.
  bool withinLimits() const { return withinLimits_; }

 private:
  struct State;
  struct Frame;
  struct Memo {
    std::vector<QPDFObjGen> path;  // of the outer scopes, where the summary depends on them
    bool dependent = false;
    int lowestLevel = 0;
    std::unique_ptr<Summary> summary;
  };

  const Summary* content(QPDFObjectHandle stream, ResourceScope& outer);
  const Summary* glyph(FontCodes& font, QPDFObjectHandle procedure, ResourceScope& outer, bool& dependent);
  const Summary* remembered(QPDFObjGen stream, ResourceScope& outer);
  const Summary* summarize(QPDFObjectHandle stream, QPDFObjGen owner, QPDFObjectHandle resources, const Rect& clip,
                           ResourceScope& outer);
  void run(ByteView bytes, const Rect& clip, ResourceScope& scope, Summary& summary);
  void execute(const Instruction& instruction, Frame& frame);
  void drawXObject(const Token& name, Frame& frame);
  void draw(const Summary* child, const Matrix& matrix, const Rect& clip, bool placed, Frame& frame);
  void usePattern(const Token& name, Frame& frame);
  void useGraphicsState(QPDFObjectHandle state, Frame& frame);
  void setFont(const Token& name, Frame& frame);
  void show(const Token& string, Frame& frame);
  void showBytes(const std::string& string, Frame& frame);
  void showGlyphs(const std::string& string, Frame& frame);
  void useColorSpace(const Token& name, Frame& frame);
  // Counts work of `amount` (bytes read, or as much); false once there was too much.
  bool work(std::size_t amount);
  bool countDraw();

  ResourceUse resources_;
  std::set<std::string> missing_;
  std::map<QPDFObjGen, std::unique_ptr<FontCodes>> fonts_;
  Codespaces codespaces_;
  std::map<QPDFObjGen, std::vector<Memo>> memos_;
  std::set<QPDFObjGen> active_;
  std::string scratch_;
  std::size_t work_ = 0;
  std::size_t draws_ = 0;  // held in summaries
  std::size_t pageDraws_ = 0;  // of them, those of the last page
  int depth_ = 0;
  bool complete_ = true;
  bool withinLimits_ = true;
};

}  // namespace optimizer::content
