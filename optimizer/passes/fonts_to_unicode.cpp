// ToUnicode CMaps keep only the codes that the document shows, in a short common form (ISO 32000-1, 9.10.3). Extracted
// text stays the same: every shown code still maps to the same characters.
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/document/document.h"
#include "optimizer/document/reachable.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/document/usage.h"
#include "optimizer/font/cmap_text.h"
#include "optimizer/passes/passes.h"
#include "optimizer/pipeline/report.h"

namespace optimizer {
namespace {

constexpr std::size_t kLargestCmap = std::size_t{4} << 20;
constexpr int kQuickDeflate = 9;

struct Use {
  QPDFObjectHandle stream;
  std::set<std::uint32_t> codes;
  bool known = true;  // every font that has it is understood
};

ByteView viewOf(const std::string& text) { return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}; }

// ToUnicode streams with the codes of all the fonts that have them.
std::map<QPDFObjGen, Use> collect(Document& document, const DocumentUsage& usage) {
  std::map<QPDFObjGen, Use> uses;
  std::map<QPDFObjGen, int> fonts;
  const Reach& reach = document.reach();
  for (QPDFObjectHandle object : reach.objects) {
    if (!object.isDictionary()) continue;
    QPDFObjectHandle stream = object.getKey("/ToUnicode");
    if (!stream.isStream()) continue;
    ++fonts[stream.getObjGen()];
    Use& use = uses[stream.getObjGen()];
    use.stream = stream;
    const auto shown = usage.fonts.find(object.getObjGen());
    if (shown == usage.fonts.end()) continue;
    use.known = use.known && shown->second.complete;
    use.codes.insert(shown->second.codes.begin(), shown->second.codes.end());
  }
  // One that something else refers to as well stays as it is.
  for (auto& [id, use] : uses) use.known = use.known && reach.referencesTo(use.stream) == fonts[id];
  return uses;
}

bool trim(Use& use) {
  if (!use.known || use.codes.empty() || use.stream.getDict().hasKey("/UseCMap")) return false;
  const Result<Bytes> data = decodedStreamData(use.stream);
  if (!data.ok() || data->size() > kLargestCmap) return false;
  std::optional<font::CmapText> cmap = font::readCmapText(*data);
  if (!cmap || cmap->codespace.empty() || cmap->unicode.empty()) return false;
  if (!cmap->base.empty() || !cmap->notdef.empty()) return false;
  // Viewers do not agree on codes of several lengths, or outside the codespace.
  const std::size_t length = cmap->unicode.begin()->first.size();
  for (const auto& [code, text] : cmap->unicode) {
    if (code.size() != length) return false;
  }
  for (const font::CodespaceRange& range : cmap->codespace) {
    if (range.low.size() != length) return false;
  }
  std::erase_if(cmap->unicode, [&](const auto& entry) { return use.codes.count(font::codeValue(entry.first)) == 0; });
  if (cmap->unicode.empty()) return false;
  const std::string text = font::writeToUnicode(*cmap);
  const std::optional<font::CmapText> again = font::readCmapText(viewOf(text));
  if (!again || again->unicode != cmap->unicode) return false;
  if (deflate(viewOf(text), kQuickDeflate).size() >= deflate(*data, kQuickDeflate).size()) return false;
  QPDFObjectHandle dictionary = use.stream.getDict();
  for (const char* key : {"/Type", "/CMapName", "/CIDSystemInfo", "/WMode"}) dictionary.removeKey(key);
  setStreamData(use.stream, Bytes(text.begin(), text.end()), QPDFObjectHandle::newNull(), QPDFObjectHandle::newNull());
  return true;
}

class ToUnicodePass : public Pass {
 public:
  std::string_view name() const override { return "fonts-to-unicode"; }
  bool keepsUsage() const override { return true; }
  bool keepsObjects() const override { return true; }

  Result<PassOutcome> process(PassContext& context) override {
    return withoutExceptions("fonts-to-unicode", [&]() -> Result<PassOutcome> {
      const DocumentUsage& usage = usageOf(context);
      if (!usage.complete) return PassOutcome::unchanged;
      std::size_t trimmed = 0;
      for (auto& [id, use] : collect(context.document, usage)) trimmed += trim(use) ? 1 : 0;
      if (trimmed == 0) return PassOutcome::unchanged;
      context.report.note(std::to_string(trimmed) + " ToUnicode CMaps trimmed");
      return PassOutcome::changed;
    });
  }
};

}  // namespace

std::unique_ptr<Pass> makeToUnicodePass() { return std::make_unique<ToUnicodePass>(); }

}  // namespace optimizer
