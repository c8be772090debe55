#include "optimizer/codec/jpeg.h"

#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "optimizer/codec/jpeg_trellis.h"

namespace optimizer {
namespace {

// libjpeg reports a fatal error through longjmp. Every function that sets the jump owns its C++ objects
// outside the code that the jump leaves, so that no destructor is skipped.
struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
  bool damaged = false;
};

void onError(j_common_ptr info) { std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->jump, 1); }

void onMessage(j_common_ptr info, int level) {
  if (level >= 0) return;
  // Bytes between markers and a strange Adobe transform do not change the picture; all else does.
  const int code = info->err->msg_code;
  if (code != JWRN_EXTRANEOUS_DATA && code != JWRN_ADOBE_XFORM && code != JWRN_BOGUS_PROGRESSION) {
    reinterpret_cast<ErrorManager*>(info->err)->damaged = true;
  }
}

void setErrorManager(ErrorManager& errors) {
  jpeg_std_error(&errors.base);
  errors.base.error_exit = onError;
  errors.base.emit_message = onMessage;
}

constexpr long memoryLimit = 192L << 20;

// A progressive file may hold any number of scans over the same pixels; this many is more than encoders make
// and keeps a small hostile file from costing minutes.
constexpr int maxScans = 200;

struct Decompressor {
  jpeg_decompress_struct info{};
  ErrorManager errors{};
  bool ready = false;  // false where even the start failed, as with no data at all

  explicit Decompressor(ByteView data) {
    setErrorManager(errors);
    info.err = &errors.base;
    if (setjmp(errors.jump) != 0) return;
    jpeg_create_decompress(&info);
    info.mem->max_memory_to_use = memoryLimit;
    jpeg_mem_src(&info, data.data(), static_cast<unsigned long>(data.size()));
    ready = true;
  }
  ~Decompressor() { jpeg_destroy_decompress(&info); }
  Decompressor(const Decompressor&) = delete;
  Decompressor& operator=(const Decompressor&) = delete;
};

struct Compressor {
  jpeg_compress_struct info{};
  ErrorManager errors{};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;

  Compressor() {
    setErrorManager(errors);
    info.err = &errors.base;
    if (setjmp(errors.jump) != 0) return;
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &buffer, &size);
  }
  ~Compressor() {
    jpeg_destroy_compress(&info);
    std::free(buffer);
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
  Bytes bytes() const { return Bytes(buffer, buffer + size); }
};

Error failure(const ErrorManager& errors, j_common_ptr info) {
  char text[JMSG_LENGTH_MAX] = "";
  errors.base.format_message(info, text);
  return {ErrorKind::damaged, std::string("JPEG: ") + text};
}

bool readHeader(Decompressor& jpeg) {
  if (!jpeg.ready || setjmp(jpeg.errors.jump) != 0) return false;
  return jpeg_read_header(&jpeg.info, TRUE) == JPEG_HEADER_OK;
}

