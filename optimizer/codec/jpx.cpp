#include "optimizer/codec/jpx.h"

#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace optimizer {
namespace {

struct StreamCloser {
  void operator()(opj_stream_t* stream) const { opj_stream_destroy(stream); }
};
struct CodecCloser {
  void operator()(opj_codec_t* codec) const { opj_destroy_codec(codec); }
};
struct ImageCloser {
  void operator()(opj_image_t* image) const { opj_image_destroy(image); }
};
using StreamPtr = std::unique_ptr<opj_stream_t, StreamCloser>;
using CodecPtr = std::unique_ptr<opj_codec_t, CodecCloser>;
using ImagePtr = std::unique_ptr<opj_image_t, ImageCloser>;

struct Reader {
  ByteView data;
  std::size_t at = 0;
};

OPJ_SIZE_T readBytes(void* to, OPJ_SIZE_T count, void* user) {
  auto* reader = static_cast<Reader*>(user);
  const std::size_t left = reader->data.size() - reader->at;
  if (left == 0) return static_cast<OPJ_SIZE_T>(-1);
  const std::size_t taken = std::min<std::size_t>(left, count);
  std::memcpy(to, reader->data.data() + reader->at, taken);
  reader->at += taken;
  return taken;
}

OPJ_OFF_T skipRead(OPJ_OFF_T count, void* user) {
  auto* reader = static_cast<Reader*>(user);
  if (count < 0) return -1;
  const auto left = static_cast<OPJ_OFF_T>(reader->data.size() - reader->at);
  const OPJ_OFF_T skipped = std::min(count, left);
  reader->at += static_cast<std::size_t>(skipped);
  return skipped;
}

OPJ_BOOL seekRead(OPJ_OFF_T to, void* user) {
  auto* reader = static_cast<Reader*>(user);
  if (to < 0 || static_cast<std::uint64_t>(to) > reader->data.size()) return OPJ_FALSE;
  reader->at = static_cast<std::size_t>(to);
  return OPJ_TRUE;
}

struct Writer {
  Bytes data;
  std::size_t at = 0;
};

bool reserveTo(Writer& writer, std::size_t end) {
  if (end > maxImageBytes) return false;
  if (end > writer.data.size()) writer.data.resize(end);
  return true;
}

OPJ_SIZE_T writeBytes(void* from, OPJ_SIZE_T count, void* user) {
  auto* writer = static_cast<Writer*>(user);
  if (!reserveTo(*writer, writer->at + count)) return static_cast<OPJ_SIZE_T>(-1);
  std::memcpy(writer->data.data() + writer->at, from, count);
  writer->at += count;
  return count;
}

OPJ_OFF_T skipWrite(OPJ_OFF_T count, void* user) {
  auto* writer = static_cast<Writer*>(user);
  if (count < 0 || !reserveTo(*writer, writer->at + static_cast<std::size_t>(count))) return -1;
  writer->at += static_cast<std::size_t>(count);
  return count;
}

OPJ_BOOL seekWrite(OPJ_OFF_T to, void* user) {
  auto* writer = static_cast<Writer*>(user);
  if (to < 0 || !reserveTo(*writer, static_cast<std::size_t>(to))) return OPJ_FALSE;
  writer->at = static_cast<std::size_t>(to);
  return OPJ_TRUE;
}

void ignoreMessage(const char*, void*) {}
// OpenJPEG reports damage that it papers over as a warning; such a picture is not to be trusted as the
// source.
void noteMessage(const char*, void* user) { *static_cast<bool*>(user) = true; }

Error damaged() { return {ErrorKind::damaged, "JPEG 2000 data is damaged"}; }

// The lowest layers of a page image are read first everywhere; five halvings suit all sizes above a few
// hundred pixels.
int resolutionsFor(std::uint32_t side) {
  int levels = 1;
  while (levels < 6 && (side >> levels) >= 16) ++levels;
  return levels;
}

}  // namespace

