// The steps:
//   1. Page dictionaries, which a linearized file cannot pack, hand their large values to objects of their own.
//   2. Objects are grouped into units (layout.h), and units get their numbers and places.
//   3. Object streams are coded, and every unit's length is known.
//   4. A linearized file begins with numbers that depend on all offsets; its first parts are made again until their
//      lengths agree with what was assumed, with blanks where they became shorter.
#include "optimizer/document/write/write_pdf.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/limits.h"
#include "optimizer/base/pool.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/write/compact.h"
#include "optimizer/document/write/graph.h"
#include "optimizer/document/write/hints.h"
#include "optimizer/document/write/layout.h"
#include "optimizer/document/write/xref.h"

namespace optimizer {
namespace {

constexpr std::string_view kStreamEnd = "\nendstream\nendobj\n";

// A unit as it is written: `head`, then a stream's bytes, which stay in the document until they are needed.
struct Written {
  int number = 0;
  std::string head;
  bool hasData = false;
  std::uint64_t dataBytes = 0;
  std::uint64_t offset = 0;

  std::uint64_t size() const { return head.size() + (hasData ? dataBytes + kStreamEnd.size() : 0); }
};

// 128 bits of everything that is written, for the file identifier: the same content has the same.
class Fingerprint {
 public:
  void add(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
      a_ = (a_ ^ bytes[i]) * 0x100000001B3u;  // FNV-1a
      b_ = (b_ + bytes[i]) * 0x9E3779B97F4A7C15u;
      b_ ^= b_ >> 29;
    }
  }
  std::string bytes() const {
    std::string out;
    for (std::uint64_t half : {a_, b_}) {
      for (int shift = 56; shift >= 0; shift -= 8) out += static_cast<char>(half >> shift);
    }
    return out;
  }

 private:
  std::uint64_t a_ = 0xCBF29CE484222325u, b_ = 0x6A09E667F3BCC908u;
};

// The hint table of the outline names its first object, so the outline has to be one (ISO 32000-1, F.4.5).
void makeOutlineAnObject(Document& document) {
  QPDFObjectHandle root = document.pdf().getRoot();
  QPDFObjectHandle outline = root.getKey("/Outlines");
  if (outline.isDictionary() && !outline.isIndirect()) {
    root.replaceKey("/Outlines", document.pdf().makeIndirectObject(outline));
  }
}

void moveLargePageValues(Document& document) {
  // Values that several pages have alike are kept once.
  std::map<std::string, QPDFObjectHandle> known;
  constexpr std::size_t kLargeArray = 40, kShared = 12;
  std::map<std::string, int> uses;
  const auto spelled = [](QPDFObjectHandle value) { return value.unparse(); };
  std::vector<std::pair<QPDFObjectHandle, std::string>> candidates;
  for (QPDFObjectHandle page : document.pages()) {
    for (const auto& [key, constant] : page.getDictAsMap()) {
      QPDFObjectHandle value = constant;
      if (value.isIndirect() || (!value.isDictionary() && !value.isArray())) continue;
      if (key == "/Contents") continue;
      ++uses[spelled(value)];
      candidates.emplace_back(page, key);
    }
  }
  for (auto& [page, key] : candidates) {
    QPDFObjectHandle value = page.getKey(key);
    const std::string text = spelled(value);
    if (text.size() < kShared || (text.size() < kLargeArray && uses[text] < 3)) continue;
    QPDFObjectHandle& object = known[text];
    if (!object.isInitialized() || key == "/Annots") object = document.pdf().makeIndirectObject(value);
    page.replaceKey(key, object);
  }
}

class Writer {
 public:
  Writer(Document& document, bool linearize, WorkerPool* pool, int level, const ByteSink& sink)
      : document_(document),
        linearize_(linearize),
        pool_(pool),
        level_(level),
        sink_(sink),
        graph_(document.pdf(), document.pages()) {}

