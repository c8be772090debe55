// Turns annotations into page content: form fields, links, and all others, each class by its strip bit.
//
//   1. Fields without an appearance, or whose appearances the document calls outdated, get one from their value.
//   2. Each annotation that shows on a screen is drawn after the page's own content: its normal appearance by the
//      algorithm of ISO 32000-1, 12.5.5, or, where it has none, what viewers draw for its kind.
//   3. The annotations go, and with them what only existed for their sake: the form, its signatures, the references that
//      the structure tree has to them.
#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFEmbeddedFileDocumentHelper.hh>
#include <qpdf/QPDFFileSpecObjectHelper.hh>
#include <qpdf/QPDFFormFieldObjectHelper.hh>
#include <qpdf/QUtil.hh>

#include "optimizer/document/annotation_appearance.h"
#include "optimizer/document/document.h"
#include "optimizer/document/field_box.h"
#include "optimizer/document/field_button.h"
#include "optimizer/document/field_text.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

// How a page's content leaves the graphics state stack: its lowest and its final depth.
class StackDepth : public QPDFObjectHandle::TokenFilter {
 public:
  void handleToken(QPDFTokenizer::Token const& token) override {
    if (token.getType() != QPDFTokenizer::tt_word) return;
    if (token.getValue() == "q") ++depth;
    if (token.getValue() == "Q") lowest = std::min(lowest, --depth);
  }
  int depth = 0, lowest = 0;
};

constexpr int kMostCells = 1000;

class Flattener {
 public:
  Flattener(Document& document, std::uint32_t strip) : document_(document), pdf_(document.pdf()), strip_(strip) {}

  std::size_t run() {
    if (strip_ & flattenFormFields) generateFieldAppearances();
    for (QPDFObjectHandle page : document_.pages()) flattenPage(page);
    if (strip_ & flattenFormFields) removeForm();
    if (!gone_.empty()) removeFromStructureTree();
    return removed_;
  }

 private:
  bool wanted(QPDFObjectHandle annotation) const {
    QPDFObjectHandle subtype = annotation.getKey("/Subtype");
    if (subtype.isNameAndEquals("/Widget")) return (strip_ & flattenFormFields) != 0;
    if (subtype.isNameAndEquals("/Link")) return (strip_ & flattenLinks) != 0;
    return (strip_ & flattenOtherAnnotations) != 0;
  }

  void generateFieldAppearances() {
    QPDFAcroFormDocumentHelper form(pdf_);
    if (!form.hasAcroForm()) return;
    const bool outdated = form.getNeedAppearances();
    for (QPDFObjectHandle page : document_.pages()) {
      for (QPDFAnnotationObjectHelper& widget : form.getWidgetAnnotationsForPage(page)) {
        QPDFFormFieldObjectHelper field = form.getFieldForAnnotation(widget);
        const std::string type = field.getFieldType();
        if (type == "/Btn") setButton(field, widget);
        if (type != "/Tx" && type != "/Ch") continue;
        if (!outdated && widget.getAppearanceStream("/N").isStream()) continue;
        if ((type == "/Tx" || isTurned(widget)) && setText(field, widget)) continue;
        // Below nothing is known of turned widgets.
        if (isTurned(widget) && widget.getAppearanceStream("/N").isStream()) continue;
        field.generateAppearance(widget);
        settle(widget);
      }
    }
  }

  static bool isTurned(QPDFAnnotationObjectHelper& widget) {
    const std::optional<FieldBox> box = fieldBoxOf(widget.getObjectHandle());
    return box && box->turn != 0;
  }

