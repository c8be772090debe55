#include "optimizer/content/interpreter.h"

#include <algorithm>
#include <optional>

#include "optimizer/content/stream.h"

namespace optimizer::content {
namespace {

constexpr int maxDepth = 40;
constexpr std::size_t maxStreamBytes = std::size_t{256} << 20;
constexpr std::size_t maxWork = std::size_t{1} << 30;
constexpr std::size_t maxStates = 4096;
constexpr std::size_t maxInheritedText = 4096;
constexpr std::size_t maxDraws = 1'000'000;

bool isName(QPDFObjectHandle object, std::string_view name) { return object.isName() && object.getName() == name; }

// Names that no resource defines.
bool isDeviceSpace(std::string_view name) {
  for (std::string_view device : {"DeviceGray", "DeviceRGB", "DeviceCMYK", "Pattern", "G", "RGB", "CMYK", "I", "Indexed"}) {
    if (name == device) {
      return true;
    }
  }
  return false;
}

Matrix linear(const Matrix& matrix) { return {matrix.a, matrix.b, matrix.c, matrix.d, 0, 0}; }

}  // namespace

struct Interpreter::State {
  Matrix ctm;
  Rect clip;
  FontCodes* font = nullptr;
  double fontSize = 1;
  double horizontalScale = 1;
};

struct Interpreter::Frame {
  Frame(ResourceScope& itsScope, Summary& itsSummary) : scope(itsScope), summary(itsSummary) {}

  ResourceScope& scope;
  Summary& summary;
  State state;
  std::vector<State> saved;
  std::size_t lostSaves = 0;
  Rect path = Rect::nothing();
  bool clipPending = false;
  Matrix textMatrix;

