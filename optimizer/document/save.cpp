#include "optimizer/document/save.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <qpdf/Pipeline.hh>
#include <qpdf/QPDFWriter.hh>

#include "optimizer/document/verify.h"
#include "optimizer/document/write/write_pdf.h"

namespace optimizer {
namespace {

Error writeError(int code) {
  if (code == EACCES || code == EPERM) return {ErrorKind::io, "You don't have permission to write the file"};
  if (code == ENOSPC || code == EDQUOT) return {ErrorKind::io, "There is no space left for the file"};
  return {ErrorKind::io, std::string("The file cannot be written: ") + std::strerror(code)};
}

// A new file beside its final place; removed unless it was given its name.
class NeighbourFile {
 public:
  ~NeighbourFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!name_.empty()) ::unlink(name_.c_str());
  }

  Status create(const std::string& path) {
    struct stat status {};
    const bool exists = ::stat(path.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) return writeError(EISDIR);
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    static std::atomic<unsigned> counter{0};
    for (int attempt = 0; attempt < 100; ++attempt) {
      name_ = folder + ".optimize-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp";
      descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666);
      if (descriptor_ >= 0) break;
      const int code = errno;
      name_.clear();
      if (code != EEXIST) return writeError(code);
    }
    if (descriptor_ < 0) return writeError(EEXIST);
    if (exists) (void)::fchmod(descriptor_, status.st_mode & 0777);
    return {};
  }

  Status write(const unsigned char* data, std::size_t size) {
    while (size > 0) {
      const ssize_t count = ::write(descriptor_, data, size);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return writeError(errno);
      data += count;
      size -= static_cast<std::size_t>(count);
    }
    return {};
  }

  Status close() {
    const int result = ::close(descriptor_);
    descriptor_ = -1;
    return result == 0 ? Status() : Status(writeError(errno));
  }

  Status moveTo(const std::string& path) {
    if (::rename(name_.c_str(), path.c_str()) != 0) return writeError(errno);
    name_.clear();
    return {};
  }

  const std::string& name() const { return name_; }

 private:
  std::string name_;
  int descriptor_ = -1;
};

// What the PDF writer writes to: collects small pieces, so that system calls are few.
class FileSink : public Pipeline {
 public:
  explicit FileSink(NeighbourFile& file) : Pipeline("file", nullptr), file_(file) { pending_.reserve(kPending); }

  void write(unsigned char const* data, size_t size) override {
    if (pending_.size() + size > kPending) flush();
    if (size >= kPending) {
      put(data, size);
    } else {
      pending_.insert(pending_.end(), data, data + size);
    }
  }
  void finish() override { flush(); }
  const Status& status() const { return status_; }

 private:
  static constexpr std::size_t kPending = std::size_t{1} << 20;

  void flush() {
    put(pending_.data(), pending_.size());
    pending_.clear();
  }
  void put(const unsigned char* data, std::size_t size) {
    if (status_.ok()) status_ = file_.write(data, size);
    if (!status_.ok()) throw std::runtime_error(status_.error().message);
  }

  NeighbourFile& file_;
  Bytes pending_;
  Status status_;
};

void setEncryption(QPDFWriter& writer, const SaveOptions& options) {
  // ISO 32000-1, table 22: bit n of the table is 1 << (n - 1).
  const auto bit = [&](int position) { return (options.permissions >> (position - 1) & 1u) != 0; };
  const qpdf_r3_print_e print = !bit(3) ? qpdf_r3p_none : bit(12) ? qpdf_r3p_full : qpdf_r3p_low;
  // Without an owner password anyone who can open the file could change what is allowed; there the user's stands in.
  const std::string& owner = options.ownerPassword.empty() ? options.userPassword : options.ownerPassword;
  writer.setR6EncryptionParameters(options.userPassword.c_str(), owner.c_str(), bit(10), bit(5), bit(11), bit(6),
                                   bit(9), bit(4), print, true);
}

// The PDF library's own writer: larger files, but it encrypts, and does without object streams.
Status writeWithLibrary(Document& document, NeighbourFile& file, const SaveOptions& options) {
  FileSink sink(file);
  Status status = withoutExceptions("The PDF cannot be written", [&]() -> Status {
    QPDFWriter writer(document.pdf());
    writer.setOutputPipeline(&sink);
    writer.setStreamDataMode(qpdf_s_preserve);
    writer.setObjectStreamMode(options.objectStreams ? qpdf_o_generate : qpdf_o_disable);
    writer.setLinearization(options.linearize);
    writer.setPreserveEncryption(false);
    if (options.encrypts()) {
      setEncryption(writer, options);
    } else {
      // The same document and settings give the same bytes.
      writer.setDeterministicID(true);
    }
    writer.write();
    return {};
  });
  if (!sink.status().ok()) return sink.status();
  return status;
}

Status writeCompact(Document& document, NeighbourFile& file, const SaveOptions& options) {
  FileSink sink(file);
  const ByteSink put = [&](ByteView bytes) -> Status {
    try {
      sink.write(bytes.data(), bytes.size());
    } catch (const std::exception&) {
      return sink.status();
    }
    return {};
  };
  Status status = writePdf(document, options.linearize, options.pool, options.deflateLevel, put);
  if (!status.ok()) return status;
  return withoutExceptions("The PDF cannot be written", [&]() -> Status {
    sink.finish();
    return {};
  });
}

}  // namespace

Status saveDocument(Document& document, const std::string& path, const SaveOptions& options) {
  if (path.empty()) return Error{ErrorKind::io, "There is no path to write to"};
  NeighbourFile file;
  OPTIMIZER_TRY(file.create(path));
  if (options.encrypts() || !options.objectStreams) {
    OPTIMIZER_TRY(writeWithLibrary(document, file, options));
  } else {
    OPTIMIZER_TRY(writeCompact(document, file, options));
  }
  OPTIMIZER_TRY(file.close());
  const std::string& password = options.ownerPassword.empty() ? options.userPassword : options.ownerPassword;
  OPTIMIZER_TRY(verifySaved(file.name(), password, document));
  return file.moveTo(path);
}

}  // namespace optimizer
