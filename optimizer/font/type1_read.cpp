// Type 1 font programs, read (Adobe Type 1 Font Format). Three parts in a row, in PFB files wrapped in segments:
//   1. clear text: FontName, FontMatrix, FontBBox, Encoding,
//   2. from "eexec" on, encrypted as bytes or hexadecimal digits: the private dictionary, Subrs and CharStrings, whose
//      charstrings are encrypted once more,
//   3. zeros and "cleartomark".
// The program is PostScript, but fonts in the wild keep to the conventions of the book's chapter 10, which every reader
// relies on: keys are looked for by name, and binary strings follow "length RD ". Nothing is executed.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <string>
#include <string_view>

#include "optimizer/base/reader.h"
#include "optimizer/font/cff_dict.h"
#include "optimizer/font/encodings.h"
#include "optimizer/font/ps_font.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMaxSubrs = 65536;
constexpr std::size_t kMaxGlyphs = 65535;

Error damaged(const char* what) { return Error{ErrorKind::damaged, std::string("Type 1: ") + what}; }
Error unsupported(const char* what) { return Error{ErrorKind::unsupported, std::string("Type 1: ") + what}; }

// Chapter 7: the same cipher for eexec (key 55665) and charstrings (key 4330); the first skip bytes are noise.
Bytes decrypt(ByteView cipher, std::uint16_t key, std::size_t skip) {
  Bytes plain;
  plain.reserve(cipher.size());
  for (const std::uint8_t byte : cipher) {
    plain.push_back(static_cast<std::uint8_t>(byte ^ (key >> 8)));
    key = static_cast<std::uint16_t>((byte + key) * 52845u + 22719u);
  }
  plain.erase(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(std::min(skip, plain.size())));
  return plain;
}

