#include "optimizer/audit/file_layout.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "optimizer/base/bytes.h"
#include "optimizer/content/tokenizer.h"

namespace optimizer {
namespace {

// A file byte by byte through a window, since it may be larger than memory.
class FileBytes {
 public:
  ~FileBytes() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  Status open(const std::string& path) {
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
      return Error{ErrorKind::io, std::string("The file cannot be read: ") + std::strerror(errno)};
    }
    size_ = static_cast<std::uint64_t>(status.st_size);
    return {};
  }

  std::uint64_t size() const { return size_; }

  // -1 behind the end, also where the file has become shorter meanwhile.
  int at(std::uint64_t position) {
    if (position - begin_ >= window_.size()) {  // unsigned: a position before the window is far behind it
      if (position >= size_) return -1;
      fill(position);
      if (window_.empty()) return -1;
    }
    return window_[static_cast<std::size_t>(position - begin_)];
  }

  bool startsWith(std::uint64_t position, std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (at(position + i) != static_cast<unsigned char>(text[i])) return false;
    }
    return true;
  }

  // The first place in [from, to) where text stands whole, or `to`.
  std::uint64_t find(std::string_view text, std::uint64_t from, std::uint64_t to) {
    for (std::uint64_t position = from; position + text.size() <= to; ++position) {
      if (at(position) == static_cast<unsigned char>(text.front()) && startsWith(position, text))
        return position;
    }
    return to;
  }

 private:
  void fill(std::uint64_t position) {
    constexpr std::uint64_t kWindow = 1 << 16;
    begin_ = position - position % (kWindow / 2);  // some bytes before it, for going back a little
    window_.resize(static_cast<std::size_t>(std::min(kWindow, size_ - begin_)));
    std::size_t got = 0;
    while (got < window_.size()) {
      const ssize_t count =
          ::pread(descriptor_, window_.data() + got, window_.size() - got, static_cast<off_t>(begin_ + got));
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;
      got += static_cast<std::size_t>(count);
    }
    window_.resize(got > position - begin_ ? got : 0);
  }

  int descriptor_ = -1;
  std::uint64_t size_ = 0, begin_ = 0;
  Bytes window_;
};

// Of what FileBytes::at() gives: nothing behind the end is either.
bool isBlank(int c) { return c >= 0 && content::isWhiteSpace(static_cast<std::uint8_t>(c)); }
bool isRegular(int c) { return c >= 0 && content::isRegular(static_cast<std::uint8_t>(c)); }
bool isDigit(int c) { return c >= '0' && c <= '9'; }

// Reads the syntax of objects without building them (ISO 32000-1, 7.2 and 7.3).
class Scanner {
 public:
  Scanner(FileBytes& bytes, const std::function<std::uint64_t(QPDFObjGen)>& streamLength)
      : bytes_(bytes), streamLength_(streamLength) {}

  std::uint64_t skipBlanks(std::uint64_t position, std::uint64_t end) {
    while (position < end && isBlank(bytes_.at(position))) ++position;
    return position;
  }
  std::uint64_t skipLine(std::uint64_t position, std::uint64_t end) {
    while (position < end && bytes_.at(position) != '\n' && bytes_.at(position) != '\r') ++position;
    return position;
  }
  std::uint64_t skipRegular(std::uint64_t position, std::uint64_t end) {
    while (position < end && isRegular(bytes_.at(position))) ++position;
    return position;
  }

  // "12 0 obj"; position moves behind it.
  std::optional<QPDFObjGen> header(std::uint64_t& position, std::uint64_t end) {
    std::uint64_t next = position;
    const std::optional<int> number = integer(next, end);
    if (!number || !isBlank(bytes_.at(next))) return std::nullopt;
    next = skipBlanks(next, end);
    const std::optional<int> generation = integer(next, end);
    if (!generation) return std::nullopt;
    next = skipBlanks(next, end);
    if (next + 3 > end || !bytes_.startsWith(next, "obj")) return std::nullopt;
    position = next + 3;
    return QPDFObjGen(*number, *generation);
  }

