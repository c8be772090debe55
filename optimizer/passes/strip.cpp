// Removes what the strip bits name, and nothing else (ISO 32000-1 clauses beside each).
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/document/document.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

class Stripper {
 public:
  explicit Stripper(Document& document) : document_(document), root_(document.pdf().getRoot()) {}

  // 12.4.3: article threads, and the beads that pages list.
  void threads() {
    remove(root_, "/Threads");
    fromPages("/B");
  }

  // 14.3.2: metadata streams, of the document and of any part of it.
  void metadata() {
    everywhere([this](QPDFObjectHandle& dictionary) {
      if (dictionary.getKey("/Metadata").isStream()) remove(dictionary, "/Metadata");
    });
  }

  // 14.5: private data of the programs that wrote the document; LastModified is there for its sake.
  void pieceInfo() {
    everywhere([this](QPDFObjectHandle& dictionary) {
      if (!dictionary.getKey("/PieceInfo").isDictionary()) return;
      remove(dictionary, "/PieceInfo");
      remove(dictionary, "/LastModified");
    });
  }

  // 14.7: the tree, and every number that leads into it.
  void structureTree() {
    if (!root_.hasKey("/StructTreeRoot") && !root_.hasKey("/MarkInfo")) return;
    remove(root_, "/StructTreeRoot");
    remove(root_, "/MarkInfo");
    everywhere([this](QPDFObjectHandle& dictionary) {
      remove(dictionary, "/StructParent");
      remove(dictionary, "/StructParents");
    });
    for (QPDFObjectHandle page : document_.pages()) {
      if (page.getKey("/Tabs").isNameAndEquals("/S")) remove(page, "/Tabs");
    }
  }

  // 12.3.4.
  void thumbnails() { fromPages("/Thumb"); }

  // 14.10: the document's record of what was crawled, its name trees, and the identifiers that point into them.
  void spiderInfo() {
    remove(root_, "/SpiderInfo");
    QPDFObjectHandle names = root_.getKey("/Names");
    if (names.isDictionary()) {
      remove(names, "/IDS");
      remove(names, "/URLS");
    }
    fromPages("/ID");
    everywhere([this](QPDFObjectHandle& dictionary) {
      if (dictionary.getKey("/Subtype").isNameAndEquals("/Image")) remove(dictionary, "/ID");
    });
  }

  // 8.9.5.4.
  void alternateImages() {
    everywhere([this](QPDFObjectHandle& dictionary) {
      if (dictionary.getKey("/Subtype").isNameAndEquals("/Image")) remove(dictionary, "/Alternates");
    });
  }

  // 14.11.5; pages have them since PDF 2.0.
  void outputIntents() {
    remove(root_, "/OutputIntents");
    fromPages("/OutputIntents");
  }

  // What goes wherever it stands, in one walk; comes last.
  void everywhereAtOnce() {
    if (visits_.empty()) return;
    for (QPDFObjectHandle container : document_.containers()) {
      if (!container.isDictionary()) continue;
      for (const auto& visit : visits_) visit(container);
    }
  }

  std::size_t removed() const { return removed_; }

 private:
  void remove(QPDFObjectHandle& dictionary, const char* key) {
    if (!dictionary.hasKey(key)) return;
    dictionary.removeKey(key);
    ++removed_;
  }

  void fromPages(const char* key) {
    for (QPDFObjectHandle page : document_.pages()) remove(page, key);
  }

  void everywhere(std::function<void(QPDFObjectHandle&)> visit) { visits_.push_back(std::move(visit)); }

  Document& document_;
  QPDFObjectHandle root_;
  std::vector<std::function<void(QPDFObjectHandle&)>> visits_;
  std::size_t removed_ = 0;
};

class StripPass : public Pass {
 public:
  std::string_view name() const override { return "strip"; }

  Result<PassOutcome> process(PassContext& context) override {
    const std::uint32_t strip = context.settings.strip;
    Stripper stripper(context.document);
    if (strip & stripThreads) stripper.threads();
    if (strip & stripMetadata) stripper.metadata();
    if (strip & stripPieceInfo) stripper.pieceInfo();
    if (strip & stripStructureTree) stripper.structureTree();
    if (strip & stripThumbnails) stripper.thumbnails();
    if (strip & stripSpiderInfo) stripper.spiderInfo();
    if (strip & stripAlternateImages) stripper.alternateImages();
    if (strip & stripOutputIntents) stripper.outputIntents();
    stripper.everywhereAtOnce();
    if (stripper.removed() == 0) return PassOutcome::unchanged;
    context.report.note(std::to_string(stripper.removed()) + " entries removed");
    return PassOutcome::changed;
  }
};

}  // namespace

std::unique_ptr<Pass> makeStripPass() { return std::make_unique<StripPass>(); }

}  // namespace optimizer
