// Which indirect objects a document really holds together.
#pragma once

#include <functional>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

namespace optimizer {

// Every indirect object that the trailer leads to, each once, in the order of a breadth-first walk. May throw what qpdf
// throws.
std::vector<QPDFObjectHandle> reachableObjects(QPDF& pdf);

// Calls visit for each value directly inside a dictionary, array or stream dictionary; for others never.
void forEachChild(QPDFObjectHandle object, const std::function<void(QPDFObjectHandle)>& visit);

}  // namespace optimizer
