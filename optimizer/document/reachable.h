// Which indirect objects a document really holds together.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// Number and generation of an indirect object as one number; 0 for a direct one.
std::uint64_t keyOf(const QPDFObjectHandle& object);

// What one walk from the trailer finds.
struct Reach {
  // Every indirect object, each once, in breadth-first order.
  std::vector<QPDFObjectHandle> objects;
  // Their dictionaries and arrays, streams' dictionaries included, each followed by the direct ones inside it.
  std::vector<QPDFObjectHandle> containers;
  // How many references to an object stand in containers, by keyOf(): those of the trailer are not counted.
  std::unordered_map<std::uint64_t, int> references;

  int referencesTo(const QPDFObjectHandle& object) const {
    const auto found = references.find(keyOf(object));
    return found == references.end() ? 0 : found->second;
  }
};

// May throw what qpdf throws. Passes ask Document, which remembers the walk.
Reach reachOf(QPDF& pdf);
std::vector<QPDFObjectHandle> reachableObjects(QPDF& pdf);

// Calls visit(QPDFObjectHandle&) for each value directly inside a dictionary, array or stream dictionary; for others
// never. The handles are copies: visit may change the object itself.
template <typename Visit>
void forEachChild(QPDFObjectHandle object, const Visit& visit) {
  qpdf_object_type_e type = object.getTypeCode();
  if (type == ot_stream) {
    object = object.getDict();
    type = object.getTypeCode();
  }
  if (type == ot_dictionary) {
    std::map<std::string, QPDFObjectHandle> entries = object.getDictAsMap();
    for (auto& [key, value] : entries) visit(value);
  } else if (type == ot_array) {
    std::vector<QPDFObjectHandle> items = object.getArrayAsVector();
    for (QPDFObjectHandle& item : items) visit(item);
  }
}

}  // namespace optimizer
