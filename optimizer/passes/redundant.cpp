// Finds equal objects and lets one stand for all: fonts, ICC profiles, forms, images, functions, resources …
//
//   1. Every object that may be shared is spelled as bytes, with the references in it written as the number of the
//      object that stands for what they refer to. Streams add their coded bytes.
//   2. Objects with the same bytes become one. This can make others equal that refer to them, so the objects that do are
//      spelled again, until nothing changes.
//   3. Every reference in the document is pointed at the object that stands for its target; the rest is unreferenced,
//      and is left out when the document is written.
//
// Objects whose identity matters (identity.h) never take part.
#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "optimizer/base/limits.h"
#include "optimizer/document/document.h"
#include "optimizer/document/identity.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

using Index = std::size_t;
constexpr int kRounds = 50;
constexpr Index kSeveral = ~Index{0};

std::uint64_t hashOf(std::string_view bytes) { return std::hash<std::string_view>()(bytes); }

class Merger {
 public:
  explicit Merger(Document& document) : document_(document), objects_(document.reachable()) {
    const Identity identity(document.pdf());
    indexOf_.reserve(objects_.size());
    for (Index i = 0; i < objects_.size(); ++i) {
      indexOf_[keyOf(objects_[i])] = i;
      stands_.push_back(i);
      mayMerge_.push_back(!identity.has(objects_[i]));
    }
    users_.resize(objects_.size());
  }

  // How many objects others stand for now.
  std::size_t merge() {
    std::vector<Index> open;
    for (Index i = 0; i < objects_.size(); ++i) {
      if (mayMerge_[i]) open.push_back(i);
    }
    std::size_t merged = 0;
    for (int round = 0; round < kRounds && !open.empty(); ++round) {
      std::vector<Index> gone;
      for (Index i : open) {
        if (stands_[i] == i && mergeOne(i, round == 0)) gone.push_back(i);
      }
      merged += gone.size();
      open.clear();
      for (Index i : gone) {
        for (Index user : users_[i]) {
          if (mayMerge_[user] && stands_[user] == user) open.push_back(user);
        }
      }
      std::sort(open.begin(), open.end());
      open.erase(std::unique(open.begin(), open.end()), open.end());
      for (Index i : open) forget(i);
    }
    return merged;
  }

  void redirect() {
    QPDFObjectHandle trailer = document_.pdf().getTrailer();
    redirectIn(trailer, 0);
    for (Index i = 0; i < objects_.size(); ++i) {
      if (stands_[i] == i) redirectIn(objects_[i], 0);
    }
  }

 private:
  // Looks for an object with the same bytes; when there is one, it stands for this one.
  bool mergeOne(Index i, bool first) {
    const std::string bytes = spell(i, first ? &users_ : nullptr);
    std::uint64_t hash = hashOf(bytes);
    if (objects_[i].isStream()) {
      // The data of a stream is read only where another one has the same dictionary.
      const auto [lone, fresh] = lone_.try_emplace(hash, i);
      if (fresh) {
        hashes_[i] = hash;
        return false;
      }
      if (const Index other = std::exchange(lone->second, kSeveral); other != kSeveral) put(other, markedHash(hash, other));
      hash = markedHash(hash, i);
    }
    for (Index other : byHash_[hash]) {
      if (spell(other) == bytes && sameStream(i, other)) {
        stands_[i] = other;
        return true;
      }
    }
    put(i, hash);
    return false;
  }

  void put(Index i, std::uint64_t hash) {
    byHash_[hash].push_back(i);
    hashes_[i] = hash;
  }

  std::uint64_t markedHash(std::uint64_t hash, Index stream) {
    const StreamMark& mark = markOf(stream);
    return (hash ^ mark.hash) * 0x9E3779B97F4A7C15u + mark.size;
  }

  void forget(Index i) {
    const auto hash = hashes_.find(i);
    if (hash == hashes_.end()) return;
    const auto lone = lone_.find(hash->second);
    if (lone != lone_.end() && lone->second == i) {
      lone_.erase(lone);
    } else {
      std::vector<Index>& same = byHash_[hash->second];
      same.erase(std::remove(same.begin(), same.end(), i), same.end());
    }
    hashes_.erase(hash);
  }

  // users: takes i for each object that it refers to, where that is not null.
  std::string spell(Index i, std::vector<std::vector<Index>>* users = nullptr) {
    Spelling spelling{i, users, {}};
    QPDFObjectHandle object = objects_[i];
    if (object.isStream()) {
      spelling.out += 'S';
      spellDictionary(object.getDict(), spelling, 0, true);
    } else {
      spellValue(object, spelling, 0, true);
    }
    return std::move(spelling.out);
  }

  struct Spelling {
    Index of;
    std::vector<std::vector<Index>>* users;
    std::string out;
  };