  Status write() {
    sizes_.resize(graph_.size());
    numbers_.resize(graph_.size());
    for (std::uint32_t i = 0; i < graph_.size(); ++i) {
      if (!graph_.nodes()[i].isStream) sizes_[i] = graph_.nodes()[i].text.size();
    }
    layout_ = linearize_ ? linearLayout(graph_, sizes_) : plainLayout(graph_, sizes_);
    if (layout_.units.empty()) {
      linearize_ = false;
      layout_ = plainLayout(graph_, sizes_);
    }
    number();
    OPTIMIZER_TRY(makeUnits());
    return linearize_ ? writeLinearized() : writePlain();
  }

 private:
  // Units first, then what is inside object streams: readers of linearized files expect packed objects to have the
  // highest numbers of their section.
  void number() {
    written_.resize(layout_.units.size());
    if (!linearize_) {
      next_ = 1;
      std::vector<UnitIndex> all;
      for (UnitIndex u = 0; u < layout_.units.size(); ++u) all.push_back(u);
      numberUnits(all);
      xref2_ = next_++;
      numberMembers(all);
      end_ = next_;
      order_ = all;
      return;
    }
    const LinearParts& parts = layout_.parts;
    std::vector<UnitIndex> second;
    for (const auto& page : parts.pages) second.insert(second.end(), page.begin(), page.end());
    second.insert(second.end(), parts.shared.begin(), parts.shared.end());
    second.insert(second.end(), parts.rest.begin(), parts.rest.end());
    next_ = 1;
    numberUnits(second);
    xref2_ = next_++;
    numberMembers(second);
    firstHalf_ = next_;
    linearDictionary_ = next_++;
    xref1_ = next_++;
    numberUnits(parts.documentLevel);
    hints_ = next_++;
    numberUnits(parts.firstPage);
    numberMembers(parts.documentLevel);
    numberMembers(parts.firstPage);
    end_ = next_;
    order_ = parts.documentLevel;
    order_.insert(order_.end(), parts.firstPage.begin(), parts.firstPage.end());
    order_.insert(order_.end(), second.begin(), second.end());
  }

  void numberUnits(const std::vector<UnitIndex>& units) {
    for (UnitIndex u : units) {
      written_[u].number = next_++;
      if (!layout_.units[u].container) numbers_[layout_.units[u].members[0]] = written_[u].number;
    }
  }

  void numberMembers(const std::vector<UnitIndex>& units) {
    for (UnitIndex u : units) {
      if (!layout_.units[u].container) continue;
      for (std::uint32_t member : layout_.units[u].members) numbers_[member] = next_++;
    }
  }

  Status makeUnits() {
    std::vector<UnitIndex> containers;
    for (UnitIndex u : order_) {
      Written& unit = written_[u];
      unit.head = std::to_string(unit.number) + " 0 obj\n";
      if (layout_.units[u].container) {
        containers.push_back(u);
        continue;
      }
      const GraphNode& node = graph_.nodes()[layout_.units[u].members[0]];
      node.text.appendTo(unit.head, numbers_);
      if (node.isStream) {
        const Result<Bytes> data = rawStreamData(node.object);
        if (!data.ok()) return data.error();
        fingerprint_.add(data->data(), data->size());
        unit.hasData = true;
        unit.dataBytes = data->size();
        unit.head += "/Length " + std::to_string(data->size()) + ">>\nstream\n";
      } else {
        unit.head += "\nendobj\n";
      }
      fingerprint_.add(unit.head.data(), unit.head.size());
    }
    packContainers(containers);
    return {};
  }

