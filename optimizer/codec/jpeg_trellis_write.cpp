#include "optimizer/codec/jpeg_trellis_write.h"

#include <jpeglib.h>

#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "optimizer/base/pool.h"

namespace optimizer::jpegtrellis {

namespace {

struct ErrorManager {
  jpeg_error_mgr base;
  std::jmp_buf jump;
};

void onError(j_common_ptr info) { std::longjmp(reinterpret_cast<ErrorManager*>(info->err)->jump, 1); }
void onMessage(j_common_ptr, int) {}

struct Compressor {
  jpeg_compress_struct info{};
  ErrorManager errors{};
  unsigned char* buffer = nullptr;
  unsigned long size = 0;

  Compressor() {
    info.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = onError;
    errors.base.emit_message = onMessage;
  }
  ~Compressor() {
    jpeg_destroy_compress(&info);
    std::free(buffer);
  }
  Compressor(const Compressor&) = delete;
  Compressor& operator=(const Compressor&) = delete;
};

using Scans = std::vector<jpeg_scan_info>;

jpeg_scan_info scan(int component, int from, int to, int high, int low) {
  return {1, {component, 0, 0, 0}, from, to, high, low};
}

// Which progressive scans: how many of the lowest bits of the values come in scans of their own (ISO/IEC
// 10918-1, G.1.2), for DC, luma and chroma.
struct Script {
  int dc, luma, chroma;
};
constexpr Script scripts[] = {{0, 0, 0}, {0, 1, 0}, {1, 2, 1}};

// DC of all components together, then each component's AC in the bands that the rate model knows, chroma's in
// one.
Scans scansOf(const std::vector<Component>& components, const Script& script) {
  Scans scans;
  jpeg_scan_info dc{};
  int count = dc.comps_in_scan = static_cast<int>(components.size());
  for (int i = 0; i < count; ++i) dc.component_index[i] = i;
  dc.Al = script.dc;
  scans.push_back(dc);
  auto low = [&](int i) {
    return components[static_cast<std::size_t>(i)].chroma ? script.chroma : script.luma;
  };
  for (int i = 0; i < count; ++i) {
    if (components[static_cast<std::size_t>(i)].chroma) {
      scans.push_back(scan(i, 1, 63, 0, low(i)));
    } else {
      scans.push_back(scan(i, 1, RateModel::bandEnd[0], 0, low(i)));
      scans.push_back(scan(i, RateModel::bandEnd[0] + 1, 63, 0, low(i)));
    }
  }
  for (int bit = 2; bit > 0; --bit)
    for (int i = 0; i < count; ++i)
      if (low(i) >= bit) scans.push_back(scan(i, 1, 63, bit, bit - 1));
  if (script.dc) {
    dc.Ah = 1;
    dc.Al = 0;
    scans.push_back(dc);
  }
  return scans;
}

void setTable(jpeg_compress_struct& info, int slot, const QuantTable& table) {
  unsigned int values[64];
  for (std::size_t i = 0; i < 64; ++i) values[i] = table[i];
  jpeg_add_quant_table(&info, slot, values, 100, TRUE);
}

// libjpeg stores each component's blocks padded to whole MCUs, as ours are.
bool write(Compressor& jpeg, int width, int height, const std::vector<Component>& components,
           const QuantTable& luma, const QuantTable& chroma, const Scans& scans) {
  if (setjmp(jpeg.errors.jump) != 0) return false;
  jpeg_compress_struct& info = jpeg.info;
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &jpeg.buffer, &jpeg.size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = static_cast<int>(components.size());
  info.in_color_space = components.size() == 1   ? JCS_GRAYSCALE
                        : components.size() == 3 ? JCS_YCbCr
                                                 : JCS_YCCK;
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, info.in_color_space);
  info.write_JFIF_header = FALSE;
  info.optimize_coding = TRUE;
  setTable(info, 0, luma);
  if (components.size() > 1) setTable(info, 1, chroma);
  jvirt_barray_ptr arrays[4];
  for (std::size_t i = 0; i < components.size(); ++i) {
    const Component& c = components[i];
    info.comp_info[i].h_samp_factor = c.h;
    info.comp_info[i].v_samp_factor = c.v;
    info.comp_info[i].quant_tbl_no = info.comp_info[i].dc_tbl_no = info.comp_info[i].ac_tbl_no =
        c.chroma ? 1 : 0;
    arrays[i] = info.mem->request_virt_barray(
        reinterpret_cast<j_common_ptr>(&info), JPOOL_IMAGE, TRUE, static_cast<JDIMENSION>(c.blocksWide),
        static_cast<JDIMENSION>(c.blocksHigh), static_cast<JDIMENSION>(c.v));
  }
  if (!scans.empty()) {
    info.scan_info = scans.data();
    info.num_scans = static_cast<int>(scans.size());
  }
  jpeg_write_coefficients(&info, arrays);
  for (std::size_t i = 0; i < components.size(); ++i) {
    const Component& c = components[i];
    for (int y = 0; y < c.blocksHigh; ++y) {
      JBLOCKARRAY rows = info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info), arrays[i],
                                                      static_cast<JDIMENSION>(y), 1, TRUE);
      static_assert(sizeof(JBLOCK) == sizeof(Quantized));
      std::memcpy(rows[0],
                  c.blocks.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(c.blocksWide),
                  static_cast<std::size_t>(c.blocksWide) * sizeof(Quantized));
    }
  }
  jpeg_finish_compress(&info);
  return true;
}

constexpr std::size_t smallFile = 24 << 10;
// From here on the first two are tried beside each other.
constexpr std::size_t manyBlocks = 4096;

}  // namespace

Result<Bytes> writeJpeg(int width, int height, const std::vector<Component>& components,
                        const QuantTable& luma, const QuantTable& chroma) {
  // Empty where it fails.
  const auto written = [&](const Scans& scans) {
    Compressor jpeg;
    const bool done = write(jpeg, width, height, components, luma, chroma, scans);
    return done ? Bytes(jpeg.buffer, jpeg.buffer + jpeg.size) : Bytes();
  };
  // Each way to write takes about as long as quantising did. More scans gain in large files only, and where the
  // first few more do not, further ones do not; without progression there are fewer headers and tables, which
  // tells in small files only.
  Bytes best, next;
  const bool large = components[0].blocks.size() >= manyBlocks;
  inParallel([&] { best = written(scansOf(components, scripts[0])); },
             [&] { if (large) next = written(scansOf(components, scripts[1])); });
  if (best.empty() || (large && next.empty()))
    return Error{ErrorKind::internal, "JPEG coefficients could not be written"};
  std::size_t script = large ? 2 : 1;
  if (!large && best.size() < smallFile) {
    next = written({});
    script = std::size(scripts);
  } else if (!large) {
    next = written(scansOf(components, scripts[script++]));
  }
  while (!next.empty() && next.size() < best.size()) {
    best = std::move(next);
    next.clear();
    if (script < std::size(scripts)) next = written(scansOf(components, scripts[script++]));
  }
  return best;
}

}  // namespace optimizer::jpegtrellis