Result<Pixels> decodeJpx(ByteView data, unsigned halvings) {
  static constexpr std::array<std::uint8_t, 4> codestream = {0xFF, 0x4F, 0xFF, 0x51};
  const bool bare = data.size() >= 4 && std::equal(codestream.begin(), codestream.end(), data.begin());
  Reader reader{data};
  bool troubled = false;
  const StreamPtr stream(opj_stream_create(1 << 16, OPJ_TRUE));
  const CodecPtr codec(opj_create_decompress(bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
  if (!stream || !codec) return Error{ErrorKind::limit, "JPEG 2000 decoder cannot start"};
  opj_stream_set_user_data(stream.get(), &reader, nullptr);
  opj_stream_set_user_data_length(stream.get(), data.size());
  opj_stream_set_read_function(stream.get(), readBytes);
  opj_stream_set_skip_function(stream.get(), skipRead);
  opj_stream_set_seek_function(stream.get(), seekRead);
  opj_set_info_handler(codec.get(), ignoreMessage, nullptr);
  opj_set_warning_handler(codec.get(), noteMessage, &troubled);
  opj_set_error_handler(codec.get(), noteMessage, &troubled);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  parameters.cp_reduce = halvings;
  if (!opj_setup_decoder(codec.get(), &parameters)) return damaged();
  opj_image_t* made = nullptr;
  const bool headed = opj_read_header(stream.get(), codec.get(), &made);
  const ImagePtr image(made);
  if (!headed || !image) return damaged();

  const unsigned count = image->numcomps;
  if (count != 1 && count != 3 && count != 4)
    return Error{ErrorKind::unsupported, "JPEG 2000 of unusual components"};
  const std::uint32_t width = image->comps[0].w, height = image->comps[0].h;
  if (!fitsPixelLimit(width, height, count * 4, 8))
    return Error{ErrorKind::limit, "JPEG 2000 image larger than the limit"};
  for (unsigned c = 0; c < count; ++c) {
    const opj_image_comp_t& part = image->comps[c];
    if (part.sgnd || part.prec > 8 || part.w != width || part.h != height || part.dx != 1 || part.dy != 1) {
      return Error{ErrorKind::unsupported, "JPEG 2000 of unusual sampling"};
    }
  }
  if (!opj_decode(codec.get(), stream.get(), image.get()) || troubled) return damaged();
  if (image->color_space == OPJ_CLRSPC_SYCC || image->color_space == OPJ_CLRSPC_EYCC ||
      image->numcomps != count) {
    return Error{ErrorKind::unsupported, "JPEG 2000 of unusual colours"};
  }
  for (unsigned c = 0; c < count; ++c) {
    if (image->comps[c].alpha != 0 || image->comps[c].data == nullptr || image->comps[c].w != width ||
        image->comps[c].h != height) {
      return Error{ErrorKind::unsupported, "JPEG 2000 with opacity"};
    }
  }
  Pixels pixels(width, height, count,
                count == 1   ? ColorKind::grey
                : count == 3 ? ColorKind::rgb
                             : ColorKind::cmyk);
  for (unsigned c = 0; c < count; ++c) {
    const int high = (1 << image->comps[c].prec) - 1;
    const OPJ_INT32* in = image->comps[c].data;
    std::uint8_t* out = pixels.samples().data() + c;
    const std::size_t size = pixels.pixelCount();
    if (high == 255) {
      for (std::size_t i = 0; i < size; ++i, out += count) *out = static_cast<std::uint8_t>(std::clamp(in[i], 0, 255));
    } else {
      for (std::size_t i = 0; i < size; ++i, out += count)
        *out = static_cast<std::uint8_t>(std::clamp(in[i], 0, high) * 255 / high);
    }
  }
  return pixels;
}

Result<EncodedImage> encodeJpx(const Pixels& pixels, std::size_t bytes) {
  const unsigned count = pixels.channels();
  if (pixels.bits() != 8 || (count != 1 && count != 3)) {
    return Error{ErrorKind::unsupported, "JPEG 2000 codes 8-bit grey and RGB only"};
  }
  std::array<opj_image_cmptparm_t, 3> parts{};
  for (opj_image_cmptparm_t& part : parts) {
    part.dx = part.dy = 1;
    part.w = pixels.width();
    part.h = pixels.height();
    part.prec = 8;
  }
  const ImagePtr image(opj_image_create(count, parts.data(), count == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
  const CodecPtr codec(opj_create_compress(OPJ_CODEC_JP2));
  const StreamPtr stream(opj_stream_create(1 << 16, OPJ_FALSE));
  if (!image || !codec || !stream) return Error{ErrorKind::limit, "JPEG 2000 encoder cannot start"};
  image->x1 = pixels.width();
  image->y1 = pixels.height();
  for (unsigned c = 0; c < count; ++c) {
    const std::uint8_t* in = pixels.samples().data() + c;
    OPJ_INT32* out = image->comps[c].data;
    for (std::size_t i = 0; i < pixels.pixelCount(); ++i, in += count) out[i] = *in;
  }
  opj_cparameters_t parameters;
  opj_set_default_encoder_parameters(&parameters);
  parameters.tcp_numlayers = 1;
  parameters.cp_disto_alloc = 1;
  parameters.irreversible = bytes > 0;
  parameters.tcp_rates[0] =
      bytes > 0 ? std::max(1.01f, static_cast<float>(pixels.samples().size()) / static_cast<float>(bytes))
                : 0;
  parameters.tcp_mct = count == 3 ? 1 : 0;
  parameters.numresolution = resolutionsFor(std::min(pixels.width(), pixels.height()));
  bool troubled = false;
  opj_set_info_handler(codec.get(), ignoreMessage, nullptr);
  opj_set_warning_handler(codec.get(), ignoreMessage, nullptr);
  opj_set_error_handler(codec.get(), noteMessage, &troubled);
  Writer writer;
  opj_stream_set_user_data(stream.get(), &writer, nullptr);
  opj_stream_set_write_function(stream.get(), writeBytes);
  opj_stream_set_skip_function(stream.get(), skipWrite);
  opj_stream_set_seek_function(stream.get(), seekWrite);
  if (!opj_setup_encoder(codec.get(), &parameters, image.get()) ||
      !opj_start_compress(codec.get(), image.get(), stream.get()) || !opj_encode(codec.get(), stream.get()) ||
      !opj_end_compress(codec.get(), stream.get()) || troubled) {
    return Error{ErrorKind::internal, "JPEG 2000 encoding failed"};
  }
  EncodedImage result;
  result.codec = Codec::jpeg2000;
  result.data = std::move(writer.data);
  result.filter = "JPXDecode";
  result.width = pixels.width();
  result.height = pixels.height();
  result.kind = pixels.kind();
  result.lossless = bytes == 0;
  return result;
}

}  // namespace optimizer