  // What the generator above does not know: several lines, combs, text that is not set from the left, turned text,
  // backgrounds and borders, and letters outside Latin.
  bool setText(QPDFFormFieldObjectHelper& field, QPDFAnnotationObjectHelper& widget) {
    // A list shows more than its value.
    if (field.getFieldType() == "/Ch" && (field.getFlags() & ff_ch_combo) == 0) return false;
    const int flags = field.getFieldType() == "/Tx" ? field.getFlags() : 0;
    FieldText text;
    text.multiline = (flags & ff_tx_multiline) != 0;
    text.quadding = field.getQuadding();
    const bool password = (flags & ff_tx_password) != 0;
    QPDFObjectHandle annotation = widget.getObjectHandle();
    QPDFObjectHandle box = annotation.getKey("/MK");
    const bool boxed = box.isDictionary() && (box.hasKey("/BG") || box.hasKey("/BC")) &&
                       !widget.getAppearanceStream("/N").isStream();
    QPDFObjectHandle cells = field.getInheritableFieldValue("/MaxLen");
    if ((flags & (ff_tx_comb | ff_tx_multiline | ff_tx_password | ff_tx_file_select)) == ff_tx_comb &&
        cells.isInteger() && cells.getIntValue() > 0 && cells.getIntValue() <= kMostCells) {
      text.cells = cells.getIntValueAsInt();
    }
    text.value = field.getValueAsString();
    std::string latin;
    const bool plain = QUtil::utf8_to_win_ansi(text.value, latin, '?');
    const bool ordinary = text.quadding == 0 && !boxed && plain && !isTurned(widget);
    if (!password && !text.multiline && text.cells == 0 && ordinary) return false;
    // Viewers show that something was typed as a password, and not what.
    if (password) text.value.assign(std::min<std::size_t>(text.value.size(), 64), '*');
    text.defaultAppearance = field.getDefaultAppearance();
    return setAppearance(annotation, drawFieldText(pdf_, annotation, text, formFonts())) || password;
  }

  // Buttons that have no appearance in any state; one without an appearance in its present state shows nothing.
  void setButton(QPDFFormFieldObjectHelper& field, QPDFAnnotationObjectHelper& widget) {
    QPDFObjectHandle annotation = widget.getObjectHandle();
    QPDFObjectHandle states = widget.getAppearanceDictionary();
    if (states.isDictionary()) states = states.getKey("/N");
    if (states.isStream()) return;
    if (states.isDictionary()) {
      for (const std::string& state : states.getKeys()) {
        if (states.getKey(state).isStream()) return;
      }
    }
    const int flags = field.getFlags();
    if ((flags & ff_btn_pushbutton) != 0) {
      QPDFObjectHandle box = annotation.getKey("/MK");
      QPDFObjectHandle caption = box.isDictionary() ? box.getKey("/CA") : QPDFObjectHandle::newNull();
      FieldText text;
      if (caption.isString()) text.value = caption.getUTF8Value();
      text.quadding = 1;
      text.defaultAppearance = field.getDefaultAppearance();
      setAppearance(annotation, drawFieldText(pdf_, annotation, text, formFonts()));
      return;
    }
    FieldButton button;
    button.radio = (flags & ff_btn_radio) != 0;
    // Of several radio buttons with one value only their states say which is on.
    QPDFObjectHandle state = annotation.getKey("/AS");
    if (!state.isName() && !button.radio) state = field.getValue();
    button.on = state.isName() && state.getName() != "/Off";
    button.defaultAppearance = field.getDefaultAppearance();
    setAppearance(annotation, drawFieldButton(pdf_, annotation, button));
  }

  static bool setAppearance(QPDFObjectHandle annotation, QPDFObjectHandle form) {
    if (!form.isStream()) return false;
    QPDFObjectHandle appearances = QPDFObjectHandle::newDictionary();
    appearances.replaceKey("/N", form);
    annotation.replaceKey("/AP", appearances);
    annotation.removeKey("/AS");  // would choose among several
    return true;
  }

  // The Font resources of the form, or null.
  QPDFObjectHandle formFonts() {
    QPDFObjectHandle fonts = pdf_.getRoot();
    for (const char* key : {"/AcroForm", "/DR", "/Font"}) {
      fonts = fonts.isDictionary() ? fonts.getKey(key) : QPDFObjectHandle::newNull();
    }
    return fonts;
  }

