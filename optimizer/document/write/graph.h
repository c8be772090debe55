// The objects of a document as a graph of small numbers, spelled, ready for being grouped and written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/document/write/compact.h"

namespace optimizer {

struct GraphNode {
  QPDFObjectHandle object;
  CompactText text;  // its own; of a stream the dictionary, without its length and its end
  std::vector<std::uint32_t> references;  // without a page's Parent and Thumb
  bool isStream = false;
  int page = -1;       // index of the page that the object is
  bool ofTypePage = false;  // a page, or one that is in the page tree no more
  std::string kind;    // Type and Subtype, or the keys; equal objects of one kind look alike
};

// Everything that the trailer leads to, in breadth-first order. May throw what qpdf throws.
class ObjectGraph {
 public:
  static constexpr std::uint32_t kNone = 0xFFFFFFFF;

  ObjectGraph(QPDF& pdf, const std::vector<QPDFObjectHandle>& pages);

  const std::vector<GraphNode>& nodes() const { return nodes_; }
  std::size_t size() const { return nodes_.size(); }
  std::uint32_t indexOf(const QPDFObjectHandle& object) const;  // kNone where it is not in the graph
  std::uint32_t root() const { return root_; }
  const std::vector<std::uint32_t>& pages() const { return pages_; }
  // Indexes of what a value refers to, directly or through direct values inside it.
  std::vector<std::uint32_t> referencesOf(QPDFObjectHandle value) const;
  // Trailer entries that are kept in the written file, Root left out.
  const std::vector<std::pair<std::string, QPDFObjectHandle>>& trailer() const { return trailer_; }

 private:
  void spell(std::uint32_t index, const ObjectIndex& indexOf);
  std::optional<std::uint32_t> indexOrAdd(const QPDFObjectHandle& object);
  std::uint32_t add(QPDFObjectHandle object);

  std::vector<GraphNode> nodes_;
  std::unordered_map<std::uint64_t, std::uint32_t> indexes_;
  std::vector<std::uint32_t> pages_;
  std::vector<std::pair<std::string, QPDFObjectHandle>> trailer_;
  std::uint32_t root_ = kNone;
};

}  // namespace optimizer
