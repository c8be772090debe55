#include "optimizer/font/cmap_text.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxEntries = 200'000;
constexpr std::size_t kMaxTokens = 2'000'000;
constexpr std::size_t kMaxSteps = 4'000'000;

struct Token {
  enum Kind { end, word, name, string, number, open, close, other } kind = end;
  std::string text;
  long value = 0;
};

class Scanner {
 public:
  explicit Scanner(ByteView data) : data_(data) {}

  Token next() {
    skipSpace();
    Token token;
    if (at_ >= data_.size()) return token;
    const char c = static_cast<char>(data_[at_]);
    if (c == '<' && peek(1) != '<') return hexString();
    if (c == '<' || c == '>') {
      at_ += peek(1) == c ? 2 : 1;
      token.kind = Token::other;
      return token;
    }
    if (c == '[' || c == ']') {
      ++at_;
      token.kind = c == '[' ? Token::open : Token::close;
      return token;
    }
    if (c == '(') {
      skipString();
      token.kind = Token::other;
      return token;
    }
    if (c == '{' || c == '}' || c == ')') {
      ++at_;
      token.kind = Token::other;
      return token;
    }
    token.kind = c == '/' ? Token::name : Token::word;
    const std::size_t start = at_++;
    while (at_ < data_.size() && !ends(static_cast<char>(data_[at_]))) ++at_;
    token.text.assign(data_.begin() + static_cast<long>(start), data_.begin() + static_cast<long>(at_));
    if (token.kind == Token::word) {
      char* stop = nullptr;
      token.value = std::strtol(token.text.c_str(), &stop, 10);
      if (*stop == 0) token.kind = Token::number;
    }
    return token;
  }

 private:
  char peek(std::size_t n) const { return at_ + n < data_.size() ? static_cast<char>(data_[at_ + n]) : '\0'; }
  static bool space(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0'; }
  static bool ends(char c) { return space(c) || std::string_view("/<>[](){}%").find(c) != std::string_view::npos; }
  void skipSpace() {
    while (at_ < data_.size()) {
      if (data_[at_] == '%') {
        while (at_ < data_.size() && data_[at_] != '\n' && data_[at_] != '\r') ++at_;
      } else if (space(static_cast<char>(data_[at_]))) {
        ++at_;
      } else {
        return;
      }
    }
  }
  void skipString() {
    int depth = 0;
    do {
      const char c = static_cast<char>(data_[at_++]);
      if (c == '\\') {
        if (at_ < data_.size()) ++at_;
      } else if (c == '(') {
        ++depth;
      } else if (c == ')') {
        --depth;
      }
    } while (depth > 0 && at_ < data_.size());
  }
  Token hexString() {
    Token token;
    token.kind = Token::string;
    int high = -1;
    for (++at_; at_ < data_.size() && data_[at_] != '>'; ++at_) {
      const char c = static_cast<char>(data_[at_]);
      const int digit = c >= '0' && c <= '9'   ? c - '0'
                        : c >= 'a' && c <= 'f' ? c - 'a' + 10
                        : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                               : -1;
      if (digit < 0) {
        if (space(c)) continue;
        token.kind = Token::other;
        continue;
      }
      if (high < 0) {
        high = digit;
      } else {
        token.text.push_back(static_cast<char>(high << 4 | digit));
        high = -1;
      }
    }
    if (high >= 0) token.kind = Token::other;  // an odd digit: viewers do not agree
    if (at_ < data_.size()) ++at_;
    return token;
  }

  ByteView data_;
  std::size_t at_ = 0;
};

class CmapParser {
 public:
  explicit CmapParser(ByteView data) : in_(data) {}