  // The generator leaves its text as a filter that waits on the stream; from here on it is plain bytes.
  void settle(QPDFAnnotationObjectHelper& widget) {
    QPDFObjectHandle stream = widget.getAppearanceStream("/N");
    Result<Bytes> bytes = decodedStreamData(stream);
    if (!bytes.ok()) return;
    QPDFObjectHandle plain = QPDFObjectHandle::newStream(&pdf_);
    plain.replaceDict(stream.getDict().shallowCopy());
    setStreamData(plain, std::move(*bytes), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
    widget.getObjectHandle().getKey("/AP").replaceKey("/N", plain);
  }

  void flattenPage(QPDFObjectHandle page) {
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray()) return;
    std::vector<QPDFObjectHandle> kept;
    std::string content;
    names_ = page.getKey("/Resources");
    added_.clear();
    int rotate = 0;
    if (page.getKey("/Rotate").isInteger()) rotate = page.getKey("/Rotate").getIntValueAsInt();
    for (QPDFObjectHandle annotation : annotations.getArrayAsVector()) {
      if (!annotation.isDictionary() || !wanted(annotation)) {
        kept.push_back(annotation);
        continue;
      }
      content += draw(annotation, rotate);
      keepFile(annotation);
      gone_.insert(annotation.getObjGen());
      ++removed_;
    }
    if (static_cast<int>(kept.size()) == annotations.getArrayNItems()) return;
    if (kept.empty()) {
      page.removeKey("/Annots");
    } else {
      page.replaceKey("/Annots", QPDFObjectHandle::newArray(kept));
    }
    if (!content.empty()) addContent(page, content);
  }

  // The operators that draw one annotation.
  std::string draw(QPDFObjectHandle annotation, int rotate) {
    QPDFAnnotationObjectHelper helper(annotation);
    const int flags = helper.getFlags();
    if ((flags & (an_hidden | an_no_view)) != 0) return "";
    // A popup is a window of the viewer, not part of the page.
    if (annotation.getKey("/Subtype").isNameAndEquals("/Popup")) return "";
    QPDFObjectHandle appearance = appearanceOf(helper);
    if (!appearance.isStream()) {
      appearance = drawn(annotation);
      if (!appearance.isStream()) return "";
      return "q " + useObject(withLayer(appearance, annotation)) + " Do Q\n";
    }
    const std::string name = useObject(withLayer(appearance, annotation));
    return helper.getPageContentForAppearance(name, rotate, 0, an_hidden | an_no_view);
  }

  // The normal appearance; where there are several and none is chosen, the one that the field's value names.
  static QPDFObjectHandle appearanceOf(QPDFAnnotationObjectHelper& helper) {
    QPDFObjectHandle stream = helper.getAppearanceStream("/N");
    if (stream.isStream()) return stream;
    QPDFObjectHandle annotation = helper.getObjectHandle();
    QPDFObjectHandle states = helper.getAppearanceDictionary().getKey("/N");
    if (!states.isDictionary() || annotation.getKey("/AS").isName()) return QPDFObjectHandle::newNull();
    QPDFObjectHandle value = annotation.getKey("/V");
    const std::string state = value.isName() ? value.getName() : "/Off";
    stream = states.getKey(state);
    if (stream.isStream()) annotation.replaceKey("/AS", QPDFObjectHandle::newName(state));
    return stream;
  }

