// Entries of font dictionaries keep only what the codes shown need (ISO 32000-1, 9.6.2, 9.6.5, 9.6.6
// and 9.7.4): widths, names of Differences, glyphs of Type 3 fonts, and the map from CIDs to glyphs. What
// several fonts share stays shared, with what all of them need. Nothing is changed in place: a font gets a
// new entry where it is shorter.
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"
#include "optimizer/font/cid_widths.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/pdf_fonts.h"
#include "optimizer/font/shown_codes.h"
#include "optimizer/passes/cid_metrics.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"
#include "optimizer/settings/settings.h"

namespace optimizer {
namespace {

using Codes = std::set<std::uint32_t>;

bool hasProgram(QPDFObjectHandle font) {
  QPDFObjectHandle descriptor = font.getKey("/FontDescriptor");
  return descriptor.isDictionary() && (descriptor.hasKey("/FontFile") || descriptor.hasKey("/FontFile2") ||
                                       descriptor.hasKey("/FontFile3"));
}

// A descendant with the CIDs that content shows through it.
struct Descendant {
  QPDFObjectHandle holder;
  Codes cids;
  bool known = true;  // every Type 0 font that has it is understood
  bool upright = false;  // some of them may write from top to bottom
};

// Fonts that share an entry, with the codes of all of them.
struct Sharing {
  std::vector<QPDFObjectHandle> fonts;
  Codes codes;
  bool known = true;
  bool named = true;  // every font has a ToUnicode, so that no viewer guesses characters from names
};

class FontEntriesPass : public Pass {
 public:
  std::string_view name() const override { return "fonts-entries"; }
  bool keepsUsage() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-entries", [&]() -> Result<PassOutcome> {
      const DocumentUsage& usage = usageOf(context);
      if (!usage.complete) return PassOutcome::unchanged;
      const bool lossy = context.settings.imageQuality < 100 || context.settings.perceptualQuality;
      digits_ = lossy ? font::WidthDigits::rounded : font::WidthDigits::all;
      collect(context.document, usage);
      for (auto& [key, sharing] : widths_) trimWidths(sharing);
      for (auto& [key, sharing] : encodings_) trimDifferences(sharing);
      for (auto& [key, sharing] : procs_) trimProcs(sharing);
      for (auto& [id, descendant] : descendants_) trimDescendant(descendant);
      for (auto& [id, sharing] : glyphMaps_) trimGlyphMap(sharing, context.document);
      if (changed_ == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(changed_) + " entries of fonts shortened");
      return PassOutcome::changed;
    });
  }

 private:
  // Entries are shared by their object; direct ones belong to their font alone.
  using EntryKey = std::pair<QPDFObjGen, long long>;

  void collect(Document& document, const DocumentUsage& usage) {
    for (QPDFObjectHandle object : document.reachable()) {
      if (!object.isDictionary()) continue;
      const std::string subtype = nameAt(object, "/Subtype");
      const bool simple =
          subtype == "/Type1" || subtype == "/MMType1" || subtype == "/TrueType" || subtype == "/Type3";
      if (simple) {
        addSimple(object, subtype, usage);
      } else if (subtype == "/Type0") {
        addComposite(object, usage);
      }
    }
    for (auto& [id, descendant] : descendants_) {
      QPDFObjectHandle map = descendant.holder.getKey("/CIDToGIDMap");
      if (map.isStream())
        join(glyphMaps_[map.getObjGen()], descendant.holder, descendant.cids, descendant.known);
    }
  }

  static void join(Sharing& sharing, QPDFObjectHandle font, const Codes& codes, bool known) {
    sharing.fonts.push_back(font);
    sharing.codes.insert(codes.begin(), codes.end());
    sharing.known = sharing.known && known;
  }

  static EntryKey entryKey(QPDFObjectHandle font, QPDFObjectHandle entry, long long further = 0) {
    return {entry.isIndirect() ? entry.getObjGen() : font.getObjGen(), further};
  }

  void addSimple(QPDFObjectHandle font, const std::string& subtype, const DocumentUsage& usage) {
    const auto use = usage.fonts.find(font.getObjGen());
    // A font that nothing shows needs nothing of what it shares.
    const Codes codes = use == usage.fonts.end() ? Codes() : use->second.codes;
    const bool known = use == usage.fonts.end() || use->second.complete;
    QPDFObjectHandle encoding = font.getKey("/Encoding");
    const bool different = encoding.isDictionary() && encoding.getKey("/Differences").isArray();
    if (subtype == "/Type3") {
      QPDFObjectHandle procs = font.getKey("/CharProcs");
      if (different && procs.isDictionary()) join(procs_[entryKey(font, procs)], font, codes, known);
      return;
    }
    QPDFObjectHandle widths = font.getKey("/Widths"), first = font.getKey("/FirstChar");
    // Where viewers take a font of their own they look at widths and names that nothing shows, to find its
    // size; of Type 3 fonts they do so to tell words apart. A program needs neither.
    const bool trimmable = known && hasProgram(font);
    if (widths.isArray() && first.isInteger()) {
      join(widths_[entryKey(font, widths, first.getIntValue())], font, codes, trimmable);
    }
    if (different) {
      Sharing& sharing = encodings_[entryKey(font, encoding)];
      join(sharing, font, codes, trimmable);
      sharing.named = sharing.named && font.getKey("/ToUnicode").isStream();
    }
  }

  void addComposite(QPDFObjectHandle font, const DocumentUsage& usage) {
    QPDFObjectHandle list = font.getKey("/DescendantFonts");
    if (!list.isArray() || list.getArrayNItems() < 1) return;
    QPDFObjectHandle holder = list.getArrayItem(0);
    if (!holder.isDictionary() || !holder.isIndirect()) return;
    Descendant& descendant = descendants_[holder.getObjGen()];
    descendant.holder = holder;
    descendant.upright = descendant.upright || !nameAt(font, "/Encoding").ends_with("H");
    const std::optional<font::ShownCodes> shown = shownCodes({font, holder, true}, usage);
    // Without a program viewers take fonts and CMaps of their own, which may know other CIDs for the same codes.
    if (!shown || (shown->cids && !hasProgram(holder))) {
      descendant.known = false;
      return;
    }
    const std::set<std::uint32_t> cids = font::shownCids(*shown);
    descendant.cids.insert(cids.begin(), cids.end());
  }

  void replace(Sharing& sharing, const char* key, QPDFObjectHandle value) {
    for (QPDFObjectHandle& font : sharing.fonts) font.replaceKey(key, value);
    ++changed_;
  }
  // An entry that stood as an object of its own stays one, so that it stays shared.
  static QPDFObjectHandle like(QPDFObjectHandle old, QPDFObjectHandle fresh) {
    return old.isIndirect() ? old.getOwningQPDF()->makeIndirectObject(fresh) : fresh;
  }

  void trimWidths(Sharing& sharing) {
    if (!sharing.known || sharing.codes.empty()) return;
    QPDFObjectHandle font = sharing.fonts.front(), widths = font.getKey("/Widths");
    const long long first = font.getKey("/FirstChar").getIntValue();
    const int count = widths.getArrayNItems();
    if (first < 0 || first > 255 || count < 1 || count > 512) return;
    // Widths beyond LastChar, or missing before it, are read differently.
    for (QPDFObjectHandle& each : sharing.fonts) {
      QPDFObjectHandle last = each.getKey("/LastChar");
      if (!last.isInteger() || last.getIntValue() != first + count - 1) return;
    }
    const auto inside = [&](std::uint32_t code) { return code >= first && code < first + count; };
    std::optional<long long> low, high;
    for (const std::uint32_t code : sharing.codes) {
      if (!inside(code)) continue;
      if (!low) low = code;
      high = code;
    }
    if (!low) return;
    std::string text = "[";
    for (long long code = *low; code <= *high; ++code) {
      QPDFObjectHandle width = widths.getArrayItem(static_cast<int>(code - first));
      if (!width.isNumber()) return;
      if (text.size() > 1) text += ' ';
      if (sharing.codes.count(static_cast<std::uint32_t>(code)) == 0) {
        text += '0';
      } else {
        text += font::widthText(width.getNumericValue(), digits_);
      }
    }
    text += ']';
    const QPDFObjectHandle parsed = QPDFObjectHandle::parse(text);
    if (QPDFObjectHandle(parsed).unparse().size() >= widths.unparseResolved().size()) return;
    const QPDFObjectHandle fresh = like(widths, parsed);
    for (QPDFObjectHandle& each : sharing.fonts) {
      each.replaceKey("/FirstChar", QPDFObjectHandle::newInteger(*low));
      each.replaceKey("/LastChar", QPDFObjectHandle::newInteger(*high));
    }
    replace(sharing, "/Widths", fresh);
  }

  // Code and name of every difference; nothing where the array is odd.
  static std::optional<std::map<std::uint32_t, std::string>> differences(QPDFObjectHandle array) {
    std::map<std::uint32_t, std::string> names;
    long long code = 0;
    for (int i = 0; i < array.getArrayNItems(); ++i) {
      QPDFObjectHandle item = array.getArrayItem(i);
      if (item.isInteger()) {
        code = item.getIntValue();
        if (code < 0 || code > 255) return std::nullopt;
      } else if (!item.isName() || code > 255) {
        return std::nullopt;
      } else {
        names[static_cast<std::uint32_t>(code++)] = item.getName();
      }
    }
    return names;
  }

  void trimDifferences(Sharing& sharing) {
    if (!sharing.known || sharing.codes.empty()) return;
    QPDFObjectHandle encoding = sharing.fonts.front().getKey("/Encoding");
    QPDFObjectHandle array = encoding.getKey("/Differences");
    const auto names = differences(array);
    if (!names) return;
    // Of names that stand for no character some viewers make characters by looking at all of them.
    if (!sharing.named) {
      for (const auto& [code, name] : *names) {
        if (name != "/.notdef" && !font::unicodeOfName(name.substr(1))) return;
      }
    }
    QPDFObjectHandle fresh = QPDFObjectHandle::newArray();
    std::optional<std::uint32_t> next;
    for (const auto& [code, name] : *names) {
      if (sharing.codes.count(code) == 0) continue;
      if (next != code) fresh.appendItem(QPDFObjectHandle::newInteger(code));
      fresh.appendItem(QPDFObjectHandle::newName(name));
      next = code + 1;
    }
    if (!next || fresh.unparse().size() >= array.unparseResolved().size()) return;
    QPDFObjectHandle copy = encoding.shallowCopy();
    copy.replaceKey("/Differences", fresh);
    replace(sharing, "/Encoding", like(encoding, copy));
  }

  void trimProcs(Sharing& sharing) {
    if (!sharing.known || sharing.codes.empty()) return;
    // Fonts with the same glyphs may have different encodings.
    std::set<std::string> kept;
    for (QPDFObjectHandle& font : sharing.fonts) {
      const auto names = differences(font.getKey("/Encoding").getKey("/Differences"));
      if (!names) return;
      for (const std::uint32_t code : sharing.codes) {
        const auto name = names->find(code);
        if (name != names->end()) kept.insert(name->second);
      }
    }
    kept.insert("/.notdef");
    QPDFObjectHandle procs = sharing.fonts.front().getKey("/CharProcs");
    QPDFObjectHandle fresh = QPDFObjectHandle::newDictionary();
    std::size_t dropped = 0;
    for (const std::string& name : procs.getKeys()) {
      if (kept.count(name) != 0) {
        fresh.replaceKey(name, procs.getKey(name));
      } else {
        ++dropped;
      }
    }
    if (dropped == 0 || fresh.getKeys().empty()) return;
    replace(sharing, "/CharProcs", like(procs, fresh));
  }

  void trimDescendant(Descendant& descendant) {
    if (!descendant.known || descendant.cids.empty()) return;
    if (trimCidWidths(descendant.holder, descendant.cids, digits_)) ++changed_;
    if (trimVerticalMetrics(descendant.holder, descendant.cids, descendant.upright, digits_)) ++changed_;
  }

  void trimGlyphMap(Sharing& sharing, Document& document) {
    if (!sharing.known || sharing.codes.empty()) return;
    QPDFObjectHandle stream = sharing.fonts.front().getKey("/CIDToGIDMap");
    const Result<Bytes> data = decodedStreamData(stream);
    if (!data.ok()) return;
    Bytes fresh;
    bool identity = true;
    for (const std::uint32_t cid : sharing.codes) {
      const std::size_t at = 2 * std::size_t{cid};
      const bool mapped = cid <= 0xffff && at + 1 < data->size();
      const std::uint32_t glyph =
          mapped ? static_cast<std::uint32_t>((*data)[at] << 8 | (*data)[at + 1]) : 0u;
      identity = identity && glyph == cid;
      if (!mapped || glyph == 0) continue;
      fresh.resize(at + 2);
      fresh[at] = (*data)[at];
      fresh[at + 1] = (*data)[at + 1];
    }
    if (identity) {
      replace(sharing, "/CIDToGIDMap", QPDFObjectHandle::newName("/Identity"));
    } else if (!fresh.empty() && fresh != *data) {
      replace(sharing, "/CIDToGIDMap",
              QPDFObjectHandle::newStream(&document.pdf(), std::string(fresh.begin(), fresh.end())));
    }
  }

  font::WidthDigits digits_ = font::WidthDigits::rounded;
  std::map<EntryKey, Sharing> widths_, encodings_, procs_;
  std::map<QPDFObjGen, Descendant> descendants_;
  std::map<QPDFObjGen, Sharing> glyphMaps_;
  std::size_t changed_ = 0;
};

}  // namespace

std::unique_ptr<Pass> makeFontEntriesPass() { return std::make_unique<FontEntriesPass>(); }

}  // namespace optimizer
