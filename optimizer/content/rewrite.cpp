#include "optimizer/content/rewrite.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "optimizer/content/geometry.h"
#include "optimizer/content/reader.h"
#include "optimizer/content/spelling.h"

namespace optimizer::content {
namespace {

// Parameters of the graphics state that one operator sets whole, in the order in which they are written. A value is
// written only when something may depend on it, so that what is set twice, or set and restored, is not written at all.
enum Slot : std::size_t {
  lineWidth,
  lineCap,
  lineJoin,
  miterLimit,
  dash,
  intent,
  flatness,
  font,
  charSpacing,
  wordSpacing,
  horizontalScale,
  leading,
  textRender,
  textRise,
  slotCount,
};

// The instruction that sets each; empty where that is not known.
using Values = std::array<std::string, slotCount>;

// A current colour as the instructions that set it. Empty space: the colour sets its own (g, rg, k). Both empty: unknown.
struct Color {
  std::string space;  // cs
  std::string color;  // sc, scn, or g, rg, k; empty behind cs: the space's initial colour
  bool operator==(const Color&) const = default;
};

struct Parameters {
  Values values;
  Color fill, stroke;
};

struct State {
  Parameters wanted;          // as the content has set them
  Parameters written;         // as the output has set them
  std::string graphicsState;  // the last gs, while nothing that it may have set was set since
  Matrix matrix;
  bool simpleFont = false;
};

// A q or a BT that goes again when nothing is drawn up to its end.
struct Bracket {
  State state;             // of a q: behind it
  Parameters written;      // before what was flushed for it
  std::size_t start = 0;   // where that is in the output
  std::size_t effects = 0; // how much had been drawn
  bool clean = true;       // outside of paths and of text
};

constexpr std::size_t maxSaved = 10000;

class Rewriter {
 public:
  explicit Rewriter(const RewriteOptions& options) : options_(options) {}

  std::optional<std::string> run(ByteView content) {
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
    return std::move(out_);
  }

 private:
  void rewrite(const Instruction& in);
  void set(Slot slot, const Instruction& in);
  void setColor(Color& wanted, Color& written, const Instruction& in);
  void save();
  void restore();
  void beginText();
  void endText();
  void graphicsState(const Instruction& in);
  void matrix(const Instruction& in);
  void path(const Instruction& in);
  void paint(const Instruction& in);
  void showArray(const Instruction& in);
  void inlineImage(const Instruction& in);
  bool imagesStand() const;

  void flush();
  void flushColor(const Color& wanted, Color& written);
  void emit(std::string_view instruction);
  void emitClose();
  void write(const Instruction& in, std::string_view keyword = {});
  // For what is kept as it stands and draws, or may: everything set so far counts for it.
  void draw(const Instruction& in);
  void forget(std::initializer_list<Slot> slots);
  void append(const Token& token, std::string& text) const;
  std::string spell(const Instruction& in, std::string_view keyword = {}) const;
  int decimals() const;

