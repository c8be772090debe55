#include "optimizer/document/typing_fonts.h"

#include <string>
#include <vector>

#include "optimizer/content/reader.h"

namespace optimizer {
namespace {

constexpr int maxDepth = 64;
constexpr long long richTextFlag = 1LL << 25;

class Search {
 public:
  explicit Search(QPDF& pdf) : pdf_(pdf), form_(pdf.getRoot().getKey("/AcroForm")) {}

  std::set<QPDFObjGen> run() {
    if (form_.isDictionary()) {
      defaults_ = fontsOf(form_.getKey("/DR"));
      nameFrom(form_.getKey("/DA"), {});
      if (!form_.getKey("/XFA").isNull()) {
        addAll(defaults_);
      }
      QPDFObjectHandle fields = form_.getKey("/Fields");
      for (int i = 0; fields.isArray() && i < fields.getArrayNItems(); ++i) {
        field(fields.getArrayItem(i), QPDFObjectHandle::newNull(), 0);
      }
    }
    for (QPDFObjectHandle page : pdf_.getAllPages()) {
      QPDFObjectHandle annotations = page.getKey("/Annots");
      for (int i = 0; annotations.isArray() && i < annotations.getArrayNItems(); ++i) {
        field(annotations.getArrayItem(i), QPDFObjectHandle::newNull(), 0);
      }
    }
    return std::move(found_);
  }

 private:
  static QPDFObjectHandle fontsOf(QPDFObjectHandle resources) {
    return resources.isDictionary() ? resources.getKey("/Font") : QPDFObjectHandle::newNull();
  }

  void add(QPDFObjectHandle font) {
    if (font.isDictionary() && font.isIndirect()) {
      found_.insert(font.getObjGen());
    }
  }
  void addAll(QPDFObjectHandle fonts) {
    if (fonts.isDictionary()) {
      for (auto& [name, font] : fonts.getDictAsMap()) {
        add(font);
      }
    }
  }

  // A field, or an annotation (which may be a field's widget, or both in one).
  void field(QPDFObjectHandle field, QPDFObjectHandle inheritedAppearance, int depth) {
    if (!field.isDictionary() || depth > maxDepth) {
      return;
    }
    QPDFObjectHandle own = field.getKey("/DA");
    QPDFObjectHandle appearance = own.isString() ? own : inheritedAppearance;
    if (field.isIndirect() && !seen_.insert({field.getObjGen(), own.isString() ? QPDFObjGen() : lastDefault_}).second) {
      return;
    }
    std::vector<QPDFObjectHandle> places;
    collectResources(field.getKey("/AP"), places);
    if (appearance.isString()) {
      nameFrom(appearance, places);
    } else if (field.getKey("/Subtype").isNameAndEquals("/Widget") && form_.isDictionary()) {
      nameFrom(form_.getKey("/DA"), places);
    }
    QPDFObjectHandle flags = field.getKey("/Ff");
    if (field.hasKey("/RV") || field.hasKey("/DS") || (flags.isInteger() && (flags.getIntValue() & richTextFlag) != 0)) {
      addAll(defaults_);
    }
    const QPDFObjGen before = lastDefault_;
    if (own.isString() && field.isIndirect()) {
      lastDefault_ = field.getObjGen();
    }
    QPDFObjectHandle kids = field.getKey("/Kids");
    for (int i = 0; kids.isArray() && i < kids.getArrayNItems(); ++i) {
      this->field(kids.getArrayItem(i), appearance, depth + 1);
    }
    lastDefault_ = before;
  }

  static void collectResources(QPDFObjectHandle appearances, std::vector<QPDFObjectHandle>& places) {
    if (!appearances.isDictionary()) {
      return;
    }
    QPDFObjectHandle normal = appearances.getKey("/N");
    if (normal.isStream()) {
      places.push_back(fontsOf(normal.getDict().getKey("/Resources")));
    } else if (normal.isDictionary()) {
      for (auto& [state, form] : normal.getDictAsMap()) {
        if (form.isStream()) {
          places.push_back(fontsOf(form.getDict().getKey("/Resources")));
        }
      }
    }
  }

  // The fonts that a default appearance string sets, in the form's resources and in the given font dictionaries.
  void nameFrom(QPDFObjectHandle appearance, const std::vector<QPDFObjectHandle>& places) {
    if (!appearance.isString()) {
      return;
    }
    const std::string text = appearance.getStringValue();
    content::ContentReader reader({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    content::Instruction instruction;
    while (reader.next(instruction)) {
      if (instruction.op != content::Op::font) {
        continue;
      }
      for (const content::Token& token : instruction.operands) {
        if (token.isName()) {
          const std::string key = "/" + content::nameValue(token);
          addNamed(defaults_, key);
          for (const QPDFObjectHandle& fonts : places) {
            addNamed(fonts, key);
          }
        }
      }
    }
  }

  void addNamed(QPDFObjectHandle fonts, const std::string& key) {
    if (fonts.isDictionary()) {
      add(fonts.getKey(key));
    }
  }

  QPDF& pdf_;
  QPDFObjectHandle form_;
  QPDFObjectHandle defaults_ = QPDFObjectHandle::newNull();
  std::set<QPDFObjGen> found_;
  // Fields visited, with the field whose default appearance they inherit: a widget is met in its field and on its page.
  std::set<std::pair<QPDFObjGen, QPDFObjGen>> seen_;
  QPDFObjGen lastDefault_;
};

}  // namespace

std::set<QPDFObjGen> typingFonts(QPDF& pdf) { return Search(pdf).run(); }

}  // namespace optimizer