  QPDFObjectHandle drawn(QPDFObjectHandle annotation) {
    const DrawnAppearance drawing = drawAnnotation(annotation, formFonts());
    if (drawing.content.empty()) return QPDFObjectHandle::newNull();
    QPDFObjectHandle form = QPDFObjectHandle::newStream(&pdf_);
    QPDFObjectHandle dictionary = form.getDict();
    dictionary.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dictionary.replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
    // Lines may reach beyond the annotation's rectangle, which is no clip for what viewers draw themselves.
    dictionary.replaceKey("/BBox", QPDFObjectHandle::parse("[-32768 -32768 32767 32767]"));
    std::string content = drawing.content;
    QPDFObjectHandle resources = QPDFObjectHandle::newDictionary();
    if (!drawing.fonts.empty()) resources.replaceKey("/Font", QPDFObjectHandle::parse(&pdf_, drawing.fonts));
    if (drawing.opacity < 1 || drawing.multiply) {
      QPDFObjectHandle state = QPDFObjectHandle::newDictionary();
      state.replaceKey("/CA", QPDFObjectHandle::newReal(drawing.opacity, 4));
      state.replaceKey("/ca", QPDFObjectHandle::newReal(drawing.opacity, 4));
      if (drawing.multiply) state.replaceKey("/BM", QPDFObjectHandle::newName("/Multiply"));
      QPDFObjectHandle states = QPDFObjectHandle::newDictionary();
      states.replaceKey("/G", state);
      resources.replaceKey("/ExtGState", states);
      content = "/G gs\n" + content;
    }
    if (!resources.getKeys().empty()) dictionary.replaceKey("/Resources", resources);
    setStreamData(form, Bytes(content.begin(), content.end()), QPDFObjectHandle::newNull(),
                  QPDFObjectHandle::newNull());
    return form;
  }

  // An annotation's optional-content membership moves to what is drawn for it (8.11.3.3).
  QPDFObjectHandle withLayer(QPDFObjectHandle form, QPDFObjectHandle annotation) {
    QPDFObjectHandle dictionary = form.getDict();
    const bool needsType = !dictionary.getKey("/Subtype").isNameAndEquals("/Form");
    if (!annotation.hasKey("/OC") && !needsType) return form;
    QPDFObjectHandle copy = form.copyStream();
    if (needsType) copy.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
    if (annotation.hasKey("/OC") && !dictionary.hasKey("/OC")) {
      copy.getDict().replaceKey("/OC", annotation.getKey("/OC"));
    }
    return copy;
  }

  // A file that a page has pinned to it moves to those of the document: its icon can be drawn, what is in it cannot.
  void keepFile(QPDFObjectHandle annotation) {
    QPDFObjectHandle attached = annotation.getKey("/FS");
    if (!annotation.getKey("/Subtype").isNameAndEquals("/FileAttachment") || !attached.isDictionary() ||
        !attached.getKey("/EF").isDictionary()) {
      return;
    }
    if (!attached.isIndirect()) attached = pdf_.makeIndirectObject(attached);
    QPDFEmbeddedFileDocumentHelper files(pdf_);
    for (const auto& [name, file] : files.getEmbeddedFiles()) {
      if (file->getObjectHandle().getObjGen() == attached.getObjGen()) return;
    }
    const QPDFFileSpecObjectHelper file(attached);
    const std::string name = QPDFFileSpecObjectHelper(attached).getFilename();
    std::string key = name;
    for (int i = 2; files.getEmbeddedFile(key); ++i) key = name + " " + std::to_string(i);
    files.replaceEmbeddedFile(key, file);
  }

  // A name that the page's resources do not have yet.
  std::string useObject(QPDFObjectHandle form) {
    QPDFObjectHandle objects = names_.isDictionary() ? names_.getKey("/XObject") : QPDFObjectHandle::newNull();
    std::string name;
    do {
      name = "/Fx" + std::to_string(counter_++);
    } while (objects.isDictionary() && objects.hasKey(name));
    added_.emplace_back(name, form);
    return name;
  }

