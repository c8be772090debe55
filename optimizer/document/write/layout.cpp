#include "optimizer/document/write/layout.h"

#include <algorithm>
#include <set>
#include <string>

namespace optimizer {
namespace {

// Deflate looks back 32 kilobytes, so larger object streams gain little and cost a reader who wants one object.
constexpr std::size_t kContainerBytes = 160'000;
constexpr std::size_t kContainerObjects = 4000;
// A single object this small is cheaper outside an object stream.
constexpr std::size_t kAloneBytes = 160;
// Steps that the walks over all pages may take together.
constexpr std::uint64_t kSteps = 300'000'000;

// Who needs an object or a unit, in the classes of Annex F.3.
struct Users {
  bool root = false, open = false, outline = false, first = false, others = false;
  std::uint32_t otherPages = 0;  // counted up to 2
  std::uint32_t page = 0;        // the last of them
  std::uint32_t thumbnails = 0;

  void usePage(std::uint32_t index) {
    if (index == 0) {
      first = true;
    } else if (otherPages == 0 || page != index) {
      otherPages = std::min<std::uint32_t>(otherPages + 1, 2);
      page = index;
    }
  }
  void add(const Users& other) {
    root |= other.root;
    open |= other.open;
    outline |= other.outline;
    first |= other.first;
    others |= other.others;
    thumbnails += other.thumbnails;
    if (other.otherPages == 1) usePage(other.page);
    if (other.otherPages > 1) otherPages = 2;
  }
};

// Walks from several starts over the same graph; each walk sees an object once and never enters a page from outside.
class Walker {
 public:
  explicit Walker(const ObjectGraph& graph) : graph_(graph), seen_(graph.size(), 0) {}

  // False when the steps are used up.
  template <typename Visit>
  bool walk(const std::vector<std::uint32_t>& starts, bool startIsPage, const Visit& visit) {
    ++walk_;
    stack_.clear();
    for (std::uint32_t start : starts) {
      if (!startIsPage && isPage(start)) continue;
      if (seen_[start] == walk_) continue;
      seen_[start] = walk_;
      stack_.push_back(start);
    }
    while (!stack_.empty()) {
      const std::uint32_t index = stack_.back();
      stack_.pop_back();
      visit(index);
      const GraphNode& node = graph_.nodes()[index];
      steps_ += node.references.size() + 1;
      if (steps_ > kSteps) return false;
      for (std::uint32_t next : node.references) {
        if (seen_[next] == walk_ || isPage(next)) continue;
        seen_[next] = walk_;
        stack_.push_back(next);
      }
    }
    return true;
  }

 private:
  const ObjectGraph& graph_;
  // Readers that check the hints stop at everything that says it is a page, whether it is one or not.
  bool isPage(std::uint32_t index) const { return graph_.nodes()[index].page >= 0 || graph_.nodes()[index].ofTypePage; }

  std::vector<std::uint32_t> seen_, stack_;
  std::uint32_t walk_ = 0;
  std::uint64_t steps_ = 0;
};

bool isOpenDocumentKey(const std::string& key) {
  return key == "/ViewerPreferences" || key == "/PageMode" || key == "/Threads" || key == "/OpenAction" ||
         key == "/AcroForm";
}

class Linearizer {
 public:
  Linearizer(const ObjectGraph& graph, const std::vector<std::size_t>& sizes) : graph_(graph), sizes_(sizes) {}

  Layout layout() {
    if (!findUsers()) return {};
    makeUnits();
    if (!findSharing()) return {};
    assignParts();
    return std::move(layout_);
  }

