// The rewriter of content streams behind rewrite.h: what it knows of the state while it reads one.
#pragma once

#include <array>
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/content/geometry.h"
#include "optimizer/content/reader.h"
#include "optimizer/content/rewrite.h"

namespace optimizer::content::rewriting {

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

class Rewriter {
 public:
  explicit Rewriter(const RewriteOptions& options) : options_(options) {}

  std::optional<std::string> run(ByteView content, bool* namesKept);

 private:
  bool namesStand() const;
  void note(const Instruction& in);
  void rewrite(const Instruction& in);
  void set(Slot slot, const Instruction& in);
  void setColor(Color& wanted, Color& written, const Instruction& in);
  // One that begins here; effects: those that would keep it.
  Bracket openBracket(std::size_t effects) const;
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
  // Keywords and names, in the content, of what is not written where nothing depends on it.
  std::set<std::pair<std::string_view, std::string_view>> names_;
  std::vector<ByteView> images_;     // inline images, from ID to EI, as they were
  std::optional<Bracket> text_;      // the text object that is open
  std::size_t effects_ = 0;          // instructions that draw or mark
  std::size_t textEffects_ = 0;      // instructions that outlast a text object
  bool pathOpen_ = false;
  bool closePending_ = false;        // an h not yet written
  std::string currentPoint_;         // as written; empty when not known
};

// Appends a token's text, with the white space that it needs behind what stands there.
void join(std::string& text, std::string_view token);

}  // namespace optimizer::content::rewriting
