#include "optimizer/document/document.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <set>

#include <qpdf/QPDFExc.hh>
#include <qpdf/QPDFLogger.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include "optimizer/base/limits.h"
#include "optimizer/document/object_streams.h"
#include "optimizer/document/page_tree.h"
#include "optimizer/document/rebuild.h"

namespace optimizer {
namespace {

// Files up to this size are read into memory at once: qpdf seeks for every object, and each seek of a file costs a
// system call and a buffer.
constexpr std::uint64_t kReadWhole = std::uint64_t{64} << 20;

Error readError(int code) {
  if (code == EACCES || code == EPERM) {
    return {ErrorKind::io, "You don't have permission to read the file"};
  }
  if (code == ENOENT || code == ENOTDIR) return {ErrorKind::io, "The file does not exist"};
  return {ErrorKind::io, std::string("The file cannot be read: ") + std::strerror(code)};
}

// Owns a file descriptor.
struct Descriptor {
  int number = -1;
  explicit Descriptor(int fd) : number(fd) {}
  ~Descriptor() {
    if (number >= 0) ::close(number);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
};

Result<Bytes> readUpTo(int descriptor, std::uint64_t limit) {
  Bytes bytes(static_cast<std::size_t>(limit));
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t count = ::read(descriptor, bytes.data() + got, bytes.size() - got);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return readError(errno);
    if (count == 0) break;
    got += static_cast<std::size_t>(count);
  }
  bytes.resize(got);
  return bytes;
}

// Readers accept the header anywhere in the first 1024 bytes (ISO 32000-1, Annex H, 3.4.1, note 13).
bool hasHeader(int descriptor) {
  char head[1024];
  const ssize_t count = ::pread(descriptor, head, sizeof head, 0);
  if (count <= 0) return false;
  return std::string_view(head, static_cast<std::size_t>(count)).find("%PDF-") != std::string_view::npos;
}

Error openError(const QPDFExc& caught, bool header, const std::string& password) {
  switch (caught.getErrorCode()) {
    case qpdf_e_password:
      return {ErrorKind::password, password.empty() ? "The PDF is encrypted and needs a password"
                                                    : "The password does not open the PDF"};
    case qpdf_e_unsupported:
      return {ErrorKind::unsupported, "The PDF uses an encryption or a feature that is not supported"};
    case qpdf_e_system:
      return {ErrorKind::io, "The file cannot be read"};
    default:
      break;
  }
  if (!header) return {ErrorKind::damaged, "The file is not a PDF"};
  return {ErrorKind::damaged, "The PDF is damaged beyond repair"};
}

}  // namespace

Error currentExceptionError(const std::string& what) {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return {ErrorKind::limit, "Not enough memory"};
  } catch (const QPDFExc& caught) {
    return {ErrorKind::damaged, what + ": " + caught.getMessageDetail()};
  } catch (const std::exception& caught) {
    return {ErrorKind::damaged, what + ": " + caught.what()};
  } catch (...) {
    return {ErrorKind::internal, what};
  }
}

Result<std::unique_ptr<Document>> Document::open(const std::string& path, const std::string& password) {
  // O_NONBLOCK: opening a pipe by name must not wait for a writer.
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.number < 0) return readError(errno);
  struct stat status {};
  if (::fstat(file.number, &status) != 0) return readError(errno);
  if (S_ISDIR(status.st_mode)) return Error{ErrorKind::io, "The file is a folder"};
  if (!S_ISREG(status.st_mode)) return Error{ErrorKind::io, "The file is not a regular file"};
  if (status.st_size == 0) return Error{ErrorKind::damaged, "The file is empty"};

  std::unique_ptr<Document> document(new Document());
  document->path_ = path;
  document->password_ = password;
  document->inputBytes_ = static_cast<std::uint64_t>(status.st_size);
  const bool header = hasHeader(file.number);
  FILE* stream = nullptr;
  if (document->inputBytes_ <= kReadWhole) {
    Result<Bytes> bytes = readUpTo(file.number, document->inputBytes_);
    if (!bytes.ok()) return bytes.error();
    document->input_ = std::move(*bytes);
  } else {
    stream = ::fdopen(::dup(file.number), "rb");
    if (stream == nullptr) return readError(errno);
  }
  Status read = document->read(stream, header);
  if (!read.ok() && read.error().kind == ErrorKind::damaged && header && stream == nullptr) {
    // Without any table of contents left, the library gives up; the objects may still be there.
    if (std::optional<Bytes> rebuilt = rebuildFile(document->input_)) {
      document->pdf_.reset();
      document->input_ = std::move(*rebuilt);
      if (document->read(nullptr, header).ok()) read = {};
    }
  }
  if (!read.ok()) return read.error();
  return document;
}

namespace {

// Readers of forms follow the fields by recursion, so a chain without end would take them down.
bool nestsTooDeep(QPDFObjectHandle fields, std::set<QPDFObjGen>& seen, int depth) {
  if (!fields.isArray()) return false;
  if (depth > limits::kNesting) return true;
  for (QPDFObjectHandle field : fields.getArrayAsVector()) {
    if (!field.isDictionary() || (field.isIndirect() && !seen.insert(field.getObjGen()).second)) continue;
    if (nestsTooDeep(field.getKey("/Kids"), seen, depth + 1)) return true;
  }
  return false;
}

}  // namespace

const Reach& Document::reach() {
  if (!reach_) reach_ = reachOf(*pdf_);
  return *reach_;
}

Status Document::read(std::FILE* stream, bool header) {
  try {
    pdf_ = std::make_unique<QPDF>();
    QPDF& pdf = *pdf_;
    const std::shared_ptr<QPDFLogger> silent = QPDFLogger::create();
    silent->setInfo(silent->discard());
    silent->setWarn(silent->discard());
    silent->setError(silent->discard());
    pdf.setLogger(silent);
    pdf.setSuppressWarnings(true);
    if (stream == nullptr) {
      pdf.processMemoryFile(path_.c_str(), reinterpret_cast<const char*>(input_.data()), input_.size(),
                            password_.c_str());
    } else {
      pdf.processFile(path_.c_str(), stream, true, password_.c_str());
    }
    OPTIMIZER_TRY(checkObjectStreams(pdf, inputBytes_));
    if (pdf.getObjectCount() > limits::kObjects) {
      return Error{ErrorKind::limit, "The PDF has more objects than can be handled"};
    }
    if (!pdf.getRoot().isDictionary()) return Error{ErrorKind::damaged, "The PDF is damaged beyond repair"};
    std::set<QPDFObjGen> seen;
    QPDFObjectHandle form = pdf.getRoot().getKey("/AcroForm");
    if (form.isDictionary() && nestsTooDeep(form.getKey("/Fields"), seen, 0)) {
      return Error{ErrorKind::limit, "The PDF's form fields are nested too deeply"};
    }
    OPTIMIZER_TRY(repairPageTree(pdf));
    QPDFPageDocumentHelper(pdf).pushInheritedAttributesToPage();
    pages_ = pdf.getAllPages();
  } catch (const QPDFExc& caught) {
    return openError(caught, header, password_);
  } catch (...) {
    Error error = currentExceptionError("The PDF is damaged beyond repair");
    if (!header && error.kind == ErrorKind::damaged) error.message = "The file is not a PDF";
    return error;
  }
  return {};
}

}  // namespace optimizer