  void point(double x, double y) { path.include(state.ctm.mapX(x, y), state.ctm.mapY(x, y)); }
  void endPath() {
    if (clipPending && !path.empty()) {
      state.clip = intersect(state.clip, path.bounded() ? path : Rect::everything());
    }
    clipPending = false;
    path = Rect::nothing();
  }
};

std::unique_ptr<Summary> Interpreter::page(QPDFObjectHandle page, const Rect& clip, ResourceScope& scope) {
  auto summary = std::make_unique<Summary>();
  draws_ -= std::min(draws_, pageDraws_);  // the caller is done with the page before
  const Result<Bytes> bytes = pageContent(page, maxStreamBytes);
  if (bytes.ok()) {
    run(*bytes, clip, scope, *summary);
  } else {
    complete_ = false;
  }
  pageDraws_ = summary->images.size() + summary->children.size();
  return summary;
}

FontCodes* Interpreter::fontCodes(QPDFObjectHandle font) {
  if (!font.isDictionary() || !font.isIndirect()) {
    return nullptr;
  }
  std::unique_ptr<FontCodes>& codes = fonts_[font.getObjGen()];
  if (codes == nullptr) {
    codes = std::make_unique<FontCodes>(font, codespaces_);
  }
  return codes.get();
}

const Summary* Interpreter::content(QPDFObjectHandle stream, ResourceScope& outer) {
  if (!stream.isStream()) {
    return nullptr;
  }
  if (const Summary* known = remembered(stream.getObjGen(), outer)) {
    return known;
  }
  QPDFObjectHandle dict = stream.getDict();
  const Rect box = readRect(dict.getKey("/BBox")).value_or(Rect::everything());
  return summarize(stream, stream.getObjGen(), dict.getKey("/Resources"), box, outer);
}

const Summary* Interpreter::glyph(FontCodes& font, QPDFObjectHandle procedure, ResourceScope& outer, bool& dependent) {
  if (!procedure.isStream()) {
    return nullptr;
  }
  const QPDFObjGen id = procedure.getObjGen();
  dependent = active_.count(id) != 0;
  const Summary* summary = remembered(id, outer);
  if (summary == nullptr) {
    summary = summarize(procedure, font.font().getObjGen(), font.font().getKey("/Resources"), Rect::everything(), outer);
  }
  const auto memos = memos_.find(id);
  dependent = dependent || (memos != memos_.end() && memos->second.front().dependent);
  return summary;
}

const Summary* Interpreter::remembered(QPDFObjGen stream, ResourceScope& outer) {
  const auto memos = memos_.find(stream);
  if (memos == memos_.end()) {
    return nullptr;
  }
  std::optional<std::vector<QPDFObjGen>> path;
  for (const Memo& memo : memos->second) {
    if (memo.dependent) {
      if (!path) {
        path = outer.path();
      }
      if (*path != memo.path) {
        continue;
      }
      outer.touch(memo.lowestLevel);
    }
    return memo.summary.get();
  }
  return nullptr;
}

const Summary* Interpreter::summarize(QPDFObjectHandle stream, QPDFObjGen owner, QPDFObjectHandle resources,
                                      const Rect& clip, ResourceScope& outer) {
  const QPDFObjGen id = stream.getObjGen();
  if (active_.count(id) != 0) {
    return nullptr;  // content that draws itself: readers stop here too
  }
  if (depth_ >= maxDepth) {
    complete_ = withinLimits_ = false;
    return nullptr;
  }
  Memo memo;
  memo.summary = std::make_unique<Summary>();
  Summary& summary = *memo.summary;
  summary.matrix = readMatrix(stream.getDict().getKey("/Matrix")).value_or(Matrix{});
  ResourceScope scope(owner, resources, &outer, resources_);
  const Result<Bytes> bytes = decodedStream(stream, maxStreamBytes);
  if (bytes.ok()) {
    active_.insert(id);
    ++depth_;
    run(*bytes, clip, scope, summary);
    --depth_;
    active_.erase(id);
  } else {
    complete_ = false;
  }
  if (scope.lowestLevel() < scope.level()) {
    memo.dependent = true;
    memo.lowestLevel = scope.lowestLevel();
    memo.path = outer.path();
    outer.touch(memo.lowestLevel);
  }
  std::vector<Memo>& memos = memos_[id];
  memos.push_back(std::move(memo));
  return memos.back().summary.get();
}

void Interpreter::run(ByteView bytes, const Rect& clip, ResourceScope& scope, Summary& summary) {
  if (!work(bytes.size() + 64)) {
    return;
  }
  Frame frame(scope, summary);
  frame.state.clip = clip;
  ContentReader reader(bytes);
  Instruction instruction;
  while (reader.next(instruction)) {
    execute(instruction, frame);
  }
  complete_ = complete_ && !reader.damaged();
  summary.drawsImages = !summary.images.empty() || !summary.children.empty();
}

void Interpreter::execute(const Instruction& in, Frame& frame) {
  State& state = frame.state;
  switch (in.op) {
    case Op::save:
      if (frame.saved.size() < maxStates) {
        frame.saved.push_back(state);
      } else {
        ++frame.lostSaves;
      }
      break;
    case Op::restore:
      if (frame.lostSaves > 0) {
        --frame.lostSaves;
      } else if (!frame.saved.empty()) {
        state = frame.saved.back();
        frame.saved.pop_back();
      }
      break;
    case Op::concatMatrix:
      if (in.numbers(6)) {
        const Matrix matrix{in.number(5), in.number(4), in.number(3), in.number(2), in.number(1), in.number(0)};
        state.ctm = concat(matrix, state.ctm);
      }
      break;

    case Op::rectangle: {
      const double x = in.number(3), y = in.number(2), width = in.number(1), height = in.number(0);
      frame.point(x, y);
      frame.point(x + width, y);
      frame.point(x, y + height);
      frame.point(x + width, y + height);
      break;
    }
    case Op::curve:
      frame.point(in.number(5), in.number(4));
      [[fallthrough]];
    case Op::curveFromCurrent:
    case Op::curveToFinal:
      frame.point(in.number(3), in.number(2));
      [[fallthrough]];
    case Op::move:
    case Op::line:
      frame.point(in.number(1), in.number(0));
      break;
    case Op::clip:
    case Op::eoClip:
      frame.clipPending = true;
      break;
    case Op::endPath:
    case Op::fill:
    case Op::fillOld:
    case Op::eoFill:
    case Op::stroke:
    case Op::closeStroke:
    case Op::fillStroke:
    case Op::eoFillStroke:
    case Op::closeFillStroke:
    case Op::closeEoFillStroke:
      frame.endPath();
      break;

    case Op::beginText:
      frame.textMatrix = {};
      break;
    case Op::textMatrix:
      if (in.numbers(6)) {
        frame.textMatrix = {in.number(5), in.number(4), in.number(3), in.number(2), 0, 0};
      }
      break;
    case Op::horizontalScale:
      state.horizontalScale = in.number(0, 100) / 100;
      break;
    case Op::font:
      for (const Token& token : in.operands) {
        if (token.isName()) {
          state.fontSize = in.number(0, 1);
          setFont(token, frame);
          break;
        }
      }
      break;
    case Op::showText:
    case Op::showTextArray:
    case Op::nextLineShow:
    case Op::nextLineShowSpaced:
      for (const Token& token : in.operands) {
        if (token.isString()) {
          show(token, frame);
        }
      }
      break;

    case Op::drawXObject:
      if (!in.operands.empty() && in.operands.back().isName()) {
        drawXObject(in.operands.back(), frame);
      }
      break;
    case Op::fillColorN:
    case Op::strokeColorN:
    case Op::fillColor:
    case Op::strokeColor:
      if (!in.operands.empty() && in.operands.back().isName()) {
        usePattern(in.operands.back(), frame);
      }
      break;
    case Op::graphicsState:
      if (!in.operands.empty() && in.operands.back().isName()) {
        useGraphicsState(frame.scope.find(ResourceCategory::extGState, in.operands.back()).object, frame);
      }
      break;
    case Op::fillColorSpace:
    case Op::strokeColorSpace:
      if (!in.operands.empty() && in.operands.back().isName()) {
        useColorSpace(in.operands.back(), frame);
      }
      break;
    case Op::shade:
      if (!in.operands.empty() && in.operands.back().isName()) {
        frame.scope.find(ResourceCategory::shading, in.operands.back());
      }
      break;
    case Op::beginMarkedDict:
    case Op::markedPointDict:
      if (in.operands.size() >= 2 && in.operands.back().isName()) {
        frame.scope.find(ResourceCategory::properties, in.operands.back());
      }
      break;
    case Op::beginInlineImage: {
      // Where both keys are there, viewers disagree on which one counts.
      for (const std::string_view key : {"CS", "ColorSpace"}) {
        const std::size_t at = inlineImageValue(in, key, key);
        if (at < in.operands.size() && in.operands[at].isName()) {
          useColorSpace(in.operands[at], frame);
        }
      }
      break;
    }
    default:
      break;
  }
}

void Interpreter::drawXObject(const Token& name, Frame& frame) {
  QPDFObjectHandle object = frame.scope.find(ResourceCategory::xObject, name).object;
  if (!object.isStream()) {
    missing_.insert(nameValue(name));
    return;
  }
  QPDFObjectHandle dict = object.getDict();
  QPDFObjectHandle subtype = dict.getKey("/Subtype");
  if (isName(subtype, "/Image")) {
    // An image's colour space may be a name that the resources define anew.
    if (QPDFObjectHandle space = dict.getKey("/ColorSpace"); space.isName()) {
      const std::string spaceName = space.getName();
      Token token;
      token.data = reinterpret_cast<const std::uint8_t*>(spaceName.data());
      token.size = static_cast<std::uint32_t>(spaceName.size());
      token.kind = TokenKind::name;
      useColorSpace(token, frame);
    }
    if (countDraw()) {
      frame.summary.images.push_back({object.getObjGen(), frame.state.ctm, frame.state.clip});
    }
  } else if (isName(subtype, "/Form") || dict.hasKey("/BBox")) {
    if (const Summary* child = content(object, frame.scope)) {
      draw(child, concat(child->matrix, frame.state.ctm), frame.state.clip, true, frame);
    }
  }
}

void Interpreter::draw(const Summary* child, const Matrix& matrix, const Rect& clip, bool placed, Frame& frame) {
  for (const std::string& text : child->inheritedText) {
    showBytes(text, frame);
  }
  if (child->drawsImages && countDraw()) {
    frame.summary.children.push_back({child, matrix, clip, placed});
  }
}

void Interpreter::usePattern(const Token& name, Frame& frame) {
  Resource& resource = frame.scope.find(ResourceCategory::pattern, name);
  if (resource.drawn) {
    return;
  }
  resource.drawn = true;
  QPDFObjectHandle pattern = resource.object;
  if (pattern.isStream()) {
    // A pattern's matrix leads to the space in which the content that names it starts, whatever the current matrix.
    if (const Summary* child = content(pattern, frame.scope)) {
      draw(child, child->matrix, Rect::everything(), false, frame);
    }
  } else if (pattern.isDictionary()) {
    useGraphicsState(pattern.getKey("/ExtGState"), frame);
  }
}

void Interpreter::useGraphicsState(QPDFObjectHandle state, Frame& frame) {
  if (!state.isDictionary()) {
    return;
  }
  QPDFObjectHandle font = state.getKey("/Font");
  if (font.isArray() && font.getArrayNItems() == 2) {
    frame.state.font = fontCodes(font.getArrayItem(0));
    QPDFObjectHandle size = font.getArrayItem(1);
    frame.state.fontSize = size.isNumber() ? size.getNumericValue() : 1;
  }
  QPDFObjectHandle mask = state.getKey("/SMask");
  if (mask.isDictionary()) {
    if (const Summary* child = content(mask.getKey("/G"), frame.scope)) {
      draw(child, concat(child->matrix, frame.state.ctm), Rect::everything(), true, frame);
    }
  }
}

void Interpreter::setFont(const Token& name, Frame& frame) {
  Resource& resource = frame.scope.find(ResourceCategory::font, name);
  if (resource.font == nullptr && !resource.object.isNull()) {
    resource.font = fontCodes(resource.object);
  }
  frame.state.font = resource.font;
}

void Interpreter::show(const Token& string, Frame& frame) {
  scratch_.clear();
  appendStringValue(string, scratch_);
  showBytes(scratch_, frame);
}

void Interpreter::showBytes(const std::string& string, Frame& frame) {
  if (frame.state.font == nullptr) {
    if (frame.summary.inheritedText.size() < maxInheritedText) {
      frame.summary.inheritedText.push_back(string);
    } else {
      complete_ = false;
    }
    return;
  }
  if (!work(string.size())) {
    return;
  }
  frame.state.font->show({reinterpret_cast<const std::uint8_t*>(string.data()), string.size()});
  if (frame.state.font->type3()) {
    showGlyphs(std::string(string), frame);
  }
}

// Glyphs of a Type 3 font are content; those that draw images are followed for their scale.
void Interpreter::showGlyphs(const std::string& string, Frame& frame) {
  const State state = frame.state;
  FontCodes& font = *state.font;
  const Matrix size{state.fontSize * state.horizontalScale, 0, 0, state.fontSize, 0, 0};
  const Matrix matrix =
      linear(concat(concat(concat(font.fontMatrix(), size), frame.textMatrix), state.ctm));
  for (char byte : string) {
    const std::uint8_t code = static_cast<std::uint8_t>(byte);
    if (font.plainGlyphs.test(code)) {
      continue;
    }
    bool dependent = false;
    const Summary* child = glyph(font, font.glyph(code), frame.scope, dependent);
    if (child == nullptr || !child->drawsImages) {
      font.plainGlyphs.set(code, !dependent);
      continue;
    }
    if (!work(1 + frame.summary.children.size() / 8)) {
      return;
    }
    std::vector<ContentDraw>& children = frame.summary.children;
    const auto same = std::find_if(children.rbegin(), children.rend(), [&](const ContentDraw& draw) {
      return draw.content == child && draw.matrix == matrix;
    });
    if (same != children.rend()) {
      continue;
    }
    if (countDraw()) {
      children.push_back({child, matrix, Rect::everything(), false});
    }
  }
}

void Interpreter::useColorSpace(const Token& name, Frame& frame) {
  if (!isDeviceSpace(name.rawName())) {
    frame.scope.find(ResourceCategory::colorSpace, name);
  }
}

bool Interpreter::work(std::size_t amount) {
  work_ += amount;
  if (work_ > maxWork) {
    complete_ = withinLimits_ = false;
  }
  return work_ <= maxWork;
}

bool Interpreter::countDraw() {
  if (++draws_ > maxDraws) {
    complete_ = withinLimits_ = false;
  }
  return draws_ <= maxDraws;
}

}  // namespace optimizer::content