int estimateQuality(const jpeg_decompress_struct& info) {
  // Table K.1 of ISO/IEC 10918-1 in natural order: what IJG scales by quality.
  static constexpr std::array<int, 64> standard = {
      16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,  //
      14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,  //
      18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,  //
      49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
  const JQUANT_TBL* table =
      info.comp_info != nullptr ? info.quant_tbl_ptrs[info.comp_info[0].quant_tbl_no & 3] : nullptr;
  if (table == nullptr) return 100;
  double scale = 0;
  for (std::size_t i = 0; i < 64; ++i) scale += 100.0 * table->quantval[i] / standard[i];
  scale /= 64;
  const double quality = scale <= 100 ? (200 - scale) / 2 : 5000 / scale;
  return std::clamp(static_cast<int>(quality + 0.5), 1, 100);
}

Result<JpegInfo> checkedInfo(Decompressor& jpeg) {
  if (!readHeader(jpeg)) return failure(jpeg.errors, reinterpret_cast<j_common_ptr>(&jpeg.info));
  const jpeg_decompress_struct& info = jpeg.info;
  JpegInfo found;
  found.width = info.image_width;
  found.height = info.image_height;
  found.components = static_cast<unsigned>(info.num_components);
  found.progressive = info.progressive_mode != FALSE;
  found.quality = estimateQuality(info);
  for (int i = 1; i < info.num_components; ++i) {
    const jpeg_component_info& part = info.comp_info[i];
    if (part.h_samp_factor < info.max_h_samp_factor || part.v_samp_factor < info.max_v_samp_factor) {
      found.chromaSubsampled = true;
    }
  }
  if (found.components != 1 && found.components != 3 && found.components != 4) {
    return Error{ErrorKind::unsupported, "JPEG with an unusual number of components"};
  }
  if (!fitsPixelLimit(found.width, found.height, found.components, 8)) {
    return Error{ErrorKind::limit, "JPEG larger than the limit"};
  }
  return found;
}

// Component names that spell RGB, without any marker: some readers take them at their word, others see YCbCr.
bool leavesColorOpen(const jpeg_decompress_struct& info, std::optional<int> colorTransform) {
  return info.num_components == 3 && info.jpeg_color_space == JCS_RGB && !info.saw_Adobe_marker &&
         !colorTransform;
}

// ISO 32000-1, Table 13: the Adobe marker decides, else /ColorTransform, else the library's own guess.
void chooseColor(jpeg_decompress_struct& info, std::optional<int> colorTransform) {
  if (info.num_components == 3) {
    if (!info.saw_Adobe_marker && colorTransform) {
      info.jpeg_color_space = *colorTransform != 0 ? JCS_YCbCr : JCS_RGB;
    }
    info.out_color_space = JCS_RGB;
  } else if (info.num_components == 4) {
    if (!info.saw_Adobe_marker && colorTransform) {
      info.jpeg_color_space = *colorTransform != 0 ? JCS_YCCK : JCS_CMYK;
    }
    info.out_color_space = JCS_CMYK;
  } else {
    info.jpeg_color_space = info.out_color_space = JCS_GRAYSCALE;
  }
}

bool decodeInto(Decompressor& jpeg, Pixels& pixels) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  jpeg_decompress_struct& info = jpeg.info;
  if (info.progressive_mode) {
    // Feed the scans one by one, so that their number is bounded.
    info.buffered_image = TRUE;
    jpeg_start_decompress(&info);
    while (!jpeg_input_complete(&info)) {
      if (jpeg_consume_input(&info) == JPEG_SUSPENDED) return false;
      if (info.input_scan_number > maxScans) return false;
    }
    jpeg_start_output(&info, info.input_scan_number);
  } else {
    jpeg_start_decompress(&info);
  }
  if (info.output_width != pixels.width() || info.output_height != pixels.height()) return false;
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = pixels.row(info.output_scanline);
    jpeg_read_scanlines(&info, &row, 1);
  }
  if (info.buffered_image) jpeg_finish_output(&info);
  jpeg_finish_decompress(&info);
  return true;
}

// A draft: sequential, with fixed Huffman tables.
bool encodeFrom(Compressor& jpeg, const Pixels& pixels, const JpegOptions& options) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  jpeg_compress_struct& info = jpeg.info;
  info.image_width = pixels.width();
  info.image_height = pixels.height();
  info.input_components = static_cast<int>(pixels.channels());
  info.in_color_space = pixels.channels() == 1 ? JCS_GRAYSCALE : pixels.channels() == 3 ? JCS_RGB : JCS_CMYK;
  jpeg_set_defaults(&info);
  if (pixels.channels() == 4) jpeg_set_colorspace(&info, JCS_YCCK);
  jpeg_set_quality(&info, options.quality, TRUE);
  if (pixels.channels() >= 3) {
    const int factor = options.subsampleChroma ? 2 : 1;
    for (int i = 0; i < info.num_components; ++i) {
      const bool full = i == 0 || i == 3;
      info.comp_info[i].h_samp_factor = info.comp_info[i].v_samp_factor = full ? factor : 1;
    }
  }
  info.write_JFIF_header = FALSE;
  info.dct_method = JDCT_ISLOW;
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(pixels.row(info.next_scanline));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  return true;
}

bool readCoefficients(Decompressor& jpeg, jvirt_barray_ptr*& coefficients) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  coefficients = jpeg_read_coefficients(&jpeg.info);
  return coefficients != nullptr && jpeg.info.input_scan_number <= maxScans;
}

// region: what the picture becomes, empty for all of it.
bool writeCoefficients(Compressor& out, Decompressor& in, jvirt_barray_ptr* coefficients, bool progressive,
                       const JpegRegion& region = {}) {
  if (setjmp(out.errors.jump) != 0) return false;
  // Errors while the source's arrays are read leave through the same jump.
  jpeg_compress_struct& info = out.info;
  jpeg_copy_critical_parameters(&in.info, &info);
  if (region.width != 0) {
    info.image_width = region.width;
    info.image_height = region.height;
  }
  bool plainIds = true;
  for (int i = 0; i < info.num_components; ++i)
    plainIds = plainIds && info.comp_info[i].component_id == i + 1;
  info.write_JFIF_header = plainIds ? FALSE : in.info.saw_JFIF_marker;
  info.write_Adobe_marker = in.info.saw_Adobe_marker;
  info.optimize_coding = TRUE;
  if (progressive) {
    jpeg_simple_progression(&info);
  } else {
    info.scan_info = nullptr;
    info.num_scans = 0;
  }
  jpeg_write_coefficients(&info, coefficients);
  jpeg_finish_compress(&info);
  return true;
}

