#include "optimizer/document/identity.h"

#include <string>

#include "optimizer/base/limits.h"

namespace optimizer {

void Identity::add(QPDFObjectHandle object) {
  if (object.isIndirect()) objects_.insert(object.getObjGen());
}

// A tree whose nodes hold their children under one key, as a value or an array of values.
void Identity::addTree(QPDFObjectHandle node, const char* childKey, int depth) {
  if (!node.isDictionary() || depth > limits::kNesting) return;
  if (node.isIndirect() && !objects_.insert(node.getObjGen()).second) return;
  QPDFObjectHandle children = node.getKey(childKey);
  if (children.isArray()) {
    for (QPDFObjectHandle child : children.getArrayAsVector()) addTree(child, childKey, depth + 1);
  } else {
    addTree(children, childKey, depth + 1);
  }
}

// Some viewers tell layers apart by comparing their entries, so those must not become the same objects either.
void Identity::addWithParts(QPDFObjectHandle object, int depth) {
  if (depth > 3) return;
  add(object);
  if (object.isDictionary()) {
    for (const auto& [key, value] : object.getDictAsMap()) addWithParts(value, depth + 1);
  } else if (object.isArray()) {
    for (const QPDFObjectHandle& item : object.getArrayAsVector()) addWithParts(item, depth + 1);
  }
}

// Outline items: a list of siblings under each.
void Identity::addChain(QPDFObjectHandle item, int depth) {
  while (item.isDictionary() && item.isIndirect() && depth <= limits::kNesting &&
         objects_.insert(item.getObjGen()).second) {
    addChain(item.getKey("/First"), depth + 1);
    item = item.getKey("/Next");
  }
}

Identity::Identity(QPDF& pdf) {
  QPDFObjectHandle root = pdf.getRoot();
  add(root);
  add(pdf.getTrailer().getKey("/Info"));
  addTree(root.getKey("/Pages"), "/Kids", 0);
  for (QPDFObjectHandle page : pdf.getAllPages()) {
    add(page);
    for (const char* key : {"/Annots", "/B"}) {
      QPDFObjectHandle items = page.getKey(key);
      if (!items.isArray()) continue;
      for (const QPDFObjectHandle& item : items.getArrayAsVector()) add(item);
    }
  }
  QPDFObjectHandle form = root.getKey("/AcroForm");
  if (form.isDictionary()) {
    add(form);
    QPDFObjectHandle fields = form.getKey("/Fields");
    if (fields.isArray()) {
      for (QPDFObjectHandle field : fields.getArrayAsVector()) addTree(field, "/Kids", 0);
    }
  }
  addTree(root.getKey("/StructTreeRoot"), "/K", 0);
  QPDFObjectHandle outlines = root.getKey("/Outlines");
  if (outlines.isDictionary()) {
    add(outlines);
    addChain(outlines.getKey("/First"), 0);
  }
  QPDFObjectHandle layers = root.getKey("/OCProperties");
  if (layers.isDictionary() && layers.getKey("/OCGs").isArray()) {
    for (const QPDFObjectHandle& group : layers.getKey("/OCGs").getArrayAsVector()) addWithParts(group, 0);
  }
  QPDFObjectHandle threads = root.getKey("/Threads");
  if (threads.isArray()) {
    for (const QPDFObjectHandle& thread : threads.getArrayAsVector()) add(thread);
  }
}

bool Identity::has(QPDFObjectHandle object) const {
  if (objects_.count(object.getObjGen()) != 0) return true;
  QPDFObjectHandle dictionary = object.isStream() ? object.getDict() : object;
  if (!dictionary.isDictionary()) return false;
  // Entries of content that the structure tree points at.
  if (dictionary.hasKey("/StructParent") || dictionary.hasKey("/StructParents")) return true;
  if (object.isStream()) return false;
  static const std::set<std::string> kTypes = {"/Annot",  "/Bead",       "/Catalog",   "/Collection",     "/OCG",
                                               "/Outlines", "/Page",     "/Pages",     "/Sig",            "/DocTimeStamp",
                                               "/StructElem", "/StructTreeRoot", "/Thread", "/Template"};
  QPDFObjectHandle type = dictionary.getKey("/Type");
  if (type.isName() && kTypes.count(type.getName()) != 0) return true;
  for (const char* key : {"/Parent", "/Next", "/Prev", "/Rect", "/FT", "/ByteRange", "/Pg", "/Kids"}) {
    // An action chain may have Next too; it is a value that is not worth the risk.
    if (dictionary.hasKey(key)) return true;
  }
  return false;
}

}  // namespace optimizer
