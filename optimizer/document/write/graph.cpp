#include "optimizer/document/write/graph.h"

#include <functional>
#include <map>
#include <set>

#include "optimizer/base/limits.h"
#include "optimizer/document/reachable.h"

namespace optimizer {
namespace {

std::string kindOf(const std::map<std::string, QPDFObjectHandle>& entries) {
  std::string kind;
  for (const char* key : {"/Type", "/S", "/Subtype"}) {
    const auto found = entries.find(key);
    if (found == entries.end()) continue;
    QPDFObjectHandle value = found->second;
    if (value.isName()) kind += value.getName();
  }
  if (!kind.empty()) return kind;
  for (const auto& [key, value] : entries) kind += key;
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
  const ObjectIndex index = [this](const QPDFObjectHandle& object) { return indexOrAdd(object); };
  CompactText ignored;
  for (const auto& [key, constant] : trailer.getDictAsMap()) {
    QPDFObjectHandle value = constant;
    if (kStructural.count(key) != 0 || value.isNull()) continue;
    trailer_.emplace_back(key, value);
    appendEntry(ignored, key, value, index);
  }
  for (std::uint32_t next = 0; next < nodes_.size(); ++next) spell(next, index);
}

std::optional<std::uint32_t> ObjectGraph::indexOrAdd(const QPDFObjectHandle& object) {
  if (QPDFObjectHandle(object).isNull()) return std::nullopt;
  return add(object);
}

std::uint32_t ObjectGraph::add(QPDFObjectHandle object) {
  const auto [found, fresh] = indexes_.try_emplace(keyOf(object), static_cast<std::uint32_t>(nodes_.size()));
  if (fresh) {
    GraphNode node;
    node.object = object;
    node.isStream = object.isStream();
    nodes_.push_back(std::move(node));
  }
  return found->second;
}

// The text of a node and what it refers to, which become nodes themselves: nodes_ may move.
void ObjectGraph::spell(std::uint32_t index, const ObjectIndex& indexOf) {
  QPDFObjectHandle object = nodes_[index].object;
  const bool isStream = nodes_[index].isStream, isPage = nodes_[index].page >= 0;
  QPDFObjectHandle inside = isStream ? object.getDict() : object;
  CompactText text;
  std::vector<std::uint32_t> references;
  std::size_t aside = 0;  // references that are written, but that the walk that asks what a page needs does not follow
  const auto follow = [&] {
    for (std::size_t i = references.size() + aside; i < text.references.size(); ++i) {
      references.push_back(text.references[i].object);
    }
  };
  if (inside.isDictionary()) {
    const std::map<std::string, QPDFObjectHandle> entries = inside.getDictAsMap();
    text.text = "<<";
    for (const auto& [key, value] : entries) {
      if (isStream && key == "/Length") continue;
      appendEntry(text, key, value, indexOf);
      if (isPage && (key == "/Parent" || key == "/Thumb")) {
        aside = text.references.size() - references.size();
      } else {
        follow();
      }
    }
    if (!isStream) {
      text.text += ">>";
      nodes_[index].kind = kindOf(entries);
      nodes_[index].ofTypePage = object.isDictionaryOfType("/Page");
    }
  } else {
    appendCompact(text, inside, indexOf);
    follow();
    nodes_[index].kind = inside.isArray() ? "[" : "0";
  }
  nodes_[index].text = std::move(text);
  nodes_[index].references = std::move(references);
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