  // ISO 32000-1, 7.5.7: pairs of number and offset, then the objects.
  void packContainers(const std::vector<UnitIndex>& containers) {
    std::vector<std::string> plain(containers.size());
    std::vector<std::size_t> firsts(containers.size());
    std::vector<Bytes> coded(containers.size());
    const auto code = [&](std::size_t c) {
      std::string index, body;
      for (std::uint32_t member : layout_.units[containers[c]].members) {
        index += std::to_string(numbers_[member]) + " " + std::to_string(body.size()) + " ";
        graph_.nodes()[member].text.appendTo(body, numbers_);
        body += '\n';
      }
      firsts[c] = index.size();
      plain[c] = index + body;
      coded[c] = deflate({reinterpret_cast<const std::uint8_t*>(plain[c].data()), plain[c].size()}, level_);
    };
    inTasks(containers.size(), code);
    for (std::size_t c = 0; c < containers.size(); ++c) {
      fingerprint_.add(plain[c].data(), plain[c].size());
      std::string& head = written_[containers[c]].head;
      head += "<</Type/ObjStm/N " + std::to_string(layout_.units[containers[c]].members.size()) + "/First " +
              std::to_string(firsts[c]) + "/Filter/FlateDecode/Length " + std::to_string(coded[c].size()) +
              ">>\nstream\n";
      head.append(coded[c].begin(), coded[c].end());
      head += kStreamEnd;
    }
  }

  void inTasks(std::size_t count, const std::function<void(std::size_t)>& task) {
    if (pool_ != nullptr) {
      pool_->parallelFor(count, task);
    } else {
      for (std::size_t i = 0; i < count; ++i) task(i);
    }
  }

  std::string header() {
    // Object streams came with PDF 1.5.
    const std::string given = document_.pdf().getPDFVersion();
    const std::string version = given < "1.5" ? "1.5" : given;
    return "%PDF-" + version + "\n%\xE2\xE3\xCF\xD3\n";
  }

  std::string trailerEntries() {
    const ObjectIndex indexOf = [this](const QPDFObjectHandle& object) -> std::optional<std::uint32_t> {
      const std::uint32_t index = graph_.indexOf(object);
      if (index == ObjectGraph::kNone) return std::nullopt;
      return index;
    };
    std::string out = "/Root " + std::to_string(numbers_[graph_.root()]) + " 0 R";
    for (const auto& [key, value] : graph_.trailer()) {
      QPDFObjectHandle array = QPDFObjectHandle::newArray({value});
      CompactText spelled;
      appendCompact(spelled, array, indexOf);  // an element keeps being a reference
      std::string text;
      spelled.appendTo(text, numbers_);
      text = text.substr(1, text.size() - 2);
      if (text == "null") continue;
      const bool delimited = text.find_first_of("<[(/") == 0;
      out += compactName(key) + (delimited ? "" : " ") + text;
    }
    std::string first = fingerprint_.bytes();
    QPDFObjectHandle id = document_.pdf().getTrailer().getKey("/ID");
    if (id.isArray() && id.getArrayNItems() == 2 && id.getArrayItem(0).isString() &&
        id.getArrayItem(0).getStringValue().size() <= 64) {
      first = id.getArrayItem(0).getStringValue();
    }
    return out + "/ID[" + compactString(first) + compactString(fingerprint_.bytes()) + "]";
  }

  // The entries of objects first to last - 1.
  std::vector<XrefEntry> table(int first, int last) const {
    std::vector<XrefEntry> entries(static_cast<std::size_t>(last - first));
    const auto at = [&](int number) -> XrefEntry* {
      return number >= first && number < last ? &entries[static_cast<std::size_t>(number - first)] : nullptr;
    };
    for (UnitIndex u : order_) {
      if (XrefEntry* entry = at(written_[u].number)) *entry = {1, written_[u].offset, 0};
      if (!layout_.units[u].container) continue;
      std::uint32_t index = 0;
      for (std::uint32_t member : layout_.units[u].members) {
        if (XrefEntry* entry = at(numbers_[member])) {
          *entry = {2, static_cast<std::uint64_t>(written_[u].number), index};
        }
        ++index;
      }
    }
    for (const auto& [number, offset] : extra_) {
      if (XrefEntry* entry = at(number)) *entry = {1, offset, 0};
    }
    return entries;
  }

  void place(const std::vector<UnitIndex>& units, std::uint64_t& position) {
    for (UnitIndex u : units) {
      written_[u].offset = position;
      position += written_[u].size();
    }
  }

