#include "optimizer/content/stream.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <libdeflate.h>
#include <qpdf/Buffer.hh>

#include "optimizer/document/document.h"
#include "optimizer/document/stream_data.h"

namespace optimizer::content {
namespace {

// Most content is one FlateDecode without a predictor; libdeflate reads that several times as fast as zlib. Nothing when
// it is something else, or not clean.
std::optional<Bytes> inflateWhole(QPDFObjectHandle stream, std::size_t limit) {
  QPDFObjectHandle dict = stream.getDict();
  QPDFObjectHandle filter = dict.getKey("/Filter");
  if (filter.isArray() && filter.getArrayNItems() == 1) {
    filter = filter.getArrayItem(0);
  }
  if (!filter.isName() || (filter.getName() != "/FlateDecode" && filter.getName() != "/Fl")) {
    return std::nullopt;
  }
  if (!dict.getKey("/DecodeParms").isNull() || !dict.getKey("/F").isNull()) {
    return std::nullopt;
  }
  const std::shared_ptr<Buffer> raw = stream.getRawStreamData();
  thread_local const std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> inflater(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  if (inflater == nullptr) {
    return std::nullopt;
  }
  const std::size_t size = raw->getSize();
  for (std::size_t room = size * 6 + 1024;; room *= 4) {
    Bytes bytes(std::min(room, limit));
    std::size_t used = 0, written = 0;
    const libdeflate_result result = libdeflate_zlib_decompress_ex(inflater.get(), raw->getBuffer(), size, bytes.data(),
                                                                   bytes.size(), &used, &written);
    if (result == LIBDEFLATE_SUCCESS) {
      bytes.resize(written);
      return bytes;
    }
    if (result != LIBDEFLATE_INSUFFICIENT_SPACE || bytes.size() == limit) {
      return std::nullopt;
    }
  }
}

}  // namespace

Result<Bytes> decodedStream(QPDFObjectHandle stream, std::size_t limit) {
  return withoutExceptions("A stream cannot be decoded", [&]() -> Result<Bytes> {
    if (!stream.isStream()) {
      return Error{ErrorKind::damaged, "A stream is missing"};
    }
    if (std::optional<Bytes> bytes = inflateWhole(stream, limit)) {
      return std::move(*bytes);
    }
    Result<Bytes> bytes = decodedStreamData(stream);
    if (bytes.ok() && bytes->size() > limit) {
      return Error{ErrorKind::limit, "A stream expands beyond what can be handled"};
    }
    return bytes;
  });
}

std::vector<QPDFObjectHandle> contentStreams(QPDFObjectHandle page) {
  std::vector<QPDFObjectHandle> streams;
  QPDFObjectHandle contents = page.getKey("/Contents");
  if (contents.isStream()) {
    streams.push_back(contents);
  } else if (contents.isArray()) {
    for (int i = 0; i < contents.getArrayNItems(); ++i) {
      QPDFObjectHandle item = contents.getArrayItem(i);
      if (item.isStream()) {
        streams.push_back(item);
      }
    }
  }
  return streams;
}

Result<Bytes> pageContent(QPDFObjectHandle page, std::size_t limit) {
  const std::vector<QPDFObjectHandle> streams = contentStreams(page);
  Bytes whole;
  for (const QPDFObjectHandle& stream : streams) {
    Result<Bytes> part = decodedStream(stream, limit - whole.size());
    if (!part.ok()) {
      return part;
    }
    if (streams.size() == 1) {
      return part;
    }
    if (whole.size() + part->size() + 1 > limit) {
      return Error{ErrorKind::limit, "page content expands beyond the limit"};
    }
    whole.insert(whole.end(), part->begin(), part->end());
    whole.push_back('\n');
  }
  return whole;
}

}  // namespace optimizer::content
