#include "optimizer/base/deflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>

namespace optimizer {
namespace {

struct FreeCompressor {
  void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};
struct FreeDecompressor {
  void operator()(libdeflate_decompressor* decompressor) const { libdeflate_free_decompressor(decompressor); }
};

// Compressors are large (a few megabytes at the strongest levels) and reusable: one per thread and level.
libdeflate_compressor* compressorOfThread(int level) {
  thread_local std::array<std::unique_ptr<libdeflate_compressor, FreeCompressor>, kStrongestDeflate + 1>
      compressors;
  auto& compressor = compressors.at(static_cast<std::size_t>(level));
  if (!compressor) compressor.reset(libdeflate_alloc_compressor(level));
  if (!compressor) throw std::bad_alloc();
  return compressor.get();
}

libdeflate_decompressor* decompressorOfThread() {
  thread_local std::unique_ptr<libdeflate_decompressor, FreeDecompressor> decompressor;
  if (!decompressor) decompressor.reset(libdeflate_alloc_decompressor());
  if (!decompressor) throw std::bad_alloc();
  return decompressor.get();
}

template <typename Compress, typename Bound>
Bytes compressBelow(Compress compress, Bound bound, ByteView data, std::size_t bytes, int level) {
  if (bytes <= 1) return {};
  // The compressor gives up as soon as the room is used up.
  Bytes out(std::min(bytes - 1, bound(nullptr, data.size())));
  out.resize(compress(compressorOfThread(level), data.data(), data.size(), out.data(), out.size()));
  return out;
}

}  // namespace

Bytes deflate(ByteView data, int level) {
  libdeflate_compressor* compressor = compressorOfThread(level);
  Bytes out(libdeflate_zlib_compress_bound(compressor, data.size()));
  out.resize(libdeflate_zlib_compress(compressor, data.data(), data.size(), out.data(), out.size()));
  return out;
}

Bytes deflateBelow(ByteView data, std::size_t bytes, int level) {
  return compressBelow(libdeflate_zlib_compress, libdeflate_zlib_compress_bound, data, bytes, level);
}

Bytes deflateRawBelow(ByteView data, std::size_t bytes, int level) {
  return compressBelow(libdeflate_deflate_compress, libdeflate_deflate_compress_bound, data, bytes, level);
}

Result<Bytes> inflate(ByteView coded, std::size_t limit) {
  libdeflate_decompressor* decompressor = decompressorOfThread();
  std::size_t room = std::min(limit, std::max<std::size_t>(coded.size() * 5, 4096));
  while (true) {
    Bytes out(room);
    std::size_t used = 0, made = 0;
    const libdeflate_result result = libdeflate_zlib_decompress_ex(decompressor, coded.data(), coded.size(),
                                                                   out.data(), out.size(), &used, &made);
    if (result == LIBDEFLATE_SUCCESS) {
      out.resize(made);
      return out;
    }
    if (result != LIBDEFLATE_INSUFFICIENT_SPACE)
      return Error{ErrorKind::damaged, "The Flate data is damaged"};
    if (room >= limit) return Error{ErrorKind::limit, "The Flate data expands beyond what can be handled"};
    room = room > limit / 4 ? limit : room * 4;
  }
}

Bytes inflateExactly(ByteView coded, std::size_t bytes) {
  Bytes out(bytes);
  std::size_t used = 0;
  const libdeflate_result result = libdeflate_zlib_decompress_ex(
      decompressorOfThread(), coded.data(), coded.size(), out.data(), out.size(), &used, nullptr);
  if (result != LIBDEFLATE_SUCCESS) out.clear();
  return out;
}

}  // namespace optimizer