// Moves the blocks of region to the top left corner of each component.
bool moveBlocks(Decompressor& jpeg, jvirt_barray_ptr* coefficients, const JpegRegion& region,
                std::vector<JCOEF>& line) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  jpeg_decompress_struct& info = jpeg.info;
  const auto common = reinterpret_cast<j_common_ptr>(&info);
  for (int c = 0; c < info.num_components; ++c) {
    const jpeg_component_info& part = info.comp_info[c];
    const JDIMENSION left = region.left / static_cast<JDIMENSION>(8 * info.max_h_samp_factor) *
                            static_cast<JDIMENSION>(part.h_samp_factor);
    const JDIMENSION top = region.top / static_cast<JDIMENSION>(8 * info.max_v_samp_factor) *
                           static_cast<JDIMENSION>(part.v_samp_factor);
    // Whole MCUs: the encoder takes the blocks beyond the picture's edge, too.
    const JDIMENSION mcuWidth = static_cast<JDIMENSION>(8 * info.max_h_samp_factor),
                     mcuHeight = static_cast<JDIMENSION>(8 * info.max_v_samp_factor);
    const JDIMENSION across =
        (region.width + mcuWidth - 1) / mcuWidth * static_cast<JDIMENSION>(part.h_samp_factor);
    const JDIMENSION down =
        (region.height + mcuHeight - 1) / mcuHeight * static_cast<JDIMENSION>(part.v_samp_factor);
    line.resize(std::size_t{across} * DCTSIZE2);
    for (JDIMENSION y = 0; y < down; ++y) {
      JBLOCKARRAY from = info.mem->access_virt_barray(common, coefficients[c], y + top, 1, FALSE);
      std::copy_n(&from[0][left][0], line.size(), line.data());
      JBLOCKARRAY to = info.mem->access_virt_barray(common, coefficients[c], y, 1, TRUE);
      std::copy_n(line.data(), line.size(), &to[0][0][0]);
    }
  }
  return true;
}

bool clearBlocks(Decompressor& jpeg, jvirt_barray_ptr* coefficients, const JpegRegion& region) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  jpeg_decompress_struct& info = jpeg.info;
  for (int c = 0; c < info.num_components; ++c) {
    const jpeg_component_info& part = info.comp_info[c];
    // A block's size in pixels of the picture.
    const double blockWidth = 8.0 * info.max_h_samp_factor / part.h_samp_factor,
                 blockHeight = 8.0 * info.max_v_samp_factor / part.v_samp_factor;
    for (JDIMENSION y = 0; y < part.height_in_blocks; ++y) {
      JBLOCKARRAY row =
          info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info), coefficients[c], y, 1, TRUE);
      const bool rowShows =
          (y + 1) * blockHeight > region.top && y * blockHeight < region.top + region.height;
      for (JDIMENSION x = 0; x < part.width_in_blocks; ++x) {
        if (rowShows && (x + 1) * blockWidth > region.left && x * blockWidth < region.left + region.width)
          continue;
        std::fill_n(row[0][x], DCTSIZE2, JCOEF{0});
      }
    }
  }
  return true;
}

// Below this a sequential file is often the smaller one; above it progressive coding practically always wins.
constexpr std::size_t tryBothBelow = 24 << 10;

}  // namespace

Result<JpegInfo> readJpegInfo(ByteView data) {
  Decompressor jpeg(data);
  return checkedInfo(jpeg);
}

Result<Pixels> decodeJpeg(ByteView data, std::optional<int> colorTransform, unsigned reduce) {
  Decompressor jpeg(data);
  Result<JpegInfo> info = checkedInfo(jpeg);
  if (!info) return info.error();
  if (leavesColorOpen(jpeg.info, colorTransform))
    return Error{ErrorKind::unsupported, "JPEG with its colours left open"};
  chooseColor(jpeg.info, colorTransform);
  const ColorKind kind = info->components == 1   ? ColorKind::grey
                         : info->components == 3 ? ColorKind::rgb
                                                 : ColorKind::cmyk;
  jpeg.info.scale_num = 1;
  jpeg.info.scale_denom = reduce;
  Pixels pixels((info->width + reduce - 1) / reduce, (info->height + reduce - 1) / reduce, info->components,
                kind);
  if (!decodeInto(jpeg, pixels)) return failure(jpeg.errors, reinterpret_cast<j_common_ptr>(&jpeg.info));
  if (jpeg.errors.damaged) return Error{ErrorKind::damaged, "JPEG data is damaged"};
  return pixels;
}

