#include "optimizer/audit/roles.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "optimizer/font/pdf_fonts.h"

namespace optimizer {
namespace {

using Kind = AuditKind;

bool isName(QPDFObjectHandle object, std::string_view name) {
  return object.isName() && object.getName() == name;
}

std::string nameOf(QPDFObjectHandle object) { return object.isName() ? object.getName() : ""; }

std::string textOf(QPDFObjectHandle object) { return object.isString() ? object.getUTF8Value() : ""; }

// Everything below them is for the same purpose, whatever it is.
bool coversAll(Kind kind) {
  return kind == Kind::privateData || kind == Kind::attachments || kind == Kind::thumbnails;
}

// What the objects without a purpose of their own below a stream of this kind are for.
Kind belowOf(Kind kind) {
  switch (kind) {
    case Kind::fontType1:
    case Kind::fontTrueType:
    case Kind::fontCff:
    case Kind::fontOpenType:
    case Kind::fontMaps:
      return Kind::fontObjects;
    case Kind::pageContent:
    case Kind::formContent:
      return Kind::pageObjects;
    case Kind::colorProfiles:
    case Kind::patterns:
      return Kind::colorSpaces;
    default:
      return isImage(kind) ? Kind::colorSpaces : kind;
  }
}

class Walk {
 public:
  explicit Walk(Document& document) : document_(document) {}

  std::map<QPDFObjGen, Role> roles() {
    QPDFObjectHandle trailer = document_.pdf().getTrailer();
    QPDFObjectHandle root = document_.pdf().getRoot();
    // The tree of pages stops every other walk that reaches it.
    give(root, Kind::pageObjects);
    giveTree();
    int number = 0;
    for (QPDFObjectHandle page : document_.pages()) {
      page_ = ++number;
      walk(page, Kind::pageObjects);
    }
    page_ = 0;
    from(root, "/AcroForm", Kind::formFields);
    from(root, "/Outlines", Kind::outlines);
    from(root, "/Dests", Kind::outlines);
    QPDFObjectHandle names = root.getKey("/Names");
    if (names.isDictionary()) {
      from(names, "/EmbeddedFiles", Kind::attachments);
      from(names, "/Dests", Kind::outlines);
    }
    from(root, "/AF", Kind::attachments);
    from(root, "/StructTreeRoot", Kind::tags);
    from(trailer, "/Info", Kind::metadataInfo);
    walk(root, Kind::otherObjects);
    walk(trailer, Kind::otherObjects);
    return std::move(roles_);
  }

 private:
  struct Step {
    QPDFObjectHandle object;
    Kind context;
    std::string key;  // that led here
    std::string name;
    int depth;  // of direct objects inside one another
  };

  bool give(QPDFObjectHandle object, Kind kind, const std::string& name = "") {
    if (!object.isIndirect()) return true;
    return roles_.try_emplace(object.getObjGen(), Role{kind, kind == Kind::pageContent ? page_ : 0, name})
        .second;
  }

  void giveTree() {
    for (QPDFObjectHandle page : document_.pages()) {
      give(page, Kind::pageObjects);
      QPDFObjectHandle parent = page.getKey("/Parent");
      while (parent.isDictionary() && parent.isIndirect() && give(parent, Kind::pageObjects)) {
        parent = parent.getKey("/Parent");
      }
    }
  }

  void from(QPDFObjectHandle dictionary, const char* key, Kind kind) {
    if (!dictionary.isDictionary()) return;
    steps_.push_back({dictionary.getKey(key), kind, key, "", 0});
    run();
  }

  // What object holds, which has its role already.
  void walk(QPDFObjectHandle object, Kind kind) {
    pushChildren(object, kind, "", 0);
    run();
  }

  void run() {
    while (!steps_.empty()) {
      Step step = std::move(steps_.back());
      steps_.pop_back();
      look(step);
    }
  }

  void look(const Step& step) {
    QPDFObjectHandle object = step.object;
    const bool container = object.isDictionary() || object.isArray() || object.isStream();
    if (!object.isIndirect()) {
      constexpr int kDeepest = 500;
      if (!container || step.depth > kDeepest) return;
      const Kind kind = kindOf(object, step);
      pushChildren(object, kind, step.name, step.depth + 1, step.key);
      return;
    }
    const Kind kind = kindOf(object, step);
    if (!give(object, kind, nameFor(kind, step))) return;
    const Kind below = object.isStream() && !coversAll(kind) ? belowOf(kind) : kind;
    if (container) pushChildren(object, below, step.name, 0, step.key);
  }

  std::string nameFor(Kind kind, const Step& step) const {
    return isFontProgram(kind) || kind == Kind::attachments ? step.name : "";
  }

  void pushChildren(QPDFObjectHandle object, Kind context, const std::string& name, int depth,
                    const std::string& key = "") {
    if (object.isArray()) {
      const int count = object.getArrayNItems();
      const bool iccBased = count > 1 && isName(object.getArrayItem(0), "/ICCBased");
      for (int i = count - 1; i >= 0; --i) {  // the first comes off the stack first
        steps_.push_back({object.getArrayItem(i), context, iccBased ? "/ICCBased" : key, name, depth});
      }
      return;
    }
    QPDFObjectHandle dictionary = object.isStream() ? object.getDict() : object;
    if (!dictionary.isDictionary()) return;
    std::string own = name;
    if (dictionary.hasKey("/FontName")) own = withoutSubsetTag(nameOf(dictionary.getKey("/FontName")));
    if (dictionary.hasKey("/EF")) {
      own = textOf(dictionary.getKey(dictionary.hasKey("/UF") ? "/UF" : "/F"));
    }
    for (auto& [childKey, value] : dictionary.getDictAsMap()) {
      if (childKey == "/Parent" && !isName(dictionary.getKey("/Subtype"), "/Widget")) continue;
      if (value.isIndirect() || value.isDictionary() || value.isArray()) {
        // Names that content chose, such as /F1, say nothing of the purpose.
        steps_.push_back({value, contextOf(childKey, context), childKey, own, depth});
      }
    }
  }

