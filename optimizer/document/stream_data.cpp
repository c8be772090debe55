#include "optimizer/document/stream_data.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include <qpdf/Buffer.hh>
#include <qpdf/Pipeline.hh>

#include "optimizer/base/limits.h"
#include "optimizer/document/document.h"

namespace optimizer {
namespace {

// The end of a decoding pipeline: collects up to a limit, then breaks the pipeline off.
class BoundedSink : public Pipeline {
 public:
  BoundedSink(std::size_t limit, bool keep) : Pipeline("bounded", nullptr), limit_(limit), keep_(keep) {}
  void write(unsigned char const* data, size_t size) override {
    if (size > limit_ - size_) {
      exceeded_ = true;
      throw std::runtime_error("stream too large");
    }
    size_ += size;
    if (keep_) bytes_.insert(bytes_.end(), data, data + size);
  }
  void finish() override {}
  bool exceeded() const { return exceeded_; }
  Bytes take() { return std::move(bytes_); }

 private:
  std::size_t limit_, size_ = 0;
  bool keep_;
  Bytes bytes_;
  bool exceeded_ = false;
};

}  // namespace

Result<Bytes> rawStreamData(QPDFObjectHandle stream) {
  return withoutExceptions("A stream cannot be read", [&]() -> Result<Bytes> {
    if (!stream.isStream()) return Error{ErrorKind::damaged, "A stream is missing"};
    BoundedSink sink(limits::kStreamBytes, true);
    const bool ok = stream.pipeStreamData(&sink, nullptr, 0, qpdf_dl_none, true, false);
    if (sink.exceeded()) return Error{ErrorKind::limit, "A stream is too large"};
    if (!ok) return Error{ErrorKind::damaged, "A stream cannot be read"};
    return sink.take();
  });
}

namespace {

Status decodeInto(BoundedSink& sink, QPDFObjectHandle stream) {
  return withoutExceptions("A stream cannot be decoded", [&]() -> Status {
    if (!stream.isStream()) return Error{ErrorKind::damaged, "A stream is missing"};
    QPDFObjectHandle filter = stream.getDict().getKey("/Filter");
    if (filter.isArray() && filter.getArrayNItems() > limits::kFilters) {
      return Error{ErrorKind::limit, "A stream has too many filters"};
    }
    bool filtered = false;
    const bool ok = stream.pipeStreamData(&sink, &filtered, 0, qpdf_dl_specialized, true, false);
    if (sink.exceeded()) return Error{ErrorKind::limit, "A stream expands beyond what can be handled"};
    if (!filtered) return Error{ErrorKind::unsupported, "A stream uses a filter that cannot be undone"};
    if (!ok) return Error{ErrorKind::damaged, "A stream cannot be decoded"};
    return {};
  });
}

}  // namespace

Result<Bytes> decodedStreamData(QPDFObjectHandle stream) {
  BoundedSink sink(limits::kStreamBytes, true);
  OPTIMIZER_TRY(decodeInto(sink, stream));
  return sink.take();
}

Status checkDecodes(QPDFObjectHandle stream) {
  BoundedSink sink(limits::kStreamBytes, false);
  return decodeInto(sink, stream);
}

void setStreamData(QPDFObjectHandle stream, Bytes coded, QPDFObjectHandle filter, QPDFObjectHandle parms) {
  auto buffer = std::make_shared<Buffer>(coded.size());
  if (!coded.empty()) std::memcpy(buffer->getBuffer(), coded.data(), coded.size());
  stream.replaceStreamData(buffer, filter, parms);
}

}  // namespace optimizer
