#include "optimizer/document/rebuild.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "optimizer/base/deflate.h"
#include "optimizer/base/limits.h"
#include "optimizer/document/object_streams.h"

namespace optimizer {
namespace {

constexpr std::size_t kUnpacked = std::size_t{64} << 20;
constexpr std::size_t kAllUnpacked = std::size_t{256} << 20;

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\0'; }

// An object's number and where its value begins; number 0 where `at`, the place of an "obj", ends no object's heading.
struct Heading {
  long number = 0;
  std::size_t begin = 0, value = 0;
};

Heading headingBefore(std::string_view bytes, std::size_t at) {
  Heading heading;
  std::size_t i = at;
  const auto back = [&](auto wanted) {
    const std::size_t from = i;
    while (i > 0 && from - i < 20 && wanted(bytes[i - 1])) --i;
    return from - i;
  };
  if (back(isBlank) == 0 || back(isDigit) == 0) return heading;
  if (back(isBlank) == 0) return heading;
  const std::size_t digits = back(isDigit);
  if (digits == 0 || digits > 10) return heading;
  const long number = std::strtol(std::string(bytes.substr(i, digits)).c_str(), nullptr, 10);
  if (number <= 0 || number > static_cast<long>(limits::kObjects)) return heading;
  return {number, i, at + 3};
}

// The number after a key in a dictionary's text; -1 where there is none.
long numberAfter(std::string_view text, std::string_view key) {
  std::size_t at = text.find(key);
  if (at == std::string_view::npos) return -1;
  at += key.size();
  while (at < text.size() && isBlank(text[at])) ++at;
  if (at >= text.size() || !isDigit(text[at])) return -1;
  return std::strtol(std::string(text.substr(at, 10)).c_str(), nullptr, 10);
}

// Whether a dictionary's text has Type with this name.
bool hasType(std::string_view text, std::string_view name) {
  for (std::size_t at = text.find("/Type"); at != std::string_view::npos; at = text.find("/Type", at + 5)) {
    std::size_t i = at + 5;
    while (i < text.size() && isBlank(text[i])) ++i;
    if (text.substr(i, name.size()) == name && (i + name.size() >= text.size() ||
                                                std::isalnum(static_cast<unsigned char>(text[i + name.size()])) == 0)) {
      return true;
    }
  }
  return false;
}

class Rebuilder {
 public:
  explicit Rebuilder(std::string_view bytes) : bytes_(bytes) {}

  std::optional<Bytes> rebuild() {
    if (bytes_.find("/Encrypt") != std::string_view::npos) return std::nullopt;
    findObjects();
    if (objects_.empty()) return std::nullopt;
    return assemble();
  }

 private:
  void findObjects() {
    std::vector<Heading> headings;
    for (std::size_t at = bytes_.find("obj"); at != std::string_view::npos; at = bytes_.find("obj", at + 3)) {
      const Heading heading = headingBefore(bytes_, at);
      if (heading.number > 0) headings.push_back(heading);
      if (headings.size() > limits::kObjects) return;
    }
    for (std::size_t i = 0; i < headings.size(); ++i) {
      const std::size_t end = i + 1 < headings.size() ? headings[i + 1].begin : bytes_.size();
      std::string_view body = bytes_.substr(headings[i].value, end - headings[i].value);
      const std::size_t stream = body.find("stream");
      const std::string_view dictionary = body.substr(0, stream);
      const std::size_t last = body.rfind("endobj");
      if (last != std::string_view::npos) body = body.substr(0, last);
      if (hasType(dictionary, "/ObjStm") && stream != std::string_view::npos) {
        // In damaged files the word may come behind the object's end.
        if (stream + 6 <= body.size()) unpack(dictionary, body.substr(stream + 6));
      } else if (!hasType(dictionary, "/XRef")) {
        objects_[headings[i].number] = std::string(body);
      }
    }
  }

  void unpack(std::string_view dictionary, std::string_view data) {
    if (!data.empty() && data[0] == '\r') data.remove_prefix(1);
    if (!data.empty() && data[0] == '\n') data.remove_prefix(1);
    std::string plain;
    if (dictionary.find("/FlateDecode") != std::string_view::npos) {
      if (unpacked_ > kAllUnpacked) return;
      const Result<Bytes> inflated =
          inflate({reinterpret_cast<const std::uint8_t*>(data.data()), data.size()}, kUnpacked);
      if (!inflated.ok()) return;
      plain.assign(inflated->begin(), inflated->end());
    } else {
      plain = std::string(data.substr(0, data.find("endstream")));
    }
    unpacked_ += plain.size();
    const long count = numberAfter(dictionary, "/N"), first = numberAfter(dictionary, "/First");
    if (count <= 0 || first <= 0 || static_cast<std::size_t>(first) > plain.size()) return;
    std::vector<std::pair<long, std::size_t>> members;
    const char* at = plain.c_str();
    const char* const end = plain.c_str() + first;
    while (at < end && members.size() < static_cast<std::size_t>(count)) {
      char* next = nullptr;
      const long number = std::strtol(at, &next, 10);
      if (next == at) break;
      at = next;
      const long offset = std::strtol(at, &next, 10);
      if (next == at || number <= 0 || offset < 0) break;
      at = next;
      members.emplace_back(number, static_cast<std::size_t>(first) + static_cast<std::size_t>(offset));
    }
    for (std::size_t i = 0; i < members.size(); ++i) {
      const std::size_t begin = members[i].second;
      const std::size_t stop = i + 1 < members.size() ? members[i + 1].second : plain.size();
      if (begin >= stop || stop > plain.size() || members[i].first > static_cast<long>(limits::kObjects)) continue;
      values_ += countValues({reinterpret_cast<const std::uint8_t*>(plain.data()) + begin, stop - begin},
                             valuesAllowed(bytes_.size()) - values_);
      if (values_ >= valuesAllowed(bytes_.size())) return;
      objects_[members[i].first] = plain.substr(begin, stop - begin);
    }
  }

  Bytes assemble() {
    long root = 0;
    for (const auto& [number, body] : objects_) {
      const std::string_view dictionary = std::string_view(body).substr(0, body.find("stream"));
      if (hasType(dictionary, "/Catalog")) root = number;
    }
    const long highest = objects_.rbegin()->first;
    if (root == 0) {
      // The pages are found without it.
      root = highest + 1;
      objects_[root] = "<</Type/Catalog>>";
    }
    std::string out = "%PDF-1.7\n";
    std::map<long, std::size_t> offsets;
    for (const auto& [number, body] : objects_) {
      offsets[number] = out.size();
      out += std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    }
    const std::size_t start = out.size();
    out += "xref\n0 1\n0000000000 65535 f \n";
    for (const auto& [number, offset] : offsets) {
      char line[64];
      std::snprintf(line, sizeof line, "%ld 1\n%010zu 00000 n \n", number, offset);
      out += line;
    }
    out += "trailer\n<</Root " + std::to_string(root) + " 0 R/Size " + std::to_string(objects_.rbegin()->first + 1) +
           ">>\nstartxref\n" + std::to_string(start) + "\n%%EOF\n";
    return Bytes(out.begin(), out.end());
  }

  std::string_view bytes_;
  std::map<long, std::string> objects_;
  std::size_t unpacked_ = 0;
  std::uint64_t values_ = 0;  // in all object streams
};

}  // namespace

std::optional<Bytes> rebuildFile(ByteView damaged) {
  return Rebuilder({reinterpret_cast<const char*>(damaged.data()), damaged.size()}).rebuild();
}

}  // namespace optimizer