  static Kind contextOf(const std::string& key, Kind context) {
    if (coversAll(context)) return context;
    if (key == "/PieceInfo") return Kind::privateData;
    if (key == "/EF") return Kind::attachments;
    if (key == "/Thumb") return Kind::thumbnails;
    if (key == "/CharProcs") return Kind::fontType3;
    if (key == "/AP") return Kind::appearances;
    if (key == "/Annots") return Kind::annotations;
    if (key == "/ColorSpace" || key == "/Function" || key == "/TR" || key == "/BG" || key == "/UCR" ||
        key == "/HT") {
      return Kind::colorSpaces;
    }
    if (key == "/OutputIntents" || key == "/DestOutputProfile") return Kind::colorSpaces;
    if (key == "/Pattern" || key == "/Shading") return Kind::patterns;
    if (key == "/StructTreeRoot") return Kind::tags;
    return context;
  }

  static Kind kindOf(QPDFObjectHandle object, const Step& step) {
    if (coversAll(step.context)) return step.context;
    if (object.isStream()) return streamKind(object.getDict(), step);
    if (!object.isDictionary()) return step.context;
    const std::string type = nameOf(object.getKey("/Type"));
    if (type == "/Font" || type == "/FontDescriptor") return Kind::fontObjects;
    if (type == "/Page" || type == "/Pages") return Kind::pageObjects;
    if (type == "/Annot" || (object.hasKey("/Rect") && object.hasKey("/Subtype"))) {
      return object.hasKey("/FT") ? Kind::formFields : Kind::annotations;
    }
    if (object.hasKey("/FT")) return Kind::formFields;
    if (type == "/StructElem") return Kind::tags;
    if (step.context == Kind::patterns || step.context == Kind::colorSpaces) return Kind::colorSpaces;
    return step.context;
  }

  static Kind streamKind(QPDFObjectHandle dictionary, const Step& step) {
    const std::string subtype = nameOf(dictionary.getKey("/Subtype"));
    const std::string& key = step.key;
    if (key == "/FontFile") return Kind::fontType1;
    if (key == "/FontFile2") return Kind::fontTrueType;
    if (key == "/FontFile3") return subtype == "/OpenType" ? Kind::fontOpenType : Kind::fontCff;
    if (key == "/ToUnicode" || key == "/CIDToGIDMap" || key == "/CIDSet" || key == "/UseCMap" ||
        (key == "/Encoding" && isName(dictionary.getKey("/Type"), "/CMap"))) {
      return Kind::fontMaps;
    }
    if (key == "/ICCBased" || key == "/DestOutputProfile") return Kind::colorProfiles;
    if (key == "/Metadata" || isName(dictionary.getKey("/Type"), "/Metadata")) return Kind::metadataXmp;
    if (key == "/JBIG2Globals") return Kind::imageJbig2;
    if (subtype == "/Image") return imageKindOf(dictionary);
    if (key == "/Contents") return Kind::pageContent;
    if (step.context == Kind::fontType3 || step.context == Kind::appearances) return step.context;
    if (dictionary.hasKey("/PatternType") || dictionary.hasKey("/ShadingType")) return Kind::patterns;
    if (dictionary.hasKey("/FunctionType")) return Kind::colorSpaces;
    if (subtype == "/Form") return Kind::formContent;
    return step.context;
  }

  Document& document_;
  std::map<QPDFObjGen, Role> roles_;
  std::vector<Step> steps_;
  int page_ = 0;
};

std::optional<AuditKind> codecKind(const std::string& filter) {
  static constexpr std::pair<const char*, AuditKind> kCodecs[] = {
      {"/DCTDecode", Kind::imageJpeg},
      {"/DCT", Kind::imageJpeg},
      {"/JPXDecode", Kind::imageJpeg2000},
      {"/JBIG2Decode", Kind::imageJbig2},
      {"/CCITTFaxDecode", Kind::imageFax},
      {"/CCF", Kind::imageFax},
      {"/FlateDecode", Kind::imageFlate},
      {"/Fl", Kind::imageFlate},
      {"/LZWDecode", Kind::imageLzw},
      {"/LZW", Kind::imageLzw},
      {"/RunLengthDecode", Kind::imageRunLength},
      {"/RL", Kind::imageRunLength},
  };
  for (const auto& [name, kind] : kCodecs) {
    if (filter == name) return kind;
  }
  return std::nullopt;
}

}  // namespace

AuditKind imageKindOf(QPDFObjectHandle imageDictionary) {
  QPDFObjectHandle filter = imageDictionary.getKey("/Filter");
  if (filter.isName()) return codecKind(filter.getName()).value_or(Kind::imagePlain);
  AuditKind kind = Kind::imagePlain;
  if (!filter.isArray()) return kind;
  for (QPDFObjectHandle item : filter.getArrayAsVector()) {
    if (item.isName()) kind = codecKind(item.getName()).value_or(kind);
  }
  return kind;
}

std::map<QPDFObjGen, Role> rolesOf(Document& document) { return Walk(document).roles(); }

}  // namespace optimizer
