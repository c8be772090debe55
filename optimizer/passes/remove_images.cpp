// Makes images disappear from the pages, while content stays valid and everything else stays where it is.
//
// Image XObjects (ISO 32000-1, 8.9.5) become one empty form, so that the operators that draw them draw nothing. Inline
// images (8.9.7) are cut out of the content. Two kinds of pixels are no pictures and stay: the glyphs of Type 3 fonts,
// which are text, and what is inside soft masks, which decides how other things show.
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <qpdf/Pipeline.hh>

#include "optimizer/base/limits.h"
#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"

#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

// Drops inline images; everything else goes through as it was written.
class InlineImageFilter : public QPDFObjectHandle::TokenFilter {
 public:
  void handleToken(QPDFTokenizer::Token const& token) override {
    using Kind = QPDFTokenizer;
    // From BI on, tokens wait until it is clear whether an image follows.
    if (token.getType() == Kind::tt_word && token.getValue() == "BI") {
      release();
      holding_ = true;
    }
    if (!holding_) {
      writeToken(token);
      return;
    }
    held_.push_back(token);
    if (token.getType() == Kind::tt_inline_image) sawData_ = true;
    if (token.getType() == Kind::tt_word && token.getValue() == "EI") {
      if (sawData_) {
        held_.clear();
        ++removed_;
      }
      release();
    }
  }
  void handleEOF() override { release(); }
  std::size_t removed() const { return removed_; }

 private:
  void release() {
    for (const QPDFTokenizer::Token& token : held_) writeToken(token);
    held_.clear();
    holding_ = sawData_ = false;
  }

  std::vector<QPDFTokenizer::Token> held_;
  bool holding_ = false, sawData_ = false;
  std::size_t removed_ = 0;
};

class Remover {
 public:
  explicit Remover(Document& document) : document_(document) {}

  std::size_t run() {
    for (QPDFObjectHandle page : document_.pages()) {
      if (page.hasKey("/Thumb")) {
        page.removeKey("/Thumb");
        ++removed_;
      }
      contentOf(page);
      fromResources(page.getKey("/Resources"), 0);
      QPDFObjectHandle annotations = page.getKey("/Annots");
      if (!annotations.isArray()) continue;
      for (QPDFObjectHandle annotation : annotations.getArrayAsVector()) {
        if (annotation.isDictionary()) fromAppearances(annotation.getKey("/AP"), 0);
      }
    }
    return removed_;
  }

 private:
  void fromAppearances(QPDFObjectHandle appearance, int depth) {
    if (appearance.isStream()) {
      fromForm(appearance, 0);
    } else if (appearance.isDictionary() && depth < 3) {
      for (const std::string& key : appearance.getKeys()) fromAppearances(appearance.getKey(key), depth + 1);
    }
  }

  void fromForm(QPDFObjectHandle form, int depth) {
    if (!seen_.insert(form.getObjGen()).second) return;
    rewrite(form);
    fromResources(form.getDict().getKey("/Resources"), depth + 1);
  }

  void fromResources(QPDFObjectHandle resources, int depth) {
    if (!resources.isDictionary() || depth > limits::kNesting) return;
    if (resources.isIndirect() && !seen_.insert(resources.getObjGen()).second) return;
    QPDFObjectHandle objects = resources.getKey("/XObject");
    if (objects.isDictionary()) {
      for (const std::string& key : objects.getKeys()) {
        QPDFObjectHandle object = objects.getKey(key);
        if (!object.isStream()) continue;
        QPDFObjectHandle subtype = object.getDict().getKey("/Subtype");
        if (subtype.isNameAndEquals("/Image")) {
          objects.replaceKey(key, emptyForm());
          ++removed_;
        } else if (subtype.isNameAndEquals("/Form") && object.getObjGen() != empty_.getObjGen()) {
          fromForm(object, depth);
        }
      }
    }
    QPDFObjectHandle patterns = resources.getKey("/Pattern");
    if (!patterns.isDictionary()) return;
    for (const std::string& key : patterns.getKeys()) {
      QPDFObjectHandle pattern = patterns.getKey(key);
      if (pattern.isStream()) fromForm(pattern, depth);
    }
  }

  void contentOf(QPDFObjectHandle page) {
    QPDFObjectHandle contents = page.getKey("/Contents");
    if (contents.isStream()) {
      if (!rewritten_.insert(contents.getObjGen()).second) return;
      std::optional<Bytes> better = withoutInlineImages(textOf(contents));
      if (better) setPlain(contents, std::move(*better));
    } else if (contents.isArray()) {
      // An inline image may begin in one part and end in the next, so the parts are looked at as one.
      std::string text;
      for (QPDFObjectHandle part : contents.getArrayAsVector()) text += textOf(part) + "\n";
      std::optional<Bytes> better = withoutInlineImages(text);
      if (!better) return;
      QPDFObjectHandle joined = QPDFObjectHandle::newStream(&document_.pdf());
      setPlain(joined, std::move(*better));
      page.replaceKey("/Contents", joined);
    }
  }

  void rewrite(QPDFObjectHandle stream) {
    std::optional<Bytes> better = withoutInlineImages(textOf(stream));
    if (better) setPlain(stream, std::move(*better));
  }

  static std::string textOf(QPDFObjectHandle stream) {
    const Result<Bytes> data = decodedStreamData(stream);
    return data.ok() ? std::string(data->begin(), data->end()) : std::string();
  }

  static void setPlain(QPDFObjectHandle stream, Bytes bytes) {
    setStreamData(stream, std::move(bytes), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
  }

  // Nothing where there was none.
  std::optional<Bytes> withoutInlineImages(const std::string& text) {
    if (text.find("BI") == std::string::npos) return std::nullopt;
    InlineImageFilter filter;
    Collect collected;
    QPDFObjectHandle whole = QPDFObjectHandle::newStream(&document_.pdf(), text);
    whole.filterAsContents(&filter, &collected);
    if (filter.removed() == 0) return std::nullopt;
    removed_ += filter.removed();
    return std::move(collected.bytes);
  }

  struct Collect : Pipeline {
    Collect() : Pipeline("collect", nullptr) {}
    void write(unsigned char const* data, size_t size) override { bytes.insert(bytes.end(), data, data + size); }
    void finish() override {}
    Bytes bytes;
  };

  QPDFObjectHandle emptyForm() {
    if (!empty_.isInitialized()) {
      empty_ = QPDFObjectHandle::newStream(&document_.pdf(), "");
      empty_.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
      empty_.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
      empty_.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 0 0]"));
    }
    return empty_;
  }

  Document& document_;
  QPDFObjectHandle empty_;
  std::set<QPDFObjGen> seen_, rewritten_;
  std::size_t removed_ = 0;
};

class RemoveImagesPass : public Pass {
 public:
  std::string_view name() const override { return "remove images"; }

  Result<PassOutcome> process(PassContext& context) override {
    const std::size_t removed = Remover(context.document).run();
    if (removed == 0) return PassOutcome::unchanged;
    context.report.note(std::to_string(removed) + " images removed");
    return PassOutcome::changed;
  }
};

}  // namespace

std::unique_ptr<Pass> makeRemoveImagesPass() { return std::make_unique<RemoveImagesPass>(); }

}  // namespace optimizer
