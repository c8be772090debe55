// Which indirect objects a document really holds together.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// Number and generation of an indirect object as one number; 0 for a direct one.
std::uint64_t keyOf(const QPDFObjectHandle& object);

// Every indirect object that the trailer leads to, each once, in the order of a breadth-first walk. May throw what qpdf
// throws. Passes ask Document::reachable(), which remembers the walk.
std::vector<QPDFObjectHandle> reachableObjects(QPDF& pdf);

// Adds an object, or a stream's dictionary, and what stands directly inside, as far as they are dictionaries and arrays.
void addContainers(QPDFObjectHandle object, std::vector<QPDFObjectHandle>& containers);

// Calls visit(QPDFObjectHandle&) for each value directly inside a dictionary, array or stream dictionary; for others
// never. The handles are copies: visit may change the object itself.
template <typename Visit>
void forEachChild(QPDFObjectHandle object, const Visit& visit) {
  if (object.isStream()) object = object.getDict();
  if (object.isDictionary()) {
    std::map<std::string, QPDFObjectHandle> entries = object.getDictAsMap();
    for (auto& [key, value] : entries) visit(value);
  } else if (object.isArray()) {
    std::vector<QPDFObjectHandle> items = object.getArrayAsVector();
    for (QPDFObjectHandle& item : items) visit(item);
  }
}

}  // namespace optimizer