  void spellValue(QPDFObjectHandle& value, Spelling& to, int depth, bool top) {
    std::string& out = to.out;
    if (!top && value.isIndirect()) {
      const auto found = indexOf_.find(keyOf(value));
      if (found == indexOf_.end()) {
        out += 'n';
        return;
      }
      if (to.users != nullptr) (*to.users)[found->second].push_back(to.of);
      out += 'R';
      out += std::to_string(standsFor(found->second));
      out += ' ';
      return;
    }
    const qpdf_object_type_e type = value.getTypeCode();
    if (type == ot_dictionary && depth < limits::kNesting) {
      spellDictionary(value, to, depth, false);
    } else if (type == ot_array && depth < limits::kNesting) {
      out += '[';
      forEachChild(value, [&](QPDFObjectHandle& item) { spellValue(item, to, depth + 1, false); });
      out += ']';
    } else if (type == ot_string) {
      spellText('s', value.getStringValue(), out);
    } else if (type == ot_name) {
      spellText('N', value.getName(), out);
    } else {
      out += value.unparseResolved();
      out += ' ';
    }
  }

  static void spellText(char kind, const std::string& text, std::string& out) {
    out += kind;
    out += std::to_string(text.size());
    out += ':';
    out += text;
  }

  void spellDictionary(QPDFObjectHandle dictionary, Spelling& to, int depth, bool ofStream) {
    to.out += '<';
    std::map<std::string, QPDFObjectHandle> entries = dictionary.getDictAsMap();
    for (auto& [key, value] : entries) {
      if (ofStream && key == "/Length") continue;
      spellText('K', key, to.out);
      spellValue(value, to, depth + 1, false);
    }
    to.out += '>';
  }

  bool sameStream(Index a, Index b) {
    if (!objects_[a].isStream()) return true;
    if (objects_[a].getDict().hasKey("/F")) return false;  // bytes in other files
    const StreamMark& markA = markOf(a);
    const StreamMark& markB = markOf(b);
    if (!markA.known || !markB.known || markA.size != markB.size || markA.hash != markB.hash) return false;
    const Result<Bytes> dataA = rawStreamData(objects_[a]);
    const Result<Bytes> dataB = rawStreamData(objects_[b]);
    return dataA.ok() && dataB.ok() && *dataA == *dataB;
  }

  struct StreamMark {
    bool known = false;
    std::size_t size = 0;
    std::uint64_t hash = 0;
  };

  const StreamMark& markOf(Index i) {
    const auto found = marks_.find(i);
    if (found != marks_.end()) return found->second;
    StreamMark mark;
    const Result<Bytes> data = rawStreamData(objects_[i]);
    if (data.ok()) {
      mark = {true, data->size(), hashOf({reinterpret_cast<const char*>(data->data()), data->size()})};
    }
    return marks_[i] = mark;
  }

  Index standsFor(Index i) {
    while (stands_[i] != i) i = stands_[i] = stands_[stands_[i]];
    return i;
  }

  // The object that a reference should lead to, where that is another one than now.
  bool redirected(const QPDFObjectHandle& value, QPDFObjectHandle& target) {
    const auto found = indexOf_.find(keyOf(value));
    if (found == indexOf_.end()) return false;
    const Index stands = standsFor(found->second);
    if (stands == found->second) return false;
    target = objects_[stands];
    return true;
  }

  void redirectIn(QPDFObjectHandle object, int depth) {
    if (depth > limits::kNesting) return;
    if (object.isStream()) object = object.getDict();
    QPDFObjectHandle target;
    if (object.isDictionary()) {
      for (const auto& [key, value] : object.getDictAsMap()) {
        if (!QPDFObjectHandle(value).isIndirect()) {
          redirectIn(value, depth + 1);
        } else if (redirected(value, target)) {
          object.replaceKey(key, target);
        }
      }
    } else if (object.isArray()) {
      const std::vector<QPDFObjectHandle> items = object.getArrayAsVector();
      for (std::size_t i = 0; i < items.size(); ++i) {
        if (!QPDFObjectHandle(items[i]).isIndirect()) {
          redirectIn(items[i], depth + 1);
        } else if (redirected(items[i], target)) {
          object.setArrayItem(static_cast<int>(i), target);
        }
      }
    }
  }

  Document& document_;
  std::vector<QPDFObjectHandle> objects_;
  std::unordered_map<std::uint64_t, Index> indexOf_;
  std::vector<Index> stands_;  // who stands for whom; itself where nobody else does
  std::vector<bool> mayMerge_;
  std::vector<std::vector<Index>> users_;
  std::unordered_map<std::uint64_t, std::vector<Index>> byHash_;  // of streams by dictionary and data
  std::unordered_map<std::uint64_t, Index> lone_;  // by its dictionary, the only stream that has it, or kSeveral
  std::unordered_map<Index, std::uint64_t> hashes_;  // where each object is in one of these
  std::unordered_map<Index, StreamMark> marks_;
};

class RedundantPass : public Pass {
 public:
  std::string_view name() const override { return "redundant"; }

  Result<PassOutcome> process(PassContext& context) override {
    Merger merger(context.document);
    const std::size_t merged = merger.merge();
    if (merged == 0) return PassOutcome::unchanged;
    merger.redirect();
    context.report.note(std::to_string(merged) + " objects were equal to others");
    return PassOutcome::changed;
  }
};

}  // namespace

std::unique_ptr<Pass> makeRedundantPass() { return std::make_unique<RedundantPass>(); }

}  // namespace optimizer
