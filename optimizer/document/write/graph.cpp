#include "optimizer/document/write/graph.h"

#include <functional>
#include <set>

#include "optimizer/base/limits.h"
#include "optimizer/document/reachable.h"

namespace optimizer {
namespace {

std::string kindOf(QPDFObjectHandle object) {
  if (object.isArray()) return "[";
  if (!object.isDictionary()) return "0";
  std::string kind;
  for (const char* key : {"/Type", "/S", "/Subtype"}) {
    QPDFObjectHandle value = object.getKey(key);
    if (value.isName()) kind += value.getName();
  }
  if (!kind.empty()) return kind;
  for (const auto& [key, value] : object.getDictAsMap()) kind += key;
  return "<" + kind.substr(0, 60);
}

}  // namespace

ObjectGraph::ObjectGraph(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages) {
  // What describes the old file's own structure goes with it.
  static const std::set<std::string> kStructural = {"/Size",   "/Prev",   "/Encrypt", "/XRefStm", "/Root",  "/Type",
                                                    "/Index",  "/W",      "/Length",  "/Filter",  "/DecodeParms",
                                                    "/ID"};
  QPDFObjectHandle trailer = pdf.getTrailer();
  root_ = add(trailer.getKey("/Root"));
  for (const QPDFObjectHandle& page : pages) {
    const std::uint32_t index = add(page);
    nodes_[index].page = static_cast<int>(pages_.size());
    pages_.push_back(index);
  }
  for (const auto& [key, constant] : trailer.getDictAsMap()) {
    QPDFObjectHandle value = constant;
    if (kStructural.count(key) != 0 || value.isNull()) continue;
    trailer_.emplace_back(key, value);
    reach(value, 0, nullptr, false);
  }
  for (std::uint32_t next = 0; next < nodes_.size(); ++next) {
    QPDFObjectHandle object = nodes_[next].object;
    std::vector<std::uint32_t> references;
    const bool isPage = nodes_[next].page >= 0;
    QPDFObjectHandle inside = object.isStream() ? object.getDict() : object;
    if (inside.isDictionary()) {
      for (const auto& [key, value] : inside.getDictAsMap()) {
        // Both are written, but the walk that asks what a page needs does not follow them.
        const bool aside = isPage && (key == "/Parent" || key == "/Thumb");
        if (object.isStream() && key == "/Length") continue;
        reach(value, 0, aside ? nullptr : &references, false);
      }
    } else {
      reach(inside, 0, &references, true);
    }
    nodes_[next].references = std::move(references);
  }
}

std::uint32_t ObjectGraph::add(QPDFObjectHandle object) {
  const auto [found, fresh] = indexes_.try_emplace(keyOf(object), static_cast<std::uint32_t>(nodes_.size()));
  if (fresh) {
    GraphNode node;
    node.object = object;
    node.isStream = object.isStream();
    node.ofTypePage = object.isDictionaryOfType("/Page");
    node.kind = node.isStream ? "" : kindOf(object);
    nodes_.push_back(std::move(node));
  }
  return found->second;
}

// top: the value is an indirect object's own, so it is looked into and not at.
void ObjectGraph::reach(QPDFObjectHandle value, int depth, std::vector<std::uint32_t>* references, bool top) {
  if (!top && value.isIndirect()) {
    if (value.isNull()) return;
    const std::uint32_t index = add(value);
    if (references != nullptr) references->push_back(index);
    return;
  }
  if (depth > limits::kNesting) return;
  if (value.isDictionary()) {
    for (const auto& [key, child] : value.getDictAsMap()) reach(child, depth + 1, references, false);
  } else if (value.isArray()) {
    const int count = value.getArrayNItems();
    for (int i = 0; i < count; ++i) reach(value.getArrayItem(i), depth + 1, references, false);
  }
}

std::uint32_t ObjectGraph::indexOf(const QPDFObjectHandle& object) const {
  const auto found = indexes_.find(keyOf(object));
  return found == indexes_.end() ? kNone : found->second;
}

std::vector<std::uint32_t> ObjectGraph::referencesOf(QPDFObjectHandle value) const {
  std::vector<std::uint32_t> out;
  const std::function<void(QPDFObjectHandle, int)> look = [&](QPDFObjectHandle inside, int depth) {
    if (inside.isIndirect()) {
      const std::uint32_t index = indexOf(inside);
      if (index != kNone) out.push_back(index);
    } else if (depth <= limits::kNesting && inside.isDictionary()) {
      for (const auto& [key, child] : inside.getDictAsMap()) look(child, depth + 1);
    } else if (depth <= limits::kNesting && inside.isArray()) {
      for (const QPDFObjectHandle& child : inside.getArrayAsVector()) look(child, depth + 1);
    }
  };
  look(value, 0);
  return out;
}

}  // namespace optimizer
