#include "optimizer/content/codespace.h"

#include <algorithm>
#include <string>

#include "optimizer/content/stream.h"
#include "optimizer/content/tokenizer.h"

namespace optimizer::content {
namespace {

struct Predefined {
  std::string_view name;  // without the -H or -V of the writing mode
  std::string_view ranges;
};

constexpr std::string_view ucs2 = "0000 D7FF E000 FFFF";
constexpr std::string_view utf16 = "0000 D7FF D800DC00 DBFFDFFF E000 FFFF";
constexpr std::string_view shiftJis = "00 80 8140 9FFC A0 DF E040 FCFC";
constexpr std::string_view shiftJisMac = "00 80 8140 9FFC A0 DF E040 FCFC FD FF";
constexpr std::string_view cnsEuc = "00 80 8EA1A1A1 8EA1FEFE 8EA2A1A1 8EA2FEFE 8EA3A1A1 8EA3FEFE A1A1 FEFE";

constexpr Predefined predefined[] = {
    {"Identity", "0000 FFFF"},
    {"GB-EUC", "00 80 A1A1 FEFE"},
    {"GBpc-EUC", "00 80 A1A1 FCFE FD FF"},
    {"GBK-EUC", "00 80 8140 FEFE"},
    {"GBKp-EUC", "00 80 8140 FEFE"},
    {"GBK2K", "00 7F 81308130 FE39FE39 8140 FEFE"},
    {"UniGB-UCS2", ucs2},
    {"UniGB-UTF16", utf16},
    {"B5pc", "00 80 A140 FCFE FD FF"},
    {"HKscs-B5", "00 80 8740 FEFE"},
    {"ETen-B5", "00 80 A140 FEFE"},
    {"ETenms-B5", "00 80 A140 FEFE"},
    {"CNS-EUC", cnsEuc},
    {"UniCNS-UCS2", ucs2},
    {"UniCNS-UTF16", utf16},
    {"83pv-RKSJ", shiftJisMac},
    {"90ms-RKSJ", shiftJis},
    {"90msp-RKSJ", shiftJis},
    {"90pv-RKSJ", shiftJisMac},
    {"Add-RKSJ", shiftJis},
    {"Ext-RKSJ", shiftJis},
    {"EUC", "00 80 8EA0 8EDF A1A1 FEFE"},
    {"UniJIS-UCS2", ucs2},
    {"UniJIS-UCS2-HW", ucs2},
    {"UniJIS-UTF16", utf16},
    {"UniJIS2004-UTF16", utf16},
    {"KSC-EUC", "00 80 A1A1 FEFE"},
    {"KSCms-UHC", "00 80 8141 FEFE"},
    {"KSCms-UHC-HW", "00 80 8141 FEFE"},
    {"KSCpc-EUC", "00 84 A141 FDFE FE FF"},
    {"UniKS-UCS2", ucs2},
    {"UniKS-UTF16", utf16},
    {"", "2121 7E7E"},  // H and V
};

constexpr int maxChain = 8;

std::optional<CodespaceRange> makeRange(const std::string& low, const std::string& high) {
  if (low.empty() || low.size() > 4 || low.size() != high.size()) {
    return std::nullopt;
  }
  CodespaceRange range;
  range.length = static_cast<int>(low.size());
  for (std::size_t i = 0; i < low.size(); ++i) {
    range.low[i] = static_cast<std::uint8_t>(low[i]);
    range.high[i] = static_cast<std::uint8_t>(high[i]);
  }
  return range;
}

bool addFrom(QPDFObjectHandle encoding, Codespace& codespace, int depth);

bool addPredefined(std::string_view name, Codespace& codespace) {
  if (name == "H" || name == "V") {
    name = "";
  } else if (name.size() > 2 && (name.ends_with("-H") || name.ends_with("-V"))) {
    name.remove_suffix(2);
  } else {
    return false;
  }
  for (const Predefined& entry : predefined) {
    if (entry.name == name) {
      // Read as the hexadecimal strings that they are.
      std::string text = "<";
      for (char byte : entry.ranges) {
        byte == ' ' ? text += "><" : text += byte;
      }
      text += ">";
      Tokenizer tokens({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
      for (Token token = tokens.next(); token.kind == TokenKind::hexString; token = tokens.next()) {
        std::string low, high;
        appendStringValue(token, low);
        appendStringValue(tokens.next(), high);
        codespace.add(*makeRange(low, high));
      }
      return true;
    }
  }
  return false;
}

// An embedded CMap is PostScript; of its operators only these two matter here.
bool addEmbedded(ByteView program, Codespace& codespace) {
  Tokenizer tokens(program);
  Token previous;
  for (Token token = tokens.next(); token.kind != TokenKind::end; previous = token, token = tokens.next()) {
    if (token.kind != TokenKind::keyword) {
      continue;
    }
    if (token.text() == "usecmap" && previous.isName()) {
      if (!addPredefined(nameValue(previous), codespace)) {
        return false;
      }
    } else if (token.text() == "begincodespacerange") {
      for (token = tokens.next(); token.isString(); token = tokens.next()) {
        std::string low, high;
        appendStringValue(token, low);
        const Token second = tokens.next();
        if (!second.isString()) {
          return false;
        }
        appendStringValue(second, high);
        const std::optional<CodespaceRange> range = makeRange(low, high);
        if (!range) {
          return false;
        }
        codespace.add(*range);
      }
    }
  }
  return true;
}

bool addFrom(QPDFObjectHandle encoding, Codespace& codespace, int depth) {
  if (depth > maxChain) {
    return false;
  }
  if (encoding.isName()) {
    return addPredefined(std::string_view(encoding.getName()).substr(1), codespace);
  }
  if (!encoding.isStream()) {
    return false;
  }
  QPDFObjectHandle base = encoding.getDict().getKey("/UseCMap");
  if (!base.isNull() && !addFrom(base, codespace, depth + 1)) {
    return false;
  }
  const Result<Bytes> program = decodedStream(encoding, kMaxCMapBytes);
  return program.ok() && addEmbedded(*program, codespace);
}

}  // namespace

bool Codespace::twoByte() const {
  return ranges_.size() == 1 && ranges_[0].length == 2 && ranges_[0].low[0] == 0 && ranges_[0].low[1] == 0 &&
         ranges_[0].high[0] == 0xff && ranges_[0].high[1] == 0xff;
}

std::optional<Codespace::Code> Codespace::split(ByteView string) const {
  const int available = static_cast<int>(std::min<std::size_t>(string.size(), 4));
  for (int length = 1; length <= available; ++length) {
    for (const CodespaceRange& range : ranges_) {
      bool inside = range.length == length;
      for (std::size_t i = 0; inside && i < static_cast<std::size_t>(length); ++i) {
        inside = string[i] >= range.low[i] && string[i] <= range.high[i];
      }
      if (inside) {
        Code code{0, length};
        for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) {
          code.value = code.value << 8 | string[i];
        }
        return code;
      }
    }
  }
  return std::nullopt;
}

std::optional<Codespace> predefinedCodespace(std::string_view name) {
  Codespace codespace;
  return addPredefined(name, codespace) ? std::optional(codespace) : std::nullopt;
}

std::optional<Codespace> readCodespace(QPDFObjectHandle encoding) {
  Codespace codespace;
  if (!addFrom(encoding, codespace, 0) || codespace.empty()) {
    return std::nullopt;
  }
  return codespace;
}

}  // namespace optimizer::content
