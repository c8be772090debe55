#include "optimizer/font/shown_codes.h"

#include <set>
#include <string>
#include <utility>

#include "optimizer/content/codespace.h"
#include "optimizer/content/stream.h"
#include "optimizer/document/stream_data.h"
#include "optimizer/font/cmap_text.h"
#include "optimizer/font/predefined_cmaps.h"

namespace optimizer {

namespace {

constexpr int kLongestChain = 8;

std::optional<font::BaseEncoding> baseEncoding(const std::string& name) {
  if (name == "/StandardEncoding") return font::BaseEncoding::standard;
  if (name == "/WinAnsiEncoding") return font::BaseEncoding::winAnsi;
  if (name == "/MacRomanEncoding") return font::BaseEncoding::macRoman;
  return std::nullopt;
}

// By a name, or an embedded CMap and those that it builds on: its dictionary and its program should name the same one, but
// viewers look into either.
bool addCidsOf(QPDFObjectHandle encoding, const std::set<std::uint32_t>& codes, std::set<std::uint32_t>& cids, int depth) {
  const auto addNamed = [&](const std::string& name) {
    if (name == "Identity-H" || name == "Identity-V") {
      cids.insert(codes.begin(), codes.end());
      return true;
    }
    return font::addPredefinedCids(name, codes, cids);
  };
  if (encoding.isName()) return addNamed(encoding.getName().substr(1));
  if (!encoding.isStream() || depth > kLongestChain) return false;
  const Result<Bytes> data = content::decodedStream(encoding, content::kMaxCMapBytes);
  if (!data.ok()) return false;
  const std::optional<font::CmapText> cmap = font::readCmapText(*data);
  // Some producers write bfchar where cidchar belongs, and viewers differ on what that shows.
  if (!cmap || !cmap->unicode.empty() || !font::addCids(*cmap, codes, cids)) return false;
  cids.insert(0);  // for codes that no range has
  QPDFObjectHandle base = encoding.getDict().getKey("/UseCMap");
  if (!base.isNull() && !addCidsOf(base, codes, cids, depth + 1)) return false;
  const bool named = base.isName() && base.getName().substr(1) == cmap->base;
  // A name in the program that the dictionary leads to as a stream is that stream's own.
  return cmap->base.empty() || named || base.isStream() || addNamed(cmap->base);
}

}  // namespace

font::SimpleEncoding simpleEncoding(QPDFObjectHandle entry) {
  font::SimpleEncoding encoding;
  if (entry.isNull()) return encoding;
  QPDFObjectHandle base = entry.isDictionary() ? entry.getKey("/BaseEncoding") : entry;
  if (base.isName()) {
    encoding.base = baseEncoding(base.getName());
    encoding.understood = encoding.base.has_value();
  } else if (!base.isNull()) {
    encoding.understood = false;
  }
  if (!entry.isDictionary()) return encoding;
  QPDFObjectHandle differences = entry.getKey("/Differences");
  if (!differences.isArray()) return encoding;
  long long code = 0;
  for (int i = 0; i < differences.getArrayNItems(); ++i) {
    QPDFObjectHandle item = differences.getArrayItem(i);
    if (item.isInteger()) {
      code = item.getIntValue();
    } else if (item.isName()) {
      if (code >= 0 && code < 256) encoding.differences[static_cast<std::uint8_t>(code)] = item.getName().substr(1);
      ++code;
    } else {
      encoding.understood = false;
    }
  }
  return encoding;
}

std::optional<font::ShownCodes> shownCodes(const FontUser& user, const DocumentUsage& usage) {
  if (!usage.complete) return std::nullopt;
  QPDFObjectHandle dictionary = user.font, holder = user.holder;
  font::ShownCodes shown;
  shown.composite = user.composite();
  const auto use = usage.fonts.find(dictionary.getObjGen());
  if (use != usage.fonts.end()) {
    if (!use->second.complete) return std::nullopt;
    shown.codes = use->second.codes;
  }
  QPDFObjectHandle encoding = dictionary.getKey("/Encoding");
  if (!shown.composite) {
    shown.encoding = simpleEncoding(encoding);
    if (!shown.encoding.understood) return std::nullopt;
    return shown;
  }
  if (!encoding.isName() || (encoding.getName() != "/Identity-H" && encoding.getName() != "/Identity-V")) {
    shown.cids.emplace();
    if (!addCidsOf(encoding, shown.codes, *shown.cids, 0)) return std::nullopt;
  }
  QPDFObjectHandle map = holder.getKey("/CIDToGIDMap");
  if (map.isStream()) {
    Result<Bytes> data = decodedStreamData(map);
    if (!data.ok()) return std::nullopt;
    shown.cidToGid = std::move(*data);
  } else if (!map.isNull() && !(map.isName() && map.getName() == "/Identity")) {
    return std::nullopt;
  }
  return shown;
}

}  // namespace optimizer