  std::optional<CmapText> parse() {
    bool inside = false;
    std::string name;  // the last one
    for (std::size_t guard = 0; guard < kMaxTokens; ++guard) {
      const Token token = in_.next();
      if (token.kind == Token::end) return std::move(cmap_);
      if (token.kind == Token::name) name = token.text.substr(1);
      if (token.kind != Token::word) continue;
      if (token.text == "begincmap") inside = true;
      bool fine = true;
      if (token.text == "begincodespacerange") {
        fine = codespace();
      } else if (token.text == "usecmap") {
        fine = !name.empty() && cmap_.base.empty();
        cmap_.base = name;
      } else if (token.text == "begincidrange") {
        fine = cidRange(cmap_.cids);
      } else if (token.text == "begincidchar") {
        fine = cidChar(cmap_.cids);
      } else if (token.text == "beginnotdefrange") {
        fine = cidRange(cmap_.notdef);
      } else if (token.text == "beginnotdefchar") {
        fine = cidChar(cmap_.notdef);
      } else if (token.text == "beginbfrange") {
        fine = bfRange();
      } else if (token.text == "beginbfchar") {
        fine = bfChar();
      } else if (token.text == "endcmap") {
        return inside ? std::optional(std::move(cmap_)) : std::nullopt;
      }
      if (!fine || cmap_.unicode.size() > kMaxEntries) return std::nullopt;
      if (cmap_.cids.size() > kMaxEntries || cmap_.notdef.size() > kMaxEntries) return std::nullopt;
    }
    return std::nullopt;
  }

 private:
  static bool isEnd(const Token& token) { return token.kind == Token::word && token.text.rfind("end", 0) == 0; }
  static bool isCode(const Token& token) {
    return token.kind == Token::string && !token.text.empty() && token.text.size() <= 4;
  }

  bool codespace() {
    for (;;) {
      const Token low = in_.next();
      if (isEnd(low)) return true;
      const Token high = in_.next();
      if (!isCode(low) || !isCode(high) || low.text.size() != high.text.size()) return false;
      cmap_.codespace.push_back({low.text, high.text});
    }
  }
  bool cidRange(std::vector<CidRange>& ranges) {
    for (;;) {
      const Token low = in_.next();
      if (isEnd(low)) return true;
      const Token high = in_.next(), cid = in_.next();
      if (!isCode(low) || !isCode(high) || cid.kind != Token::number || cid.value < 0 || cid.value > 65535) return false;
      ranges.push_back({codeValue(low.text), codeValue(high.text), static_cast<std::uint32_t>(cid.value)});
    }
  }
  bool cidChar(std::vector<CidRange>& ranges) {
    for (;;) {
      const Token code = in_.next();
      if (isEnd(code)) return true;
      const Token cid = in_.next();
      if (!isCode(code) || cid.kind != Token::number || cid.value < 0 || cid.value > 65535) return false;
      const std::uint32_t value = codeValue(code.text);
      ranges.push_back({value, value, static_cast<std::uint32_t>(cid.value)});
    }
  }
  bool bfChar() {
    for (;;) {
      const Token code = in_.next();
      if (isEnd(code)) return true;
      const Token text = in_.next();
      if (!isCode(code) || text.kind != Token::string) return false;
      if (!put(code.text, text.text)) return false;
    }
  }
  // Only what every viewer reads alike: even UTF-16, no code twice.
  bool put(const std::string& code, const std::string& text) {
    if (text.size() % 2 != 0 || text.size() > 512) return false;
    return cmap_.unicode.emplace(code, text).second && cmap_.unicode.size() <= kMaxEntries;
  }
  bool bfRange() {
    for (;;) {
      const Token low = in_.next();
      if (isEnd(low)) return true;
      const Token high = in_.next();
      Token text = in_.next();
      if (!isCode(low) || !isCode(high) || low.text.size() != high.text.size()) return false;
      const std::uint32_t first = codeValue(low.text), last = codeValue(high.text);
      if (last < first || last - first > 0xffff) return false;
      const bool list = text.kind == Token::open;
      for (std::uint32_t code = first;; ++code) {
        if (list) text = in_.next();
        if (text.kind != Token::string || text.text.empty()) return false;
        std::string bytes = low.text;
        for (std::size_t i = bytes.size(), rest = code; i-- > 0; rest >>= 8) bytes[i] = static_cast<char>(rest & 0xff);
        if (!put(bytes, text.text)) return false;
        if (code == last) break;
        // Beyond 255 in the last byte viewers differ (9.10.3 forbids it).
        if (!list) {
          const auto lastByte = static_cast<unsigned char>(text.text.back());
          if (lastByte == 0xff) return false;
          text.text.back() = static_cast<char>(lastByte + 1);
        }
      }
      if (list && in_.next().kind != Token::close) return false;
    }
  }