 private:
  bool findUsers() {
    users_.resize(graph_.size());
    Walker walker(graph_);
    const std::vector<std::uint32_t>& pages = graph_.pages();
    for (std::uint32_t p = 0; p < pages.size(); ++p) {
      if (!walker.walk({pages[p]}, true, [&](std::uint32_t i) { users_[i].usePage(p); })) return false;
      QPDFObjectHandle page = graph_.nodes()[pages[p]].object;
      if (!page.hasKey("/Thumb")) continue;
      const auto thumbnail = graph_.referencesOf(page.getKey("/Thumb"));
      if (!walker.walk(thumbnail, false, [&](std::uint32_t i) { ++users_[i].thumbnails; })) return false;
    }
    users_[graph_.root()].root = true;
    QPDFObjectHandle catalog = graph_.nodes()[graph_.root()].object;
    for (const auto& [key, value] : catalog.getDictAsMap()) {
      const bool open = isOpenDocumentKey(key), outline = key == "/Outlines";
      const auto mark = [&](std::uint32_t i) {
        users_[i].open |= open;
        users_[i].outline |= outline;
        users_[i].others |= !open && !outline;
      };
      if (!walker.walk(graph_.referencesOf(value), false, mark)) return false;
    }
    for (const auto& [key, value] : graph_.trailer()) {
      if (!walker.walk(graph_.referencesOf(value), false, [&](std::uint32_t i) { users_[i].others = true; })) {
        return false;
      }
    }
    return true;
  }

  bool standsAlone(std::uint32_t i) const {
    const GraphNode& node = graph_.nodes()[i];
    return node.isStream || node.page >= 0 || i == graph_.root();
  }

  void makeUnits() {
    std::vector<std::uint32_t> outline, open, first, pages, rest;
    unitOf_.assign(graph_.size(), 0);
    for (std::uint32_t i = 0; i < graph_.size(); ++i) {
      const Users& users = users_[i];
      if (standsAlone(i)) {
        addAlone(i);
      } else if (users.outline) {
        outline.push_back(i);
      } else if (users.open) {
        open.push_back(i);
      } else if (users.first) {
        first.push_back(i);
      } else if (users.otherPages > 0) {
        pages.push_back(i);
      } else {
        rest.push_back(i);
      }
    }
    // What one page needs should not be spread over all object streams.
    std::stable_sort(pages.begin(), pages.end(), [&](std::uint32_t a, std::uint32_t b) {
      const auto rank = [&](std::uint32_t i) { return users_[i].otherPages > 1 ? 0u : users_[i].page; };
      return rank(a) < rank(b);
    });
    for (auto* group : {&outline, &open, &first, &pages, &rest}) addContainers(*group);
  }

  void addAlone(std::uint32_t i) {
    unitOf_[i] = static_cast<UnitIndex>(layout_.units.size());
    layout_.units.push_back({false, {i}});
  }

  void addContainers(const std::vector<std::uint32_t>& group) {
    std::size_t begin = 0;
    while (begin < group.size()) {
      std::size_t end = begin, bytes = 0;
      while (end < group.size() && end - begin < kContainerObjects && (end == begin || bytes < kContainerBytes)) {
        bytes += sizes_[group[end++]];
      }
      std::vector<std::uint32_t> members(group.begin() + static_cast<std::ptrdiff_t>(begin),
                                         group.begin() + static_cast<std::ptrdiff_t>(end));
      begin = end;
      if (members.size() == 1 && bytes < kAloneBytes) {
        addAlone(members[0]);
        continue;
      }
      // Objects of one kind beside each other compress better.
      std::stable_sort(members.begin(), members.end(), [&](std::uint32_t a, std::uint32_t b) {
        return graph_.nodes()[a].kind < graph_.nodes()[b].kind;
      });
      for (std::uint32_t member : members) unitOf_[member] = static_cast<UnitIndex>(layout_.units.size());
      layout_.units.push_back({true, std::move(members)});
    }
  }

  // The same questions again, now for units, with the units that each page uses.
  bool findSharing() {
    unitUsers_.resize(layout_.units.size());
    for (std::uint32_t i = 0; i < graph_.size(); ++i) unitUsers_[unitOf_[i]].add(users_[i]);
    const std::vector<std::uint32_t>& pages = graph_.pages();
    unitsOfPage_.resize(pages.size());
    Walker walker(graph_);
    for (std::uint32_t p = 1; p < pages.size(); ++p) {
      std::set<UnitIndex> used;
      if (!walker.walk({pages[p]}, true, [&](std::uint32_t i) { used.insert(unitOf_[i]); })) return false;
      total_ += used.size();
      if (total_ > kSteps / 10) return false;
      unitsOfPage_[p].assign(used.begin(), used.end());
    }
    return true;
  }