  void addContent(QPDFObjectHandle page, const std::string& content) {
    // Resources may be shared with other pages, which must not get these names.
    QPDFObjectHandle resources = page.getKey("/Resources");
    resources = resources.isDictionary() ? resources.shallowCopy() : QPDFObjectHandle::newDictionary();
    QPDFObjectHandle objects = resources.getKey("/XObject");
    objects = objects.isDictionary() ? objects.shallowCopy() : QPDFObjectHandle::newDictionary();
    for (const auto& [name, form] : added_) objects.replaceKey(name, form);
    resources.replaceKey("/XObject", objects);
    page.replaceKey("/Resources", resources);

    std::vector<QPDFObjectHandle> parts;
    QPDFObjectHandle contents = page.getKey("/Contents");
    if (contents.isStream()) parts.push_back(contents);
    if (contents.isArray()) {
      for (QPDFObjectHandle part : contents.getArrayAsVector()) {
        if (part.isStream()) parts.push_back(part);
      }
    }
    // The page's own content must leave the state as it found it.
    std::string text;
    for (QPDFObjectHandle part : parts) {
      const Result<Bytes> data = decodedStreamData(part);
      if (data.ok()) text += std::string(data->begin(), data->end()) + "\n";
    }
    StackDepth depth;
    QPDFObjectHandle::newStream(&pdf_, text).filterAsContents(&depth);
    std::string before, after = "\n";
    for (int i = depth.lowest; i <= 0; ++i) before += "q ";
    for (int i = depth.lowest; i <= depth.depth; ++i) after += "Q ";
    parts.insert(parts.begin(), QPDFObjectHandle::newStream(&pdf_, before));
    parts.push_back(QPDFObjectHandle::newStream(&pdf_, after + "\n" + content));
    page.replaceKey("/Contents", QPDFObjectHandle::newArray(parts));
  }

  void removeForm() {
    QPDFObjectHandle root = pdf_.getRoot();
    if (root.hasKey("/AcroForm")) {
      root.removeKey("/AcroForm");
      ++removed_;
    }
    // Permissions live in signatures (12.8.4).
    root.removeKey("/Perms");
  }

  // 14.7.4.3: object references to annotations that are gone.
  void removeFromStructureTree() {
    QPDFObjectHandle root = pdf_.getRoot();
    if (!root.getKey("/StructTreeRoot").isDictionary()) return;
    const auto refersToGone = [this](QPDFObjectHandle kid) {
      return kid.isDictionary() && kid.getKey("/Type").isNameAndEquals("/OBJR") &&
             gone_.count(kid.getKey("/Obj").getObjGen()) != 0;
    };
    for (QPDFObjectHandle element : reachableObjects(pdf_)) {
      if (!element.isDictionary() || !element.hasKey("/K")) continue;
      QPDFObjectHandle kids = element.getKey("/K");
      if (refersToGone(kids)) {
        element.removeKey("/K");
      } else if (kids.isArray()) {
        std::vector<QPDFObjectHandle> kept = kids.getArrayAsVector();
        const std::size_t before = kept.size();
        kept.erase(std::remove_if(kept.begin(), kept.end(), refersToGone), kept.end());
        if (kept.size() != before) element.replaceKey("/K", QPDFObjectHandle::newArray(kept));
      }
    }
  }

  Document& document_;
  QPDF& pdf_;
  std::uint32_t strip_;
  QPDFObjectHandle names_;
  std::vector<std::pair<std::string, QPDFObjectHandle>> added_;
  std::set<QPDFObjGen> gone_;
  std::size_t removed_ = 0;
  int counter_ = 1;
};

class FlattenPass : public Pass {
 public:
  std::string_view name() const override { return "flatten"; }

  Result<PassOutcome> process(PassContext& context) override {
    const std::size_t removed = Flattener(context.document, context.settings.strip).run();
    if (removed == 0) return PassOutcome::unchanged;
    context.report.note(std::to_string(removed) + " annotations became page content");
    return PassOutcome::changed;
  }
};

}  // namespace

std::unique_ptr<Pass> makeFlattenPass() { return std::make_unique<FlattenPass>(); }

}  // namespace optimizer