  Scanner in_;
  CmapText cmap_;
};

std::string hex(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text = "<";
  for (const char c : bytes) {
    text += kDigits[static_cast<unsigned char>(c) >> 4];
    text += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return text + ">";
}

}  // namespace

std::uint32_t codeValue(const std::string& bytes) {
  std::uint32_t value = 0;
  for (const char c : bytes) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

std::optional<CmapText> readCmapText(ByteView data) { return CmapParser(data).parse(); }

bool addCids(const CmapText& cmap, const std::set<std::uint32_t>& codes, std::set<std::uint32_t>& cids) {
  std::size_t steps = 0;
  const auto add = [&](const std::vector<CidRange>& ranges, bool counting) {
    for (const CidRange& range : ranges) {
      for (auto code = codes.lower_bound(range.low); code != codes.end() && *code <= range.high; ++code) {
        if (++steps > kMaxSteps) return false;
        cids.insert(counting ? range.cid + (*code - range.low) : range.cid);
      }
    }
    return true;
  };
  return add(cmap.cids, true) && add(cmap.notdef, false);
}

std::string writeToUnicode(const CmapText& cmap) {
  std::string out =
      "/CIDInit/ProcSet findresource begin 12 dict begin begincmap/CIDSystemInfo<</Registry(Adobe)/Ordering(UCS)"
      "/Supplement 0>>def/CMapName/Adobe-Identity-UCS def/CMapType 2 def\n";
  out += std::to_string(cmap.codespace.size()) + " begincodespacerange\n";
  for (const CodespaceRange& range : cmap.codespace) out += hex(range.low) + hex(range.high) + "\n";
  out += "endcodespacerange\n";

  // Runs of codes whose texts count up in their last byte become ranges.
  struct Run {
    std::string first, last, text;
  };
  std::vector<Run> runs, ranges, singles;
  std::string next;  // the text that would go on with the last run
  for (const auto& [code, text] : cmap.unicode) {
    const bool follows = !runs.empty() && code.size() == runs.back().last.size() && !next.empty() && text == next &&
                         codeValue(code) == codeValue(runs.back().last) + 1 && (codeValue(code) & 0xff) != 0;
    if (follows) {
      runs.back().last = code;
    } else {
      runs.push_back({code, code, text});
    }
    next.clear();
    if (!text.empty() && static_cast<unsigned char>(text.back()) != 0xff) {
      next = text;
      next.back() = static_cast<char>(static_cast<unsigned char>(next.back()) + 1);
    }
  }
  for (const Run& run : runs) (run.first == run.last ? singles : ranges).push_back(run);
  for (std::size_t i = 0; i < singles.size(); i += 100) {
    const std::size_t end = std::min(singles.size(), i + 100);
    out += std::to_string(end - i) + " beginbfchar\n";
    for (std::size_t k = i; k < end; ++k) out += hex(singles[k].first) + hex(singles[k].text) + "\n";
    out += "endbfchar\n";
  }
  for (std::size_t i = 0; i < ranges.size(); i += 100) {
    const std::size_t end = std::min(ranges.size(), i + 100);
    out += std::to_string(end - i) + " beginbfrange\n";
    for (std::size_t k = i; k < end; ++k) {
      out += hex(ranges[k].first) + hex(ranges[k].last) + hex(ranges[k].text) + "\n";
    }
    out += "endbfrange\n";
  }
  return out + "endcmap end end";
}

}  // namespace optimizer::font