  void assignParts() {
    LinearParts& parts = layout_.parts;
    const std::vector<std::uint32_t>& pages = graph_.pages();
    parts.pages.resize(pages.size());
    parts.sharedOfPage.resize(pages.size());
    parts.documentLevel.push_back(unitOf_[graph_.root()]);
    parts.firstPage.push_back(unitOf_[pages[0]]);
    for (std::size_t p = 1; p < pages.size(); ++p) parts.pages[p].push_back(unitOf_[pages[p]]);
    std::vector<UnitIndex> firstShared;
    std::vector<bool> isShared(layout_.units.size(), false);
    for (UnitIndex u = 0; u < layout_.units.size(); ++u) {
      const Users& users = unitUsers_[u];
      const std::uint32_t node = layout_.units[u].members[0];
      if (users.root) continue;
      if (graph_.nodes()[node].page >= 0) {
        isShared[u] = graph_.nodes()[node].page == 0;
        continue;
      }
      if (users.outline) {
        parts.outline.push_back(u);
      } else if (users.open) {
        parts.documentLevel.push_back(u);
      } else if (users.first) {
        const bool alone = users.otherPages == 0 && !users.others && users.thumbnails == 0;
        (alone ? parts.firstPage : firstShared).push_back(u);
        isShared[u] = true;
      } else if (users.otherPages == 1 && !users.others && users.thumbnails == 0) {
        parts.pages[users.page].push_back(u);
      } else if (users.otherPages > 1) {
        parts.shared.push_back(u);
        isShared[u] = true;
      } else {
        parts.rest.push_back(u);
      }
    }
    parts.firstPage.insert(parts.firstPage.end(), firstShared.begin(), firstShared.end());
    placeOutline(isShared);
    for (std::size_t p = 1; p < pages.size(); ++p) {
      for (UnitIndex u : unitsOfPage_[p]) {
        if (isShared[u]) parts.sharedOfPage[p].push_back(u);
      }
    }
  }

  // The outline's units stand together, the one with the outline dictionary first: with the first page where a viewer
  // opens it at once, else at the end.
  void placeOutline(std::vector<bool>& isShared) {
    LinearParts& parts = layout_.parts;
    if (parts.outline.empty()) return;
    QPDFObjectHandle catalog = graph_.nodes()[graph_.root()].object;
    const std::uint32_t dictionary = graph_.indexOf(catalog.getKey("/Outlines"));
    if (dictionary != ObjectGraph::kNone) {
      const auto top = std::find(parts.outline.begin(), parts.outline.end(), unitOf_[dictionary]);
      if (top != parts.outline.end()) std::rotate(parts.outline.begin(), top, top + 1);
    }
    const bool early = catalog.getKey("/PageMode").isNameAndEquals("/UseOutlines");
    std::vector<UnitIndex>& part = early ? parts.firstPage : parts.rest;
    part.insert(part.end(), parts.outline.begin(), parts.outline.end());
    if (early) {
      for (UnitIndex u : parts.outline) isShared[u] = true;
    }
  }

  const ObjectGraph& graph_;
  const std::vector<std::size_t>& sizes_;
  Layout layout_;
  std::vector<Users> users_, unitUsers_;
  std::vector<UnitIndex> unitOf_;
  std::vector<std::vector<UnitIndex>> unitsOfPage_;
  std::uint64_t total_ = 0;

  friend Layout optimizer::plainLayout(const ObjectGraph&, const std::vector<std::size_t>&);
};

}  // namespace

Layout plainLayout(const ObjectGraph& graph, const std::vector<std::size_t>& sizes) {
  Linearizer linearizer(graph, sizes);
  linearizer.unitOf_.assign(graph.size(), 0);
  std::vector<std::uint32_t> packed;
  for (std::uint32_t i = 0; i < graph.size(); ++i) {
    if (graph.nodes()[i].isStream) {
      linearizer.addAlone(i);
    } else {
      packed.push_back(i);
    }
  }
  linearizer.addContainers(packed);
  return std::move(linearizer.layout_);
}

Layout linearLayout(const ObjectGraph& graph, const std::vector<std::size_t>& sizes) {
  // Without a page that the file leads to, there is nothing to show first.
  const auto isMissing = [](std::uint32_t index) { return index == ObjectGraph::kNone; };
  if (graph.pages().empty() || isMissing(graph.root()) ||
      std::any_of(graph.pages().begin(), graph.pages().end(), isMissing)) {
    return {};
  }
  return Linearizer(graph, sizes).layout();
}

}  // namespace optimizer
