#include "optimizer/content/rewrite.h"

#include <algorithm>

#include "optimizer/content/rewriter.h"
#include "optimizer/content/spelling.h"

namespace optimizer::content {
namespace rewriting {
namespace {

constexpr std::size_t maxSaved = 10000;

bool regularEnd(const std::string& text) { return !text.empty() && isRegular(static_cast<std::uint8_t>(text.back())); }

}  // namespace

void join(std::string& text, std::string_view token) {
  if (!token.empty() && isRegular(static_cast<std::uint8_t>(token.front())) && regularEnd(text)) {
    text += ' ';
  }
  text += token;
  // A name without characters ends in its slash, which separates nothing.
  if (token == "/") {
    text += ' ';
  }
}

void Rewriter::append(const Token& token, std::string& text) const {
  std::string spelled;
  switch (token.kind) {
    case TokenKind::number:
      appendNumber(token, spelled);
      break;
    case TokenKind::string:
    case TokenKind::hexString: {
      std::string bytes;
      appendStringValue(token, bytes);
      appendLiteral(bytes, spelled);
      break;
    }
    default:
      spelled = token.text();
      break;
  }
  join(text, spelled);
}

std::string Rewriter::spell(const Instruction& in, std::string_view keyword) const {
  std::string text;
  for (const Token& token : in.operands) {
    append(token, text);
  }
  join(text, keyword.empty() ? in.keyword.text() : keyword);
  return text;
}

void Rewriter::emit(std::string_view instruction) {
  if (!instruction.empty() && isRegular(static_cast<std::uint8_t>(instruction.front())) && regularEnd(out_)) {
    out_ += '\n';
  }
  out_ += instruction;
}

void Rewriter::write(const Instruction& in, std::string_view keyword) { emit(spell(in, keyword)); }

void Rewriter::emitClose() {
  if (closePending_) {
    closePending_ = false;
    emit("h");
  }
}

void Rewriter::draw(const Instruction& in) {
  flush();
  write(in);
  ++effects_;
  ++textEffects_;
}

void Rewriter::note(const Instruction& in) {
  for (const Token& token : in.operands) {
    if (token.isName()) {
      names_.emplace(in.keyword.text(), token.text());
    }
  }
}

// Whether all of names_ are in the output. Between a name and its keyword there are numbers at most.
bool Rewriter::namesStand() const {
  auto missing = names_;
  const auto regular = [this](std::size_t at) { return isRegular(static_cast<std::uint8_t>(out_[at])); };
  for (std::size_t at = out_.find('/'); at != std::string::npos && !missing.empty(); at = out_.find('/', at)) {
    const std::size_t name = at++;
    while (at < out_.size() && regular(at)) ++at;
    const std::string_view named(out_.data() + name, at - name);
    std::size_t keyword = std::min(out_.find_first_not_of(" \n+-.0123456789", at), out_.size()), end = keyword;
    while (end < out_.size() && regular(end)) ++end;
    missing.erase({std::string_view(out_.data() + keyword, end - keyword), named});
  }
  return missing.empty();
}

std::optional<std::string> Rewriter::run(ByteView content, bool* namesKept) {
  ContentReader reader(content);
  Instruction in;
  out_.reserve(content.size());
  while (reader.next(in)) {
    rewrite(in);
    if (saved_.size() > maxSaved) {
      return std::nullopt;
    }
  }
  if (reader.damaged()) {
    return std::nullopt;
  }
  emitClose();
  if (!imagesStand()) {
    return std::nullopt;
  }
  if (namesKept != nullptr) {
    *namesKept = namesStand();
  }
  return std::move(out_);
}

void Rewriter::rewrite(const Instruction& in) {
  switch (in.op) {
    case Op::font:
    case Op::graphicsState:
    case Op::fillColorSpace:
    case Op::strokeColorSpace:
    case Op::fillColor:
    case Op::strokeColor:
    case Op::fillColorN:
    case Op::strokeColorN: note(in); break;
    default: break;
  }
  switch (in.op) {
    case Op::fillGray:
    case Op::fillRgb:
    case Op::fillCmyk: state_.wanted.fill = {{}, spell(in)}; return;
    case Op::strokeGray:
    case Op::strokeRgb:
    case Op::strokeCmyk: state_.wanted.stroke = {{}, spell(in)}; return;
    case Op::fillColorSpace: state_.wanted.fill = {spell(in), {}}; return;
    case Op::strokeColorSpace: state_.wanted.stroke = {spell(in), {}}; return;
    case Op::fillColor:
    case Op::fillColorN: return setColor(state_.wanted.fill, state_.written.fill, in);
    case Op::strokeColor:
    case Op::strokeColorN: return setColor(state_.wanted.stroke, state_.written.stroke, in);

    case Op::lineWidth: return set(lineWidth, in);
    case Op::lineCap: return set(lineCap, in);
    case Op::lineJoin: return set(lineJoin, in);
    case Op::miterLimit: return set(miterLimit, in);
    case Op::dash: return set(dash, in);
    case Op::renderingIntent: return set(intent, in);
    case Op::flatness: return set(flatness, in);
    case Op::charSpacing: return set(charSpacing, in);
    case Op::wordSpacing: return set(wordSpacing, in);
    case Op::horizontalScale: return set(horizontalScale, in);
    case Op::leading: return set(leading, in);
    case Op::textRender: return set(textRender, in);
    case Op::textRise: return set(textRise, in);
    case Op::font:
      set(font, in);
      state_.simpleFont = options_.isSimpleFont && in.operands.size() == 2 && in.operands[0].isName() &&
                          options_.isSimpleFont(nameValue(in.operands[0]));
      return;

    case Op::closePath:
      emitClose();
      closePending_ = pathOpen_;
      if (!pathOpen_) {
        write(in);
      }
      currentPoint_.clear();
      return;
    case Op::fill:
    case Op::fillOld:
    case Op::eoFill:
    case Op::stroke:
    case Op::closeStroke:
    case Op::fillStroke:
    case Op::eoFillStroke:
    case Op::closeFillStroke:
    case Op::closeEoFillStroke:
    case Op::endPath: return paint(in);
    default: break;
  }
  emitClose();
  switch (in.op) {
    case Op::move:
    case Op::line:
    case Op::curve:
    case Op::curveFromCurrent:
    case Op::curveToFinal:
    case Op::rectangle: return path(in);
    case Op::clip:
    case Op::eoClip: return write(in);

    case Op::save: return save();
    case Op::restore: return restore();
    case Op::concatMatrix: return matrix(in);
    case Op::graphicsState: return graphicsState(in);

    case Op::beginText: return beginText();
    case Op::endText: return endText();
    case Op::textMove:
    case Op::textMatrix: return write(in);
    case Op::textMoveLeading:  // sets the leading on its way
      forget({leading});
      ++textEffects_;
      return write(in);
    case Op::nextLine:
      flush();
      return write(in);
    case Op::showTextArray:
      flush();
      ++effects_;
      ++textEffects_;
      return showArray(in);
    case Op::nextLineShowSpaced:
      draw(in);
      return forget({charSpacing, wordSpacing});

    case Op::beginMarked:
    case Op::beginMarkedDict:
    case Op::endMarked:
    case Op::markedPoint:
    case Op::markedPointDict:
      write(in);
      ++effects_;
      ++textEffects_;
      return;
    case Op::beginInlineImage: return inlineImage(in);
    default: return draw(in);
  }
}

}  // namespace rewriting

std::optional<std::string> rewriteContent(ByteView content, const RewriteOptions& options, bool* namesKept) {
  return rewriting::Rewriter(options).run(content, namesKept);
}

}  // namespace optimizer::content
