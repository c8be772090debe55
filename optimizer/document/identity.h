// Which objects stand for themselves: two of them are two, however equal they look.
#pragma once

#include <set>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// The objects of a document whose identity matters: catalog, information, pages and page-tree nodes, annotations, form
// fields and signatures, structure elements, optional-content groups and what they are made of, outline items, article threads and beads. Found
// by following the structures that hold them, and once more by the entries that only such objects have.
class Identity {
 public:
  // May throw what qpdf throws.
  explicit Identity(QPDF& pdf);

  // Whether the object must stay an object of its own.
  bool has(QPDFObjectHandle object) const;

 private:
  void addTree(QPDFObjectHandle node, const char* childKey, int depth);
  void addChain(QPDFObjectHandle item, int depth);
  void addWithParts(QPDFObjectHandle object, int depth);
  void add(QPDFObjectHandle object);

  std::set<QPDFObjGen> objects_;
};

}  // namespace optimizer