  Status put(std::string_view text) {
    return sink_({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }

  Status putUnits(const std::vector<UnitIndex>& units) {
    for (UnitIndex u : units) {
      const Written& unit = written_[u];
      OPTIMIZER_TRY(put(unit.head));
      if (!unit.hasData) continue;
      const Result<Bytes> data = rawStreamData(graph_.nodes()[layout_.units[u].members[0]].object);
      if (!data.ok()) return data.error();
      if (data->size() != unit.dataBytes) return Error{ErrorKind::internal, "A stream changed while it was written"};
      OPTIMIZER_TRY(sink_(*data));
      OPTIMIZER_TRY(put(kStreamEnd));
    }
    return {};
  }

  Status writePlain() {
    const std::string head = header();
    std::uint64_t position = head.size();
    place(order_, position);
    extra_ = {{xref2_, position}};
    const std::string xref = xrefStream(xref2_, 0, table(0, end_), end_, trailerEntries());
    OPTIMIZER_TRY(put(head));
    OPTIMIZER_TRY(putUnits(order_));
    OPTIMIZER_TRY(put(xref));
    return put("startxref\n" + std::to_string(position) + "\n%%EOF\n");
  }

  Status writeLinearized() {
    const LinearParts& parts = layout_.parts;
    const std::string head = header();
    const std::string trailer = trailerEntries();
    const std::string kFirstEnd = "startxref\n0\n%%EOF\n";
    std::string linear, xref1, hints, xref2, tail;
    std::size_t linearRoom = 0, xref1Room = 0, hintRoom = 0;
    for (int attempt = 0; attempt < 40; ++attempt) {
      std::uint64_t position = head.size();
      const std::uint64_t linearAt = position;
      position += linearRoom;
      const std::uint64_t xref1At = position;
      position += xref1Room + kFirstEnd.size();
      place(parts.documentLevel, position);
      const std::uint64_t hintAt = position;
      position += hintRoom;
      place(parts.firstPage, position);
      const std::uint64_t firstEnd = position;
      for (const auto& page : parts.pages) place(page, position);
      place(parts.shared, position);
      place(parts.rest, position);
      const std::uint64_t xref2At = position;
      extra_ = {{linearDictionary_, linearAt}, {xref1_, xref1At}, {hints_, hintAt}, {xref2_, xref2At}};
      inTasks(3, [&](std::size_t part) {
        if (part == 0) xref2 = xrefStream(xref2_, 0, table(0, firstHalf_), firstHalf_, "");
        if (part == 1) hints = hintStream(hints_, hintTables(hintRoom));
        if (part == 2) {
          xref1 = xrefStream(xref1_, firstHalf_, table(firstHalf_, end_), end_,
                             "/Prev " + std::to_string(xref2At) + trailer);
        }
      });
      tail = "startxref\n" + std::to_string(xref1At) + "\n%%EOF\n";
      const std::uint64_t fileBytes = xref2At + xref2.size() + tail.size();

      linear = std::to_string(linearDictionary_) + " 0 obj\n<</Linearized 1/L " + std::to_string(fileBytes) + "/H[" +
               std::to_string(hintAt) + " " + std::to_string(hintRoom) + "]/O " +
               std::to_string(written_[parts.firstPage[0]].number) + "/E " + std::to_string(firstEnd) + "/N " +
               std::to_string(graph_.pages().size()) + "/T " + std::to_string(xref2At) + ">>\nendobj\n";
      if (linear.size() <= linearRoom && xref1.size() <= xref1Room && hints.size() <= hintRoom) {
        linear.resize(linearRoom, '\n');
        xref1.resize(xref1Room, '\n');
        hints.resize(hintRoom, '\n');
        OPTIMIZER_TRY(put(head));
        OPTIMIZER_TRY(put(linear));
        OPTIMIZER_TRY(put(xref1));
        OPTIMIZER_TRY(put(kFirstEnd));
        OPTIMIZER_TRY(putUnits(parts.documentLevel));
        OPTIMIZER_TRY(put(hints));
        OPTIMIZER_TRY(putUnits(parts.firstPage));
        for (const auto& page : parts.pages) OPTIMIZER_TRY(putUnits(page));
        OPTIMIZER_TRY(putUnits(parts.shared));
        OPTIMIZER_TRY(putUnits(parts.rest));
        OPTIMIZER_TRY(put(xref2));
        return put(tail);
      }
      // The first rounds settle by themselves; later ones leave room, in case two lengths chase each other.
      const std::size_t slack = attempt < 4 ? 0 : static_cast<std::size_t>(attempt);
      linearRoom = std::max(linearRoom, linear.size() + slack);
      xref1Room = std::max(xref1Room, xref1.size() + slack);
      hintRoom = std::max(hintRoom, hints.size() + slack);
    }
    return Error{ErrorKind::internal, "The linearized file did not settle"};
  }

  HintTables hintTables(std::uint64_t hintBytes) const {
    const LinearParts& parts = layout_.parts;
    const auto without = [&](std::uint64_t offset) { return offset - hintBytes; };
    HintTables tables;
    tables.firstPageOffset = without(written_[parts.firstPage[0]].offset);
    std::map<UnitIndex, std::uint32_t> sharedIndex;
    for (const auto* part : {&parts.firstPage, &parts.shared}) {
      for (UnitIndex u : *part) {
        sharedIndex[u] = static_cast<std::uint32_t>(tables.sharedLengths.size());
        tables.sharedLengths.push_back(written_[u].size());
      }
    }
    tables.sharedInFirstPage = static_cast<std::uint32_t>(parts.firstPage.size());
    if (!parts.shared.empty()) {
      tables.firstSharedObject = static_cast<std::uint32_t>(written_[parts.shared[0]].number);
      tables.firstSharedOffset = without(written_[parts.shared[0]].offset);
    }
    for (std::size_t p = 0; p < parts.pages.size(); ++p) {
      const std::vector<UnitIndex>& units = p == 0 ? parts.firstPage : parts.pages[p];
      PageHint page;
      page.objects = static_cast<std::uint32_t>(units.size());
      for (UnitIndex u : units) page.length += written_[u].size();
      for (UnitIndex u : parts.sharedOfPage[p]) page.shared.push_back(sharedIndex.at(u));
      tables.pages.push_back(std::move(page));
    }
    if (!parts.outline.empty()) {
      const Written& first = written_[parts.outline[0]];
      tables.outlineObject = static_cast<std::uint32_t>(first.number);
      tables.outlineOffset = without(first.offset);
      tables.outlineObjects = static_cast<std::uint32_t>(parts.outline.size());
      for (UnitIndex u : parts.outline) tables.outlineLength += written_[u].size();
    }
    return tables;
  }

  Document& document_;
  bool linearize_;
  WorkerPool* pool_;
  int level_;
  const ByteSink& sink_;
  ObjectGraph graph_;
  std::vector<std::size_t> sizes_;
  Layout layout_;
  std::vector<int> numbers_;      // by node
  std::vector<Written> written_;  // by unit
  std::vector<UnitIndex> order_;  // units as they stand in the file, parts 4 and 6 first
  std::vector<std::pair<int, std::uint64_t>> extra_;  // objects of the file's structure: number and offset
  Fingerprint fingerprint_;
  int next_ = 1, end_ = 0, firstHalf_ = 0;
  int linearDictionary_ = 0, xref1_ = 0, xref2_ = 0, hints_ = 0;
};

}  // namespace

Status writePdf(Document& document, bool linearize, WorkerPool* pool, int level, const ByteSink& sink) {
  return withoutExceptions("The PDF cannot be written", [&]() -> Status {
    if (linearize) {
      makeOutlineAnObject(document);
      moveLargePageValues(document);
    }
    return Writer(document, linearize, pool, level, sink).write();
  });
}

}  // namespace optimizer
