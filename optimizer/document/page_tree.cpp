#include "optimizer/document/page_tree.h"

#include <set>

#include "optimizer/base/limits.h"

namespace optimizer {
namespace {

class TreeRepair {
 public:
  explicit TreeRepair(QPDF& pdf) : pdf_(pdf) {}

  Status repair() {
    QPDFObjectHandle root = pdf_.getRoot();
    QPDFObjectHandle top = root.getKey("/Pages");
    // Some writers point at an inner node, or at a page: climb to the top, but not in circles.
    std::set<QPDFObjGen> climbed;
    while (top.isDictionary() && top.getKey("/Parent").isDictionary() && climbed.insert(top.getObjGen()).second) {
      top = top.getKey("/Parent");
    }
    std::size_t count = 0;
    if (top.isDictionary() && top.isIndirect() && top.getKey("/Kids").isArray()) {
      OPTIMIZER_TRY(visit(top, 0, count));
    }
    if (count == 0) top = treeOfAllPages(count);
    if (count == 0) return Error{ErrorKind::damaged, "The PDF has no pages"};
    top.removeKey("/Parent");
    root.replaceKey("/Pages", top);
    return {};
  }

 private:
  Status visit(QPDFObjectHandle node, int depth, std::size_t& count) {
    if (depth > limits::kPageTreeDepth) {
      return Error{ErrorKind::limit, "The PDF's page tree is too deep"};
    }
    nodes_.insert(node.getObjGen());
    setIfDifferent(node, "/Type", "/Pages");
    QPDFObjectHandle kids = node.getKey("/Kids");
    std::vector<QPDFObjectHandle> kept;
    const int size = kids.getArrayNItems();
    std::size_t below = 0;
    for (int i = 0; i < size; ++i) {
      QPDFObjectHandle kid = kids.getArrayItem(i);
      if (!kid.isDictionary()) continue;
      if (kid.getKey("/Kids").isArray()) {
        if (!kid.isIndirect()) kid = pdf_.makeIndirectObject(kid);
        if (nodes_.count(kid.getObjGen()) != 0) continue;
        std::size_t inside = 0;
        OPTIMIZER_TRY(visit(kid, depth + 1, inside));
        if (inside == 0) continue;
        below += inside;
      } else {
        if (!kid.isIndirect()) kid = pdf_.makeIndirectObject(kid);
        // A page that stands twice in the tree becomes two pages.
        if (!leaves_.insert(kid.getObjGen()).second) kid = pdf_.makeIndirectObject(kid.shallowCopy());
        setIfDifferent(kid, "/Type", "/Page");
        ++below;
        ++total_;
      }
      if (total_ > limits::kPages) return Error{ErrorKind::limit, "The PDF has too many pages"};
      if (kid.getKey("/Parent").getObjGen() != node.getObjGen()) kid.replaceKey("/Parent", node);
      kept.push_back(kid);
    }
    if (static_cast<int>(kept.size()) != size || changed(kids, kept)) {
      node.replaceKey("/Kids", QPDFObjectHandle::newArray(kept));
    }
    QPDFObjectHandle stated = node.getKey("/Count");
    if (!stated.isInteger() || stated.getIntValue() != static_cast<long long>(below)) {
      node.replaceKey("/Count", QPDFObjectHandle::newInteger(static_cast<long long>(below)));
    }
    count = below;
    return {};
  }

  // Every page object of the file, in the order of their numbers.
  QPDFObjectHandle treeOfAllPages(std::size_t& count) {
    std::vector<QPDFObjectHandle> found;
    for (QPDFObjectHandle object : pdf_.getAllObjects()) {
      if (object.isDictionaryOfType("/Page") && found.size() < limits::kPages) found.push_back(object);
    }
    QPDFObjectHandle top = pdf_.makeIndirectObject(QPDFObjectHandle::newDictionary());
    top.replaceKey("/Type", QPDFObjectHandle::newName("/Pages"));
    top.replaceKey("/Kids", QPDFObjectHandle::newArray(found));
    top.replaceKey("/Count", QPDFObjectHandle::newInteger(static_cast<long long>(found.size())));
    for (QPDFObjectHandle page : found) page.replaceKey("/Parent", top);
    count = found.size();
    return top;
  }

  static bool changed(QPDFObjectHandle kids, const std::vector<QPDFObjectHandle>& kept) {
    for (std::size_t i = 0; i < kept.size(); ++i) {
      if (kids.getArrayItem(static_cast<int>(i)).getObjGen() != kept[i].getObjGen()) return true;
    }
    return false;
  }

  static void setIfDifferent(QPDFObjectHandle dictionary, const char* key, const char* name) {
    QPDFObjectHandle value = dictionary.getKey(key);
    if (!value.isNameAndEquals(name)) dictionary.replaceKey(key, QPDFObjectHandle::newName(name));
  }

  QPDF& pdf_;
  std::set<QPDFObjGen> nodes_, leaves_;
  std::size_t total_ = 0;  // pages in the whole tree
};

}  // namespace

Status repairPageTree(QPDF& pdf) { return TreeRepair(pdf).repair(); }

}  // namespace optimizer
