#include "optimizer/audit/audit.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <qpdf/QPDFXRefEntry.hh>
#include <utility>

#include "optimizer/audit/file_layout.h"
#include "optimizer/audit/roles.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"

namespace optimizer {
namespace {

std::int64_t wholeNumber(QPDFObjectHandle value) { return value.isInteger() ? value.getIntValue() : 0; }

bool hasType(QPDFObjectHandle object, const char* type) {
  return object.isStream() && object.getDict().getKey("/Type").isNameAndEquals(type);
}

DpiBand bandOf(double dpi) {
  if (!(dpi > 0)) return DpiBand::unknown;
  if (dpi > 600.5) return DpiBand::above600;
  if (dpi > 300.5) return DpiBand::above300;
  return dpi > 150.5 ? DpiBand::above150 : DpiBand::upTo150;
}

std::string colorOf(QPDFObjectHandle image) {
  if (image.getKey("/ImageMask").isBool() && image.getKey("/ImageMask").getBoolValue()) return "mask";
  QPDFObjectHandle space = image.getKey("/ColorSpace");
  if (space.isArray() && space.getArrayNItems() > 0) space = space.getArrayItem(0);
  return space.isName() ? space.getName().substr(1) : "";
}

class Accounting {
 public:
  explicit Accounting(Document& document) : document_(document), pdf_(document.pdf()) {}

  Result<Audit> run() {
    readTable();
    Result<FileLayout> layout = layOut(document_.path(), offsets_, [this](QPDFObjGen id) -> std::uint64_t {
      QPDFObjectHandle stream = pdf_.getObject(id);
      if (!stream.isStream()) return 0;
      const std::int64_t length = wholeNumber(stream.getDict().getKey("/Length"));
      return length > 0 ? static_cast<std::uint64_t>(length) : 0;
    });
    if (!layout.ok()) return layout.error();
    describe(*layout);
    roles_ = rolesOf(document_);
    usage_ = analyzeUsage(document_);

    add(AuditKind::crossReference, 0, layout->crossReference);
    add(AuditKind::framing, 0, layout->framing);
    add(AuditKind::earlierVersions, 0, layout->earlierVersions);
    add(AuditKind::strayBytes, 0, layout->stray);
    for (const auto& [id, bytes] : layout->objects) {
      const auto inside = members_.find(id);
      if (inside == members_.end()) {
        addObject(id, bytes);
      } else {
        shareOut(id, inside->second, bytes);
      }
    }
    finish();
    return std::move(audit_);
  }

 private:
  // Where the objects are: at offsets of the file or inside object streams.
  void readTable() {
    for (const auto& [id, entry] : pdf_.getXRefTable()) {
      if (entry.getType() == 1 && entry.getOffset() >= 0) {
        offsets_[id] = static_cast<std::uint64_t>(entry.getOffset());
      } else if (entry.getType() == 2) {
        members_[QPDFObjGen(entry.getObjStreamNumber(), 0)].push_back({id, entry.getObjStreamIndex()});
      }
    }
  }

  void describe(const FileLayout& layout) {
    audit_.fileBytes = layout.size;
    audit_.pages = document_.pages().size();
    audit_.version = pdf_.getPDFVersion();
    audit_.encrypted = pdf_.isEncrypted();
    audit_.tagged = pdf_.getRoot().hasKey("/StructTreeRoot");
    // The dictionary of a linearized file is its first object, and nothing refers to it (ISO 32000-1, Annex
    // F).
    const auto first =
        std::min_element(offsets_.begin(), offsets_.end(),
                         [](const auto& left, const auto& right) { return left.second < right.second; });
    if (first == offsets_.end()) return;
    QPDFObjectHandle dictionary = pdf_.getObject(first->first);
    if (!dictionary.isDictionary() || !dictionary.hasKey("/Linearized")) return;
    audit_.linearized = true;
    linearization_.push_back(first->first);
    QPDFObjectHandle hints = dictionary.getKey("/H");
    if (!hints.isArray() || hints.getArrayNItems() < 1) return;
    const std::int64_t offset = wholeNumber(hints.getArrayItem(0));
    for (const auto& [id, place] : offsets_) {
      if (offset > 0 && place == static_cast<std::uint64_t>(offset)) linearization_.push_back(id);
    }
  }

  Role roleOf(QPDFObjGen id) {
    const auto found = roles_.find(id);
    if (found != roles_.end()) return found->second;
    const bool linearization =
        std::find(linearization_.begin(), linearization_.end(), id) != linearization_.end();
    if (linearization || hasType(pdf_.getObject(id), "/XRef")) return {AuditKind::crossReference, 0, ""};
    return {AuditKind::unreferenced, 0, ""};
  }

  void add(AuditKind kind, std::uint64_t count, std::uint64_t bytes, DpiBand band = DpiBand::none) {
    AuditRow& row = rows_[{kind, band}];
    row.kind = kind;
    row.band = band;
    row.count += count;
    row.bytes += bytes;
  }

  void addObject(QPDFObjGen id, std::uint64_t bytes) {
    const Role role = roleOf(id);
    QPDFObjectHandle object = pdf_.getObject(id);
    AuditItem item{role.kind, DpiBand::none, bytes, id.getObj(), role.page, role.name, 0, 0, 0, "", 0};
    if (object.isStream() && isImage(role.kind)) readImage(object.getDict(), id, item);
    add(role.kind, 1, bytes, item.band);
    if (object.isStream()) keep(std::move(item));
  }