  // The end of the object whose body begins at position: behind its endobj, or where it breaks off.
  std::uint64_t objectEnd(QPDFObjGen object, std::uint64_t position, std::uint64_t end) {
    while (position < end) {
      const int c = bytes_.at(position);
      if (c < 0) return end;
      if (!isRegular(c)) {
        position = skipPunctuation(position, end);
        continue;
      }
      const std::uint64_t wordEnd = skipRegular(position, end);
      if (isWord(position, wordEnd, "endobj")) return wordEnd;
      if (isWord(position, wordEnd, "obj") || isWord(position, wordEnd, "xref")) return position;
      position = isWord(position, wordEnd, "stream") ? streamEnd(object, wordEnd, end) : wordEnd;
    }
    return end;
  }

  bool isWord(std::uint64_t position, std::uint64_t wordEnd, std::string_view word) {
    return wordEnd - position == word.size() && bytes_.startsWith(position, word);
  }

 private:
  std::optional<int> integer(std::uint64_t& position, std::uint64_t end) {
    std::uint64_t value = 0;
    const std::uint64_t begin = position;
    while (position < end && isDigit(bytes_.at(position)) && position - begin < 10) {
      value = value * 10 + static_cast<std::uint64_t>(bytes_.at(position) - '0');
      ++position;
    }
    if (position == begin || value > 0x7FFFFFFF) return std::nullopt;
    return static_cast<int>(value);
  }

  // Blanks, comments, strings, names and brackets.
  std::uint64_t skipPunctuation(std::uint64_t position, std::uint64_t end) {
    switch (bytes_.at(position)) {
      case '%':
        return skipLine(position, end);
      case '/':
        return skipRegular(position + 1, end);
      case '(': {
        int depth = 0;
        for (; position < end; ++position) {
          const int c = bytes_.at(position);
          if (c < 0) return end;
          if (c == '\\') {
            ++position;
          } else if (c == '(') {
            ++depth;
          } else if (c == ')' && --depth == 0) {
            return position + 1;
          }
        }
        return end;
      }
      default:
        return position + 1;
    }
  }

  // position: behind the word "stream".
  std::uint64_t streamEnd(QPDFObjGen object, std::uint64_t position, std::uint64_t end) {
    if (bytes_.at(position) == '\r') ++position;
    if (bytes_.at(position) == '\n') ++position;
    constexpr std::string_view kEnd = "endstream";
    const std::uint64_t length = streamLength_(object);
    if (length <= end && position <= end - length) {
      const std::uint64_t claimed = skipBlanks(position + length, std::min(end, position + length + 4));
      if (bytes_.startsWith(claimed, kEnd)) return std::min(end, claimed + kEnd.size());
    }
    const std::uint64_t found = bytes_.find(kEnd, position, end);
    return std::min(end, found + kEnd.size());
  }

  FileBytes& bytes_;
  const std::function<std::uint64_t(QPDFObjGen)>& streamLength_;
};

class LayOut {
 public:
  LayOut(FileBytes& bytes, const std::function<std::uint64_t(QPDFObjGen)>& streamLength)
      : bytes_(bytes), scanner_(bytes, streamLength) {}

