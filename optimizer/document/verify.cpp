#include "optimizer/document/verify.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <set>

#include <qpdf/QPDFLogger.hh>

#include "optimizer/base/limits.h"
#include "optimizer/document/stream_data.h"

namespace optimizer {
namespace {

// Walks what a page needs. Streams and dictionaries shared between pages are looked at once.
class PageReader {
 public:
  // "" when the page can be read, else what cannot.
  std::string problemOf(QPDFObjectHandle page) {
    QPDFObjectHandle contents = page.getKey("/Contents");
    if (contents.isStream()) {
      if (!decodes(contents)) return "its contents";
    } else if (contents.isArray()) {
      for (int i = 0; i < contents.getArrayNItems(); ++i) {
        QPDFObjectHandle part = contents.getArrayItem(i);
        if (part.isStream() && !decodes(part)) return "its contents";
      }
    }
    return problemOfResources(page.getKey("/Resources"), 0);
  }

  // Set where some content went beyond the limits when it was decoded: what it did.
  const std::string& bomb() const { return bomb_; }

 private:
  std::string problemOfResources(QPDFObjectHandle resources, int depth) {
    if (!resources.isDictionary() || depth > kFormDepth || seenBefore(resources)) return "";
    QPDFObjectHandle objects = resources.getKey("/XObject");
    if (objects.isDictionary()) {
      for (const std::string& key : objects.getKeys()) {
        QPDFObjectHandle object = objects.getKey(key);
        if (!object.isStream()) return "the external object " + key;
        if (seenBefore(object)) continue;
        QPDFObjectHandle dictionary = object.getDict();
        if (dictionary.getKey("/Subtype").isNameAndEquals("/Form")) {
          if (!decodes(object)) return "the form " + key;
          const std::string inside = problemOfResources(dictionary.getKey("/Resources"), depth + 1);
          if (!inside.empty()) return inside;
        } else if (object.getDict().getKey("/Length").isNull()) {
          return "the image " + key;
        }
      }
    }
    QPDFObjectHandle fonts = resources.getKey("/Font");
    if (fonts.isDictionary()) {
      for (const std::string& key : fonts.getKeys()) {
        if (!fontIsWhole(fonts.getKey(key))) return "the font " + key;
      }
    }
    return "";
  }

  bool fontIsWhole(QPDFObjectHandle font) {
    if (!font.isDictionary()) return false;
    if (seenBefore(font)) return true;
    QPDFObjectHandle described = font;
    QPDFObjectHandle descendants = font.getKey("/DescendantFonts");
    if (descendants.isArray() && descendants.getArrayNItems() > 0) described = descendants.getArrayItem(0);
    if (!described.isDictionary()) return false;
    QPDFObjectHandle descriptor = described.getKey("/FontDescriptor");
    if (!descriptor.isDictionary()) return true;
    for (const char* key : {"/FontFile", "/FontFile2", "/FontFile3"}) {
      if (descriptor.hasKey(key) && !decodes(descriptor.getKey(key))) return false;
    }
    return true;
  }

  bool decodes(QPDFObjectHandle stream) {
    if (!stream.isStream()) return false;
    if (seenStreams_.count(stream.getObjGen()) != 0) return true;
    seenStreams_.insert(stream.getObjGen());
    const Status decoded = checkDecodes(stream);
    if (!decoded.ok() && decoded.error().kind == ErrorKind::limit) bomb_ = decoded.error().message;
    return decoded.ok();
  }

  bool seenBefore(QPDFObjectHandle object) {
    return object.isIndirect() && !seen_.insert(object.getObjGen()).second;
  }

  static constexpr int kFormDepth = 100;
  std::set<QPDFObjGen> seen_, seenStreams_;
  std::string bomb_;
};

// Whether a page of the file that the document came from has a problem of its own.
class Original {
 public:
  explicit Original(Document& document) : document_(document) {}
  bool hasProblem(std::size_t page) {
    if (!opened_) {
      opened_ = true;
      Result<std::unique_ptr<Document>> again = Document::open(document_.path(), document_.password());
      if (again.ok()) input_ = std::move(*again);
    }
    if (!input_ || page >= input_->pages().size()) return false;
    return !PageReader().problemOf(input_->pages()[page]).empty();
  }

 private:
  Document& document_;
  bool opened_ = false;
  std::unique_ptr<Document> input_;
};

// The file's bytes, where holding them costs little: qpdf seeks for every object, and each seek of a file costs a system
// call and a buffer. Nothing for a large file, or one that cannot be read.
std::optional<Bytes> smallFile(const std::string& path) {
  constexpr std::size_t most = std::size_t{32} << 20;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) return std::nullopt;
  const long end = std::ftell(file.get());
  if (end <= 0 || static_cast<std::size_t>(end) > most || std::fseek(file.get(), 0, SEEK_SET) != 0) return std::nullopt;
  Bytes bytes(static_cast<std::size_t>(end));
  if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return std::nullopt;
  return bytes;
}

Status checkPages(QPDF& pdf, Document& document, const std::string& what) {
  const std::vector<QPDFObjectHandle>& pages = pdf.getAllPages();
  if (pages.size() != document.pages().size()) {
    return Error{ErrorKind::internal, what + ": it has " + std::to_string(pages.size()) + " pages instead of " +
                                          std::to_string(document.pages().size())};
  }
  PageReader reader;
  Original original(document);
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const std::string problem = reader.problemOf(pages[i]);
    if (!reader.bomb().empty()) {
      return Error{ErrorKind::limit, "Page " + std::to_string(i + 1) + " cannot be handled: " + reader.bomb()};
    }
    if (!problem.empty() && !original.hasProblem(i)) {
      return Error{ErrorKind::internal, what + ": page " + std::to_string(i + 1) + ", " + problem};
    }
  }
  return {};
}

}  // namespace

Status verifySaved(const std::string& path, const std::string& password, Document& document) {
  const std::string what = "The optimized file could not be read back";
  return withoutExceptions(what, [&]() -> Status {
    const std::optional<Bytes> bytes = smallFile(path);  // as long as what reads from it
    QPDF written;
    const std::shared_ptr<QPDFLogger> silent = QPDFLogger::create();
    silent->setInfo(silent->discard());
    silent->setWarn(silent->discard());
    silent->setError(silent->discard());
    written.setLogger(silent);
    written.setSuppressWarnings(true);
    written.setAttemptRecovery(false);
    if (bytes) {
      written.processMemoryFile(path.c_str(), reinterpret_cast<const char*>(bytes->data()), bytes->size(), password.c_str());
    } else {
      written.processFile(path.c_str(), password.c_str());
    }
    return checkPages(written, document, what);
  });
}

Status verifyInMemory(Document& document) {
  return withoutExceptions("The document is damaged",
                           [&]() -> Status { return checkPages(document.pdf(), document, "The document is damaged"); });
}

}  // namespace optimizer