  void readImage(QPDFObjectHandle dictionary, QPDFObjGen id, AuditItem& item) {
    item.width = wholeNumber(dictionary.getKey("/Width"));
    item.height = wholeNumber(dictionary.getKey("/Height"));
    const std::int64_t bits = wholeNumber(dictionary.getKey("/BitsPerComponent"));
    item.bits = bits > 0 && bits <= 16 ? static_cast<int>(bits) : 0;
    item.color = colorOf(dictionary);
    const ImageUse* use = nullptr;
    const auto image = usage_.images.find(id);
    const auto mask = usage_.masks.find(id);
    if (mask != usage_.masks.end()) {
      use = &mask->second;
      if (image == usage_.images.end()) item.color = "mask";
    }
    if (image != usage_.images.end()) use = &image->second;
    if (use == nullptr) {
      item.band = usage_.complete ? DpiBand::neverDrawn : DpiBand::unknown;
      return;
    }
    const ImageResolution resolution = resolutionOf(*use, dictionary);
    item.dpi = std::min(resolution.x, resolution.y);
    item.band = bandOf(item.dpi);
    if (!use->pages.empty()) item.page = *use->pages.begin() + 1;
  }

  // Keeps the largest, in no order until the end.
  void keep(AuditItem item) {
    audit_.items.push_back(std::move(item));
    if (audit_.items.size() >= 8 * kAuditItems) cutItems();
  }

  void cutItems() {
    const auto larger = [](const AuditItem& left, const AuditItem& right) {
      return left.bytes != right.bytes ? left.bytes > right.bytes : left.object < right.object;
    };
    std::sort(audit_.items.begin(), audit_.items.end(), larger);
    if (audit_.items.size() > kAuditItems) audit_.items.resize(kAuditItems);
  }

  struct Member {
    QPDFObjGen id;
    int index;
  };

  // The lengths of the texts of the objects in an object stream: what is between the offsets of its table.
  std::vector<std::uint64_t> textLengths(QPDFObjGen container) {
    std::vector<std::uint64_t> lengths;
    QPDFObjectHandle stream = pdf_.getObject(container);
    if (!stream.isStream()) return lengths;
    const std::int64_t count = wholeNumber(stream.getDict().getKey("/N"));
    const std::int64_t first = wholeNumber(stream.getDict().getKey("/First"));
    const Result<Bytes> text = decodedStreamData(stream);
    if (!text.ok() || count <= 0 || first <= 0) return lengths;
    std::vector<std::uint64_t> numbers;
    std::uint64_t number = 0;
    bool inNumber = false;
    for (std::size_t i = 0; i <= text->size() && numbers.size() < 2 * static_cast<std::uint64_t>(count);
         ++i) {
      const int c = i < text->size() ? (*text)[i] : ' ';
      if (c >= '0' && c <= '9') {
        number = std::min<std::uint64_t>(number * 10 + static_cast<std::uint64_t>(c - '0'), text->size());
        inNumber = true;
      } else if (inNumber) {
        numbers.push_back(std::exchange(number, 0));
        inNumber = false;
      }
    }
    for (std::size_t i = 1; i < numbers.size(); i += 2) {
      const std::uint64_t end =
          i + 2 < numbers.size()
              ? numbers[i + 2]
              : text->size() - std::min<std::uint64_t>(text->size(), static_cast<std::uint64_t>(first));
      lengths.push_back(end > numbers[i] ? end - numbers[i] : 0);
    }
    return lengths;
  }

  // The stream's bytes by the share that each object has of its text; the last one gets what rounding left.
  void shareOut(QPDFObjGen container, const std::vector<Member>& members, std::uint64_t bytes) {
    const std::vector<std::uint64_t> lengths = textLengths(container);
    double all = 0;
    for (const std::uint64_t length : lengths) all += static_cast<double>(length) + 1;
    std::uint64_t left = bytes;
    for (const Member& member : members) {
      const auto index = static_cast<std::size_t>(std::max(member.index, 0));
      const double weight = index < lengths.size() ? static_cast<double>(lengths[index]) + 1 : 0;
      const auto share =
          std::min(left, static_cast<std::uint64_t>(all > 0 ? weight / all * static_cast<double>(bytes) : 0));
      add(roleOf(member.id).kind, 1, share);
      left -= share;
    }
    // Of a stream whose objects were replaced since, the old texts are what is left.
    const bool replaced = members.size() < lengths.size();
    add(replaced ? AuditKind::earlierVersions : AuditKind::crossReference, 0, left);
  }

  void finish() {
    cutItems();
    for (const auto& [key, row] : rows_) {
      if (row.bytes > 0 || row.count > 0) audit_.rows.push_back(row);
    }
  }

  Document& document_;
  QPDF& pdf_;
  std::map<QPDFObjGen, std::uint64_t> offsets_;
  std::map<QPDFObjGen, std::vector<Member>> members_;
  std::vector<QPDFObjGen> linearization_;
  std::map<QPDFObjGen, Role> roles_;
  DocumentUsage usage_;
  std::map<std::pair<AuditKind, DpiBand>, AuditRow> rows_;
  Audit audit_;
};

}  // namespace

const char* dpiBandText(DpiBand band) {
  switch (band) {
    case DpiBand::none:
      break;
    case DpiBand::above600:
      return "above 600 dpi";
    case DpiBand::above300:
      return "above 300 dpi";
    case DpiBand::above150:
      return "above 150 dpi";
    case DpiBand::upTo150:
      return "up to 150 dpi";
    case DpiBand::unknown:
      return "shown at an unknown size";
    case DpiBand::neverDrawn:
      return "never shown";
  }
  return "";
}

Result<Audit> auditDocument(Document& document) {
  return withoutExceptions("The PDF cannot be audited",
                           [&]() -> Result<Audit> { return Accounting(document).run(); });
}

}  // namespace optimizer