  FileLayout of(const std::map<QPDFObjGen, std::uint64_t>& offsets) {
    layout_.size = bytes_.size();
    for (const auto& [object, offset] : offsets) known_.insert(object);
    const std::vector<Place> places = placesOf(offsets);
    std::uint64_t position = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      between(position, places[i].offset);
      position = places[i].offset;
      const std::uint64_t limit = i + 1 < places.size() ? places[i + 1].offset : bytes_.size();
      const std::uint64_t end = scanner_.objectEnd(places[i].object, places[i].body, limit);
      layout_.objects[places[i].object] += end - position;
      position = end;
    }
    between(position, bytes_.size());
    return std::move(layout_);
  }

 private:
  struct Place {
    std::uint64_t offset = 0;
    std::uint64_t body = 0;
    QPDFObjGen object;
  };

  // Those that are where the table says, in the order of the file.
  std::vector<Place> placesOf(const std::map<QPDFObjGen, std::uint64_t>& offsets) {
    // Offsets count from the header, which some files have behind other bytes (ISO 32000-1, Annex H, 3.4.1).
    const std::uint64_t window = std::min<std::uint64_t>(1024, bytes_.size());
    const std::uint64_t header = bytes_.find("%PDF-", 0, window);
    const std::uint64_t shift = header == window ? 0 : header;
    std::vector<Place> places;
    for (const auto& [object, offset] : offsets) {
      if (offset >= bytes_.size()) continue;
      const std::uint64_t start = offset + shift;
      Place place{scanner_.skipBlanks(start, std::min(bytes_.size(), start + 16)), 0, object};
      place.body = place.offset;
      const std::optional<QPDFObjGen> found = scanner_.header(place.body, bytes_.size());
      if (!found || !(*found == object)) continue;
      places.push_back(place);
      placed_.insert(object);
    }
    std::sort(places.begin(), places.end(),
              [](const Place& left, const Place& right) { return left.offset < right.offset; });
    return places;
  }

  void between(std::uint64_t position, std::uint64_t end) {
    while (position < end) {
      const std::uint64_t begin = position;
      const int c = bytes_.at(position);
      std::uint64_t* kind = &layout_.stray;
      if (c < 0) {
        position = end;
      } else if (isBlank(c)) {
        position = scanner_.skipBlanks(position, end);
        kind = &layout_.framing;
      } else if (c == '%') {
        position = scanner_.skipLine(position, end);
        kind = &layout_.framing;
      } else if (!isRegular(c)) {
        ++position;
      } else {
        kind = word(position, end);
      }
      *kind += position - begin;
    }
  }

  // Moves position behind what begins with a word there, and says what that is.
  std::uint64_t* word(std::uint64_t& position, std::uint64_t end) {
    const std::uint64_t wordEnd = scanner_.skipRegular(position, end);
    if (scanner_.isWord(position, wordEnd, "xref")) {
      position = tableEnd(wordEnd, end);
      return &layout_.crossReference;
    }
    if (scanner_.isWord(position, wordEnd, "trailer")) {
      position = bytes_.find("startxref", wordEnd, end);
      return &layout_.crossReference;
    }
    if (scanner_.isWord(position, wordEnd, "startxref")) {
      position = scanner_.skipRegular(scanner_.skipBlanks(wordEnd, end), end);
      return &layout_.crossReference;
    }
    std::uint64_t body = position;
    if (const std::optional<QPDFObjGen> object = scanner_.header(body, end)) {
      position = scanner_.objectEnd(*object, body, end);
      // Where the table is lost or wrong the document was put together from what is there.
      const bool lost = known_.count(*object) != 0 && placed_.count(*object) == 0;
      return lost ? &layout_.objects[*object] : &layout_.earlierVersions;
    }
    position = wordEnd;
    return &layout_.stray;
  }

  // Entries of a cross-reference table: numbers, "n" and "f".
  std::uint64_t tableEnd(std::uint64_t position, std::uint64_t end) {
    while (position < end) {
      const std::uint64_t begin = scanner_.skipBlanks(position, end);
      const std::uint64_t wordEnd = scanner_.skipRegular(begin, end);
      const int c = bytes_.at(begin);
      const bool letter = wordEnd - begin == 1 && (c == 'n' || c == 'f');
      if (wordEnd == begin || (!isDigit(c) && !letter)) return begin;
      position = wordEnd;
    }
    return end;
  }

  FileBytes& bytes_;
  Scanner scanner_;
  std::set<QPDFObjGen> known_, placed_;
  FileLayout layout_;
};

}  // namespace

Result<FileLayout> layOut(const std::string& path, const std::map<QPDFObjGen, std::uint64_t>& offsets,
                          const std::function<std::uint64_t(QPDFObjGen)>& streamLength) {
  FileBytes bytes;
  OPTIMIZER_TRY(bytes.open(path));
  return LayOut(bytes, streamLength).of(offsets);
}

}  // namespace optimizer