  const RewriteOptions& options_;
  std::string out_;
  State state_;
  std::vector<Bracket> saved_;
  std::vector<ByteView> images_;     // inline images, from ID to EI, as they were
  std::optional<Bracket> text_;      // the text object that is open
  std::size_t effects_ = 0;          // instructions that draw or mark
  std::size_t textEffects_ = 0;      // instructions that outlast a text object
  bool pathOpen_ = false;
  bool closePending_ = false;        // an h not yet written
  std::string currentPoint_;         // as written; empty when not known
};

bool regularEnd(const std::string& text) { return !text.empty() && isRegular(static_cast<std::uint8_t>(text.back())); }

// Appends a token's text, with the white space that it needs behind what stands there.
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

void Rewriter::flush() {
  flushColor(state_.wanted.fill, state_.written.fill);
  flushColor(state_.wanted.stroke, state_.written.stroke);
  for (std::size_t slot = 0; slot < slotCount; ++slot) {
    const std::string& wanted = state_.wanted.values[slot];
    std::string& written = state_.written.values[slot];
    if (!wanted.empty() && wanted != written) {
      emit(wanted);
      written = wanted;
    }
  }
}

void Rewriter::flushColor(const Color& wanted, Color& written) {
  if (wanted == written || wanted == Color()) {
    return;
  }
  if (wanted.space.empty() || wanted.space != written.space || wanted.color.empty()) {
    emit(wanted.space);
  }
  emit(wanted.color);
  written = wanted;
}

void Rewriter::forget(std::initializer_list<Slot> slots) {
  for (Slot slot : slots) {
    state_.wanted.values[slot].clear();
    state_.written.values[slot].clear();
  }
}

void Rewriter::set(Slot slot, const Instruction& in) {
  state_.wanted.values[slot] = spell(in);
  if (slot <= font) {  // what a graphics state dictionary may hold, too
    state_.graphicsState.clear();
  }
}

void Rewriter::setColor(Color& wanted, Color& written, const Instruction& in) {
  if (!wanted.space.empty()) {
    wanted.color = spell(in);
    return;
  }
  // The space is not known here: it was set before this content, or by g, rg or k.
  flush();
  write(in);
  ++textEffects_;
  wanted = written = {};
}

void Rewriter::save() {
  Bracket bracket;
  bracket.written = state_.written;
  bracket.start = out_.size();
  bracket.effects = effects_;
  bracket.clean = !pathOpen_ && !text_;
  flush();
  emit("q");
  ++textEffects_;
  bracket.state = state_;
  saved_.push_back(std::move(bracket));
}

void Rewriter::restore() {
  ++textEffects_;
  if (saved_.empty()) {
    // One too many: readers pass over it, but it may be somebody else's.
    emit("Q");
    ++effects_;
    state_ = {};
    state_.matrix.a = std::nan("");
    return;
  }
  Bracket bracket = std::move(saved_.back());
  saved_.pop_back();
  state_ = std::move(bracket.state);
  if (bracket.effects == effects_ && bracket.clean && !pathOpen_ && !text_) {
    out_.resize(bracket.start);
    state_.written = std::move(bracket.written);
  } else {
    emit("Q");
  }
}

void Rewriter::beginText() {
  Bracket bracket;
  bracket.written = state_.written;
  bracket.start = out_.size();
  bracket.effects = textEffects_;
  bracket.clean = !pathOpen_ && !text_;
  text_ = std::move(bracket);
  emit("BT");
}

void Rewriter::endText() {
  if (text_ && text_->effects == textEffects_ && text_->clean && !pathOpen_) {
    out_.resize(text_->start);
    state_.written = std::move(text_->written);
  } else {
    emit("ET");
  }
  text_.reset();
}

void Rewriter::graphicsState(const Instruction& in) {
  std::string text = spell(in);
  flush();
  if (text == state_.graphicsState) {
    return;
  }
  emit(text);
  ++textEffects_;
  forget({lineWidth, lineCap, lineJoin, miterLimit, dash, intent, flatness, font});
  state_.simpleFont = false;
  state_.graphicsState = std::move(text);
}

void Rewriter::matrix(const Instruction& in) {
  if (in.operands.size() == 6 && in.numbers(6)) {
    const Matrix inner{in.number(5), in.number(4), in.number(3), in.number(2), in.number(1), in.number(0)};
    if (inner.identity() && !pathOpen_) {
      return;
    }
    state_.matrix = concat(inner, state_.matrix);
  } else {
    state_.matrix.a = std::nan("");
  }
  state_.graphicsState.clear();  // a soft mask is bound to the matrix of its moment
  write(in);
  ++textEffects_;
}

int Rewriter::decimals() const {
  const Matrix& m = state_.matrix;
  // The largest stretch of any direction: the greater singular value.
  const double half = (m.a * m.a + m.b * m.b + m.c * m.c + m.d * m.d) / 2, area = m.determinant();
  const double scale = std::sqrt(half + std::sqrt(std::max(0.0, half * half - area * area)));
  const double step = 2 * options_.tolerance / scale;
  if (options_.tolerance <= 0 || !(scale > 0) || !std::isfinite(step)) {
    return 9;
  }
  return static_cast<int>(std::clamp(std::ceil(-std::log10(step)), 0.0, 9.0));
}

void Rewriter::path(const Instruction& in) {
  if (!pathOpen_) {
    flush();
    pathOpen_ = true;
  }
  ++textEffects_;
  const std::size_t count = in.op == Op::move || in.op == Op::line ? 2 : in.op == Op::curve ? 6 : 4;
  if (in.operands.size() != count || !in.numbers(count)) {
    currentPoint_.clear();
    write(in);
    return;
  }
  // Widths and heights are what makes thin bars: one more decimal.
  const int places = decimals();
  std::array<std::string, 6> numbers;
  for (std::size_t i = 0; i < count; ++i) {
    const bool size = in.op == Op::rectangle && i >= 2;
    appendRounded(in.operands[i], size ? std::min(places + 1, 9) : places, numbers[i]);
  }
  std::size_t first = 0, last = count;
  std::string_view keyword = in.keyword.text();
  const std::string end = numbers[count - 2] + ' ' + numbers[count - 1];
  if (in.op == Op::curve) {
    if (numbers[0] + ' ' + numbers[1] == currentPoint_) {
      keyword = "v";
      first = 2;
    } else if (numbers[2] + ' ' + numbers[3] == end) {
      keyword = "y";
      last = 4;
    }
  }
  std::string text;
  for (std::size_t i = first; i < last; ++i) {
    join(text, numbers[i]);
  }
  join(text, keyword);
  emit(text);
  currentPoint_ = in.op == Op::rectangle ? std::string() : end;
}

// Closing is part of some painting operators (8.5.3). Filling closes by itself, too, but an h before it stays: some
// readers fit only closed rectangles to their pixels.
void Rewriter::paint(const Instruction& in) {
  flush();
  std::string_view keyword = in.keyword.text();
  if (in.op == Op::fillOld) {
    keyword = "f";
  }
  if (closePending_) {
    switch (in.op) {
      case Op::stroke: keyword = "s"; closePending_ = false; break;
      case Op::fillStroke: keyword = "b"; closePending_ = false; break;
      case Op::eoFillStroke: keyword = "b*"; closePending_ = false; break;
      default: emitClose(); break;
    }
  }
  write(in, keyword);
  ++textEffects_;
  effects_ += in.op != Op::endPath;
  pathOpen_ = false;
  currentPoint_.clear();
}

// Strings that stand side by side become one, adjustments of nothing go.
void Rewriter::showArray(const Instruction& in) {
  const std::span<const Token> operands = in.operands;
  if (operands.size() < 2 || operands.front().kind != TokenKind::arrayStart ||
      operands.back().kind != TokenKind::arrayEnd) {
    write(in);
    return;
  }
  std::string text = "[", bytes;
  bool open = false;
  int strings = 0, others = 0;
  const auto close = [&] {
    if (open) {
      appendLiteral(bytes, text);
      bytes.clear();
      open = false;
    }
  };
  for (const Token& token : operands.subspan(1, operands.size() - 2)) {
    if (token.isString()) {
      if (open && !state_.simpleFont) {
        close();
      }
      strings += !open;
      open = true;
      appendStringValue(token, bytes);
    } else if (!(token.isNumber() && !token.irregular && token.value == 0)) {
      close();
      ++others;
      append(token, text);
    }
  }
  if (strings == 1 && others == 0) {
    std::string shown;
    appendLiteral(bytes, shown);
    emit(shown + "Tj");
    return;
  }
  close();
  emit(text + "]TJ");
}

void Rewriter::inlineImage(const Instruction& in) {
  flush();
  ++effects_;
  ++textEffects_;
  std::string text = "BI";
  for (const Token& token : in.operands) {
    // Names and keywords of the dictionary stay as they are, and so does every byte from ID to EI.
    join(text, token.text());
  }
  join(text, "ID");
  emit(text);
  out_.append(reinterpret_cast<const char*>(in.imageRaw.data()), in.imageRaw.size());
  images_.push_back(in.imageRaw);
}

// Where an inline image ends may hang on what follows it, and that is written anew: each must read as it did.
bool Rewriter::imagesStand() const {
  if (images_.empty()) {
    return true;
  }
  ContentReader reader({reinterpret_cast<const std::uint8_t*>(out_.data()), out_.size()});
  Instruction in;
  std::size_t count = 0;
  while (reader.next(in)) {
    if (in.op != Op::beginInlineImage) {
      continue;
    }
    if (count == images_.size() || !std::equal(in.imageRaw.begin(), in.imageRaw.end(), images_[count].begin(),
                                               images_[count].end())) {
      return false;
    }
    ++count;
  }
  return count == images_.size() && !reader.damaged();
}

void Rewriter::rewrite(const Instruction& in) {
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

}  // namespace

std::optional<std::string> rewriteContent(ByteView content, const RewriteOptions& options) {
  return Rewriter(options).run(content);
}

}  // namespace optimizer::content
