#include "optimizer/font/shown_codes.h"

#include <string>
#include <utility>

#include "optimizer/document/stream_data.h"

namespace optimizer {

namespace {

std::optional<font::BaseEncoding> baseEncoding(const std::string& name) {
  if (name == "/StandardEncoding") return font::BaseEncoding::standard;
  if (name == "/WinAnsiEncoding") return font::BaseEncoding::winAnsi;
  if (name == "/MacRomanEncoding") return font::BaseEncoding::macRoman;
  return std::nullopt;
}

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

}  // namespace

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
  if (encoding.isStream()) {
    const Result<Bytes> data = decodedStreamData(encoding);
    if (!data.ok() || encoding.getDict().hasKey("/UseCMap")) return std::nullopt;
    shown.toCid = font::readCmapText(*data);
    // Some producers write bfchar where cidchar belongs, and viewers differ on what that shows.
    if (!shown.toCid || !shown.toCid->unicode.empty()) return std::nullopt;
  } else if (!encoding.isName() || (encoding.getName() != "/Identity-H" && encoding.getName() != "/Identity-V")) {
    return std::nullopt;
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