Result<EncodedImage> encodeJpeg(const Pixels& pixels, const JpegOptions& options) {
  if (pixels.bits() != 8 || (pixels.channels() != 1 && pixels.channels() != 3 && pixels.channels() != 4)) {
    return Error{ErrorKind::unsupported, "JPEG codes 8-bit grey, RGB and CMYK only"};
  }
  EncodedImage image;
  image.codec = Codec::jpeg;
  image.filter = "DCTDecode";
  image.width = pixels.width();
  image.height = pixels.height();
  image.kind = pixels.kind();
  image.lossless = false;
  if (!options.draft) {
    Result<Bytes> data = encodeTrellisJpeg(
        pixels, {options.quality, options.subsampleChroma ? ChromaSampling::quarter : ChromaSampling::full});
    if (!data) return data.error();
    image.data = std::move(*data);
    return image;
  }
  // Without a marker three components are YCbCr to every reader; four are not, and the Adobe marker says
  // YCCK.
  Compressor jpeg;
  if (!encodeFrom(jpeg, pixels, options)) {
    return failure(jpeg.errors, reinterpret_cast<j_common_ptr>(&jpeg.info));
  }
  image.data = jpeg.bytes();
  return image;
}

Result<Bytes> cropJpeg(ByteView data, const JpegRegion& region) {
  Decompressor source(data);
  Result<JpegInfo> info = checkedInfo(source);
  if (!info) return info.error();
  if (region.left % static_cast<std::uint32_t>(8 * source.info.max_h_samp_factor) != 0 ||
      region.top % static_cast<std::uint32_t>(8 * source.info.max_v_samp_factor) != 0 || region.width == 0 ||
      region.height == 0 || std::uint64_t{region.left} + region.width > info->width ||
      std::uint64_t{region.top} + region.height > info->height) {
    return Error{ErrorKind::unsupported, "JPEG can be cut at its blocks only"};
  }
  jvirt_barray_ptr* coefficients = nullptr;
  std::vector<JCOEF> line;
  if (!readCoefficients(source, coefficients) || source.errors.damaged ||
      !moveBlocks(source, coefficients, region, line)) {
    return Error{ErrorKind::damaged, "JPEG data is damaged"};
  }
  Compressor out;
  if (!writeCoefficients(out, source, coefficients, true, region)) {
    return failure(out.errors, reinterpret_cast<j_common_ptr>(&out.info));
  }
  return out.bytes();
}

Result<Bytes> blankJpeg(ByteView data, const JpegRegion& region) {
  Decompressor source(data);
  Result<JpegInfo> info = checkedInfo(source);
  if (!info) return info.error();
  jvirt_barray_ptr* coefficients = nullptr;
  if (!readCoefficients(source, coefficients) || source.errors.damaged ||
      !clearBlocks(source, coefficients, region)) {
    return Error{ErrorKind::damaged, "JPEG data is damaged"};
  }
  Compressor out;
  if (!writeCoefficients(out, source, coefficients, true)) {
    return failure(out.errors, reinterpret_cast<j_common_ptr>(&out.info));
  }
  return out.bytes();
}

Result<Bytes> optimizeJpeg(ByteView data) {
  Decompressor source(data);
  Result<JpegInfo> info = checkedInfo(source);
  if (!info) return info.error();
  jvirt_barray_ptr* coefficients = nullptr;
  if (!readCoefficients(source, coefficients)) {
    return failure(source.errors, reinterpret_cast<j_common_ptr>(&source.info));
  }
  if (source.errors.damaged) return Error{ErrorKind::damaged, "JPEG data is damaged"};
  Compressor first;
  if (!writeCoefficients(first, source, coefficients, true)) {
    return failure(first.errors, reinterpret_cast<j_common_ptr>(&first.info));
  }
  Bytes best = first.bytes();
  if (best.size() < tryBothBelow) {
    Compressor second;
    if (writeCoefficients(second, source, coefficients, false) && second.size < best.size())
      best = second.bytes();
  }
  return best;
}

}  // namespace optimizer
