#include "optimizer/audit/features.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <set>

#include "optimizer/audit/roles.h"

namespace optimizer {
namespace {

std::string textOf(QPDFObjectHandle value) {
  if (value.isString()) return value.getUTF8Value();
  if (value.isName()) return value.getName();
  if (value.isInteger() || value.isReal()) return value.unparse();
  return "";
}

class Reader {
 public:
  explicit Reader(Document& document) : document_(document), destinations_(document.pdf()) {
    int number = 0;
    for (const QPDFObjectHandle& page : document.pages()) pageNumbers_[page.getObjGen()] = ++number;
  }

  Features read() {
    QPDFObjectHandle root = document_.pdf().getRoot();
    features_.tagged = root.getKey("/StructTreeRoot").isDictionary();
    for (QPDFObjectHandle page : document_.pages()) {
      readSize(page);
      readLinks(page);
    }
    QPDFObjectHandle form = root.getKey("/AcroForm");
    if (form.isDictionary()) readFields(form.getKey("/Fields"), "", 0);
    readOutlines(root.getKey("/Outlines"));
    for (const auto& [id, role] : rolesOf(document_)) {
      if (role.kind == AuditKind::attachments && document_.pdf().getObject(id).isStream()) {
        add(features_.attachments, role.name);
      }
    }
    std::sort(features_.attachments.begin(), features_.attachments.end());
    return std::move(features_);
  }

 private:
  static void add(std::vector<std::string>& list, std::string text) {
    if (list.size() < kFeatures) list.push_back(std::move(text));
  }

  void readSize(QPDFObjectHandle page) {
    Features::PageSize size{612, 792};
    for (const char* key : {"/MediaBox", "/CropBox"}) {
      QPDFObjectHandle box = page.getKey(key);
      if (!box.isRectangle()) continue;
      const QPDFObjectHandle::Rectangle rectangle = box.getArrayAsRectangle();
      const double width = std::abs(rectangle.urx - rectangle.llx);
      const double height = std::abs(rectangle.ury - rectangle.lly);
      const bool media = std::string_view(key) == "/MediaBox";
      if (width > 0 && height > 0) {
        size = media ? Features::PageSize{width, height}
                     : Features::PageSize{std::min(size.width, width), std::min(size.height, height)};
      }
    }
    QPDFObjectHandle rotation = page.getKey("/Rotate");
    if (rotation.isInteger() && rotation.getIntValue() % 180 != 0) std::swap(size.width, size.height);
    features_.pageSizes.push_back(size);
  }

  // "page 7", or what the destination says where it leads to no page.
  std::string target(QPDFObjectHandle destination) {
    if (destination.isName() || destination.isString()) {
      const std::string name = textOf(destination);
      QPDFObjectHandle found = destinations_.resolveNamedDest(destination);
      if (found.isNull()) return "“" + name + "”";
      destination = found;
    }
    if (destination.isDictionary()) destination = destination.getKey("/D");
    if (destination.isArray() && destination.getArrayNItems() > 0) {
      QPDFObjectHandle page = destination.getArrayItem(0);
      const auto number = pageNumbers_.find(page.getObjGen());
      if (page.isIndirect() && number != pageNumbers_.end()) return "page " + std::to_string(number->second);
      if (page.isInteger()) return "page " + std::to_string(page.getIntValue() + 1);
    }
    return "nowhere";
  }

  std::string actionText(QPDFObjectHandle holder) {
    if (holder.hasKey("/Dest")) return "to " + target(holder.getKey("/Dest"));
    QPDFObjectHandle action = holder.getKey("/A");
    if (!action.isDictionary()) return "without a target";
    if (action.getKey("/URI").isString()) return textOf(action.getKey("/URI"));
    if (action.getKey("/S").isNameAndEquals("/GoTo")) return "to " + target(action.getKey("/D"));
    return textOf(action.getKey("/S"));
  }

  void readLinks(QPDFObjectHandle page) {
    QPDFObjectHandle annotations = page.getKey("/Annots");
    if (!annotations.isArray()) return;
    for (QPDFObjectHandle annotation : annotations.getArrayAsVector()) {
      if (!annotation.isDictionary() || !annotation.getKey("/Subtype").isNameAndEquals("/Link")) continue;
      add(features_.links,
          "page " + std::to_string(features_.pageSizes.size()) + ": " + actionText(annotation));
    }
  }

  void readFields(QPDFObjectHandle fields, const std::string& prefix, int depth) {
    constexpr int kDeepest = 100;
    if (!fields.isArray() || depth > kDeepest) return;
    for (QPDFObjectHandle field : fields.getArrayAsVector()) {
      if (!field.isDictionary() || (field.isIndirect() && !seen_.insert(field.getObjGen()).second)) continue;
      const std::string own = textOf(field.getKey("/T"));
      const std::string name = own.empty() ? prefix : prefix.empty() ? own : prefix + "." + own;
      const bool named = !own.empty() && (field.hasKey("/FT") || field.hasKey("/V"));
      if (named) add(features_.fields, name + " = " + textOf(field.getKey("/V")));
      readFields(field.getKey("/Kids"), name, depth + 1);
    }
  }

  // Siblings may be many and levels are few, so both are followed without recursion.
  void readOutlines(QPDFObjectHandle outlines) {
    if (!outlines.isDictionary()) return;
    std::set<QPDFObjGen> seen;
    std::vector<QPDFObjectHandle> waiting = {outlines.getKey("/First")};
    while (!waiting.empty() && features_.outlines.size() < kFeatures) {
      QPDFObjectHandle item = waiting.back();
      waiting.pop_back();
      if (!item.isDictionary() || !item.isIndirect() || !seen.insert(item.getObjGen()).second) continue;
      const bool leads = item.hasKey("/Dest") || item.hasKey("/A");
      add(features_.outlines,
          textOf(item.getKey("/Title")) + (leads ? " (" + actionText(item) + ")" : std::string()));
      waiting.push_back(item.getKey("/Next"));
      waiting.push_back(item.getKey("/First"));
    }
  }

  Document& document_;
  QPDFOutlineDocumentHelper destinations_;
  std::map<QPDFObjGen, int> pageNumbers_;
  std::set<QPDFObjGen> seen_;
  Features features_;
};

}  // namespace

Result<Features> featuresOf(Document& document) {
  return withoutExceptions("The PDF cannot be read",
                           [&]() -> Result<Features> { return Reader(document).read(); });
}

}  // namespace optimizer