bool isSpace(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == 0; }
bool isDelimiter(std::uint8_t c) {
  return c == '/' || c == '[' || c == ']' || c == '{' || c == '}' || c == '(' || c == ')' || c == '<' || c == '>' ||
         c == '%';
}
int hexDigit(std::uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// PFB: 0x80, kind, length (little-endian), data; kind 3 ends.
Bytes withoutSegments(ByteView data) {
  if (data.size() < 6 || data[0] != 0x80) return {data.begin(), data.end()};
  Bytes joined;
  std::size_t at = 0;
  while (data.size() - at >= 6 && data[at] == 0x80 && data[at + 1] != 3) {
    const std::size_t length = data[at + 2] | data[at + 3] << 8 | data[at + 4] << 16 |
                               static_cast<std::size_t>(data[at + 5]) << 24;
    const ByteView part = slice(data, at + 6, length);
    joined.insert(joined.end(), part.begin(), part.end());
    at += 6 + part.size();
  }
  return joined;
}

// PostScript tokens, as far as fonts need them.
class Scanner {
 public:
  explicit Scanner(ByteView data, std::size_t at = 0) : data_(data), at_(at) {}

  bool atEnd() const { return at_ >= data_.size(); }
  std::size_t position() const { return at_; }
  ByteView data() const { return data_; }

  // The next token: a name with its slash, a delimiter, or a word. Strings in parentheses are one token, "(".
  std::string_view next() {
    skipSpace();
    if (atEnd()) return {};
    const std::size_t start = at_++;
    const std::uint8_t first = data_[start];
    if (first == '(') {
      skipString();
      return "(";
    }
    if (first != '/' && isDelimiter(first)) return text(start);
    while (!atEnd() && !isSpace(data_[at_]) && !isDelimiter(data_[at_])) ++at_;
    return text(start);
  }
  // Binary data of a string: one space after the RD word, then length bytes.
  ByteView binary(std::size_t length) {
    if (length > data_.size() - std::min(data_.size(), at_ + 1)) {
      at_ = data_.size();
      return {};
    }
    const ByteView bytes = data_.subspan(at_ + 1, length);
    at_ += 1 + length;
    return bytes;
  }
  // Numbers of an array or procedure in brackets or braces, up to 64 of them; one number without brackets too.
  std::vector<double> numbers() {
    std::vector<double> list;
    std::string_view token = next();
    const bool bracketed = token == "[" || token == "{";
    if (bracketed) token = next();
    while (!token.empty() && token != "]" && token != "}" && list.size() < 64) {
      const std::string copy(token);
      char* end = nullptr;
      const double value = std::strtod(copy.c_str(), &end);
      if (end == copy.c_str() || !std::isfinite(value)) break;
      list.push_back(value);
      if (!bracketed) break;
      token = next();
    }
    return list;
  }

 private:
  std::string_view text(std::size_t start) const {
    return {reinterpret_cast<const char*>(data_.data()) + start, at_ - start};
  }
  void skipSpace() {
    while (!atEnd()) {
      if (data_[at_] == '%') {
        while (!atEnd() && data_[at_] != '\n' && data_[at_] != '\r') ++at_;
      } else if (isSpace(data_[at_])) {
        ++at_;
      } else {
        return;
      }
    }
  }
  void skipString() {
    for (int depth = 1; depth > 0 && !atEnd(); ++at_) {
      if (data_[at_] == '\\') {
        ++at_;
      } else if (data_[at_] == '(') {
        ++depth;
      } else if (data_[at_] == ')') {
        --depth;
      }
    }
    at_ = std::min(at_, data_.size());
  }

  ByteView data_;
  std::size_t at_;
};

std::optional<long> wholeNumber(std::string_view token) {
  if (token.empty() || token.size() > 12) return std::nullopt;
  // A radix number, such as 8#101, is how some old fonts give codes.
  const std::string copy(token);
  const std::size_t hash = copy.find('#');
  char* end = nullptr;
  const int radix = hash == std::string::npos ? 10 : static_cast<int>(std::strtol(copy.c_str(), nullptr, 10));
  if (radix < 2 || radix > 36) return std::nullopt;
  const char* digits = copy.c_str() + (hash == std::string::npos ? 0 : hash + 1);
  const long value = std::strtol(digits, &end, radix);
  if (end == digits || *end != 0) return std::nullopt;
  return value;
}

class Type1Reader {
 public:
  explicit Type1Reader(ByteView data) : file_(withoutSegments(data)) {}
  Result<PsFont> read(const GlyphFilter& keep);

 private:
  Status split();
  Status readClear();
  void readEncoding(Scanner& in);
  Status readPrivate();
  void readSubrs(Scanner& in);
  void readCharstrings(Scanner& in);
  void hint(std::string_view key, Scanner& in);
  Status readGlyphs(const GlyphFilter& keep);

  Bytes file_;
  ByteView clear_;
  Bytes secret_;  // decrypted second part
  PsFont font_;
  std::vector<double> weights_;
  std::size_t lenIv_ = 4;
  bool encrypted_ = true;
  std::deque<Bytes> store_;  // decrypted charstrings; views into it stay valid
  std::vector<ByteView> subrs_;
  std::vector<std::pair<std::string, ByteView>> charstrings_;
};

Status Type1Reader::split() {
  const std::string_view whole(reinterpret_cast<const char*>(file_.data()), file_.size());
  const std::size_t word = whole.find("eexec");
  if (word == std::string_view::npos) return damaged("no encrypted part");
  clear_ = ByteView(file_).first(word);
  std::size_t at = word + 5;
  while (at < file_.size() && isSpace(file_[at])) ++at;
  ByteView cipher = ByteView(file_).subspan(at);
  const bool hexadecimal = cipher.size() >= 4 && std::all_of(cipher.begin(), cipher.begin() + 4, [](std::uint8_t c) {
                             return hexDigit(c) >= 0 || isSpace(c);
                           });
  Bytes binary;
  if (hexadecimal) {
    int high = -1;
    for (const std::uint8_t c : cipher) {
      const int digit = hexDigit(c);
      if (digit < 0) continue;
      if (high < 0) {
        high = digit;
      } else {
        binary.push_back(static_cast<std::uint8_t>(high << 4 | digit));
        high = -1;
      }
    }
    cipher = binary;
  }
  secret_ = decrypt(cipher, 55665, 4);
  return {};
}

// "StandardEncoding def", or an array filled by "dup code /name put".
void Type1Reader::readEncoding(Scanner& in) {
  std::string_view token = in.next();
  if (token == "StandardEncoding") {
    font_.standardEncoding = true;
    return;
  }
  if (token == "[") {
    for (int code = 0; code < 256; ++code) {
      token = in.next();
      if (token.empty() || token == "]") return;
      if (token.size() > 1 && token[0] == '/' && token != "/.notdef") {
        font_.encoding[static_cast<std::uint8_t>(code)] = token.substr(1);
      }
    }
    return;
  }
  for (int guard = 0; guard < 8192; ++guard) {
    token = in.next();
    if (token.empty() || token == "def" || token == "readonly") return;
    if (token != "dup") continue;
    const std::optional<long> code = wholeNumber(in.next());
    token = in.next();
    if (code && *code >= 0 && *code < 256 && token.size() > 1 && token[0] == '/' && token != "/.notdef") {
      font_.encoding[static_cast<std::uint8_t>(*code)] = token.substr(1);
    }
  }
}

Status Type1Reader::readClear() {
  Scanner in(clear_);
  while (!in.atEnd()) {
    const std::string_view token = in.next();
    if (token == "/FontName") {
      const std::string_view name = in.next();
      if (font_.name.empty() && name.size() > 1 && name[0] == '/') font_.name = name.substr(1);
    } else if (token == "/FontMatrix") {
      const std::vector<double> matrix = in.numbers();
      if (matrix.size() != 6) return damaged("a bad FontMatrix");
      if (matrix != std::vector<double>{0.001, 0, 0, 0.001, 0, 0}) font_.top[kDictFontMatrix] = matrix;
    } else if (token == "/FontBBox") {
      const std::vector<double> box = in.numbers();
      if (box.size() == 4 && box != std::vector<double>(4, 0.0)) font_.top[kDictFontBBox] = box;
    } else if (token == "/PaintType") {
      const std::vector<double> type = in.numbers();
      if (!type.empty() && type[0] != 0) return unsupported("an outlined font");
    } else if (token == "/WeightVector") {
      weights_ = in.numbers();
    } else if (token == "/Encoding" && font_.encoding.empty() && !font_.standardEncoding) {
      readEncoding(in);
    }
  }
  return {};
}

// Entries of the private dictionary, as CFF spells them: lists of zones and stems as differences.
void Type1Reader::hint(std::string_view key, Scanner& in) {
  static constexpr struct {
    std::string_view key;
    std::uint16_t op;
    bool deltas;
    double usual;  // the default value, which need not be written; lists have none
  } kHints[] = {
      {"/BlueValues", kDictBlueValues, true, NAN},      {"/OtherBlues", kDictOtherBlues, true, NAN},
      {"/FamilyBlues", kDictFamilyBlues, true, NAN},    {"/FamilyOtherBlues", kDictFamilyOtherBlues, true, NAN},
      {"/StemSnapH", kDictStemSnapH, true, NAN},        {"/StemSnapV", kDictStemSnapV, true, NAN},
      {"/StdHW", kDictStdHW, false, NAN},               {"/StdVW", kDictStdVW, false, NAN},
      {"/BlueScale", kDictBlueScale, false, 0.039625},  {"/BlueShift", kDictBlueShift, false, 7},
      {"/BlueFuzz", kDictBlueFuzz, false, 1},           {"/LanguageGroup", kDictLanguageGroup, false, 0},
      {"/ExpansionFactor", kDictExpansionFactor, false, 0.06},
  };
  if (key == "/ForceBold") {
    if (in.next() == "true") font_.dicts[0].entries[kDictForceBold] = {1};
    return;
  }
  for (const auto& entry : kHints) {
    if (entry.key != key) continue;
    std::vector<double> values = in.numbers();
    if (values.empty()) return;
    if (entry.deltas) {
      for (std::size_t i = values.size(); i-- > 1;) values[i] -= values[i - 1];
    } else {
      values.erase(values.begin() + 1, values.end());
      if (values[0] == entry.usual) return;
    }
    font_.dicts[0].entries[entry.op] = std::move(values);
    return;
  }
}

// "count array" and then "dup index length RD bytes NP" again and again.
void Type1Reader::readSubrs(Scanner& in) {
  const std::optional<long> count = wholeNumber(in.next());
  if (!count || *count < 0 || static_cast<std::size_t>(*count) > kMaxSubrs || !subrs_.empty()) return;
  subrs_.resize(static_cast<std::size_t>(*count));
  int idle = 0;
  while (!in.atEnd()) {
    const Scanner before = in;
    const std::string_view token = in.next();
    if (token == "/CharStrings" || token == "ND" || token == "|-" || token == "def") {
      in = before;
      return;
    }
    if (token != "dup") {
      if (++idle > 16) return;
      continue;
    }
    const std::optional<long> index = wholeNumber(in.next());
    const std::optional<long> length = wholeNumber(in.next());
    in.next();  // RD or -|
    if (!index || !length || *length < 0) return;
    const ByteView bytes = in.binary(static_cast<std::size_t>(*length));
    if (*index < 0 || static_cast<std::size_t>(*index) >= subrs_.size()) continue;
    store_.push_back(encrypted_ ? decrypt(bytes, 4330, lenIv_) : Bytes(bytes.begin(), bytes.end()));
    subrs_[static_cast<std::size_t>(*index)] = store_.back();
    // "NP", "|", or "noaccess put": at most two words before the next "dup".
    idle = 0;
  }
}

// "/name length RD bytes ND" until "end".
void Type1Reader::readCharstrings(Scanner& in) {
  while (!in.atEnd() && charstrings_.size() < kMaxGlyphs) {
    std::string_view token = in.next();
    if (token == "end") {
      if (!charstrings_.empty()) return;
      continue;
    }
    if (token.size() < 2 || token[0] != '/') continue;
    const std::string name(token.substr(1));
    const Scanner before = in;
    const std::optional<long> length = wholeNumber(in.next());
    if (!length || *length < 0) {
      in = before;
      continue;
    }
    in.next();
    const ByteView bytes = in.binary(static_cast<std::size_t>(*length));
    store_.push_back(encrypted_ ? decrypt(bytes, 4330, lenIv_) : Bytes(bytes.begin(), bytes.end()));
    charstrings_.emplace_back(name, store_.back());
  }
}

Status Type1Reader::readPrivate() {
  font_.dicts.resize(1);
  Scanner in(secret_);
  while (!in.atEnd() && charstrings_.empty()) {
    const std::string_view token = in.next();
    if (token.empty() || token[0] != '/') continue;
    if (token == "/lenIV") {
      const std::vector<double> value = in.numbers();
      if (value.empty() || value[0] < -1 || value[0] > 64) return damaged("a bad lenIV");
      encrypted_ = value[0] >= 0;
      lenIv_ = encrypted_ ? static_cast<std::size_t>(value[0]) : 0;
    } else if (token == "/Subrs") {
      readSubrs(in);
    } else if (token == "/CharStrings") {
      readCharstrings(in);
    } else if (token == "/WeightVector") {
      weights_ = in.numbers();
    } else {
      hint(token, in);
    }
  }
  if (charstrings_.empty()) return damaged("no glyphs");
  return {};
}

Status Type1Reader::readGlyphs(const GlyphFilter& keep) {
  std::map<std::string_view, std::size_t> byName;
  for (std::size_t i = 0; i < charstrings_.size(); ++i) byName.emplace(charstrings_[i].first, i);
  const auto notdef = byName.find(".notdef");
  std::vector<bool> chosen(charstrings_.size(), false);
  std::deque<std::size_t> todo;
  const auto choose = [&](std::size_t i) {
    if (!chosen[i]) todo.push_back(i);
    chosen[i] = true;
  };
  for (const auto& [name, i] : byName) {
    if (name == ".notdef" || !keep || keep({i, name, 0})) choose(i);
  }
  CharstringBudget budget;
  const Type1Context context{subrs_, weights_};
  std::map<std::size_t, Glyph> outlines;
  for (; !todo.empty(); todo.pop_front()) {
    const std::size_t i = todo.front();
    Result<Glyph> outline = decodeType1(charstrings_[i].second, context, budget);
    OPTIMIZER_TRY(outline);
    if (outline->accent) {
      for (const std::uint8_t code : {outline->accent->base, outline->accent->accent}) {
        const auto part = byName.find(encodingName(BaseEncoding::standard, code));
        if (part == byName.end()) return damaged("an accented character without its parts");
        choose(part->second);
      }
    }
    outlines[i] = std::move(*outline);
  }
  PsGlyph first;
  first.name = ".notdef";
  if (notdef != byName.end()) first.outline = std::move(outlines[notdef->second]);
  font_.glyphs.push_back(std::move(first));
  for (auto& [i, outline] : outlines) {
    if (charstrings_[i].first == ".notdef") continue;
    PsGlyph glyph;
    glyph.name = charstrings_[i].first;
    glyph.outline = std::move(outline);
    font_.glyphs.push_back(std::move(glyph));
  }
  return {};
}

Result<PsFont> Type1Reader::read(const GlyphFilter& keep) {
  OPTIMIZER_TRY(split());
  OPTIMIZER_TRY(readClear());
  OPTIMIZER_TRY(readPrivate());
  OPTIMIZER_TRY(readGlyphs(keep));
  return std::move(font_);
}

}  // namespace

Result<PsFont> readType1(ByteView data, const GlyphFilter& keep) { return Type1Reader(data).read(keep); }

}  // namespace optimizer::font
