#include "optimizer/image/decode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <type_traits>
#include <vector>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"
#include "optimizer/codec/bitonal_codec.h"
#include "optimizer/codec/ccitt.h"
#include "optimizer/codec/jbig2_decoder.h"
#include "optimizer/codec/jpeg.h"
#include "optimizer/codec/jpx.h"

namespace optimizer {
namespace {

// Rows of stored samples, one after the other, from raw or Flate data.
Status eachRow(const ImageSource& source, const std::function<void(const std::uint8_t*)>& sink) {
  const std::size_t rowBytes = source.rowBytes();
  if (source.coding == ImageCoding::flate) {
    return inflateRows(source.data, source.flate, rowBytes, source.height, sink);
  }
  if (source.coding != ImageCoding::raw) return Error{ErrorKind::unsupported, "no samples to be had"};
  if (source.data.size() < rowBytes * source.height)
    return Error{ErrorKind::damaged, "image data ends early"};
  for (std::uint32_t y = 0; y < source.height; ++y) sink(source.data.data() + rowBytes * y);
  return {};
}

// For each component and stored value (its high byte where it has 16 bits) the 8-bit sample after the Decode
// array.
std::vector<std::array<std::uint8_t, 256>> decodeTables(const ImageSource& source) {
  const unsigned bits = std::min(source.bits, 8u), high = (1u << bits) - 1;
  std::vector<std::array<std::uint8_t, 256>> tables(source.color.components);
  for (unsigned c = 0; c < source.color.components; ++c) {
    for (unsigned value = 0; value < 256; ++value) {
      const unsigned v = std::min(value, high);
      if (source.color.kind == ColorKind::indexed) {
        double index = v;
        if (!source.plainDecode()) {
          index = source.decode[2 * c] + v * (source.decode[2 * c + 1] - source.decode[2 * c]) / high;
        }
        tables[c][value] = static_cast<std::uint8_t>(std::lround(std::clamp(index, 0.0, 255.0)));
      } else {
        const double low = source.plainDecode() ? 0 : source.decode[2 * c];
        const double top = source.plainDecode() ? 1 : source.decode[2 * c + 1];
        const double sample = 255 * (low + v * (top - low) / high);
        tables[c][value] = static_cast<std::uint8_t>(std::lround(std::clamp(sample, 0.0, 255.0)));
      }
    }
  }
  return tables;
}

void unpackRow(const ImageSource& source, const std::vector<std::array<std::uint8_t, 256>>& tables,
               const std::uint8_t* row, std::uint8_t* out) {
  const unsigned components = source.color.components;
  const std::size_t count = std::size_t{source.width} * components;
  if (source.bits >= 8) {
    const std::size_t step = source.bits / 8;
    if (source.plainDecode() && step == 1) {
      std::memcpy(out, row, count);
      return;
    }
    for (std::size_t i = 0, c = 0; i < count; ++i) {
      out[i] = tables[c][row[i * step]];
      if (++c == components) c = 0;
    }
    return;
  }
  const unsigned mask = (1u << source.bits) - 1;
  for (std::size_t i = 0, c = 0, at = 0; i < count; ++i, at += source.bits) {
    const unsigned value = (row[at >> 3] >> (8 - source.bits - (at & 7))) & mask;
    out[i] = tables[c][value];
    if (++c == components) c = 0;
  }
}

Result<Pixels> decodeBitonal(const ImageSource& source) {
  Pixels pixels(source.width, source.height, 1, ColorKind::grey, 1);
  const std::uint8_t flip = source.plainDecode() ? 0x00 : 0xFF;
  const auto tail = static_cast<std::uint8_t>(source.width % 8 == 0 ? 0xFF : 0xFF << (8 - source.width % 8));
  std::uint32_t y = 0;
  OPTIMIZER_TRY(eachRow(source, [&](const std::uint8_t* row) {
    std::uint8_t* out = pixels.row(y++);
    for (std::size_t i = 0; i < pixels.stride(); ++i) out[i] = static_cast<std::uint8_t>(row[i] ^ flip);
    out[pixels.stride() - 1] &= tail;
  }));
  return pixels;
}

// Averages blocks of reduce x reduce pixels while the rows come in.
Result<Pixels> decodeReduced(const ImageSource& source, std::uint32_t reduce) {
  const unsigned components = source.color.components;
  const std::uint32_t width = (source.width + reduce - 1) / reduce,
                      height = (source.height + reduce - 1) / reduce;
  Pixels pixels(width, height, components, source.color.kind);
  const auto tables = decodeTables(source);
  Bytes line(std::size_t{source.width} * components);
  // Of each column over the rows held: at most 255 of 255 each.
  std::vector<std::uint16_t> columns(line.size());
  std::uint32_t y = 0, held = 0;
  const auto flush = [&] {
    std::uint8_t* out = pixels.row((y - 1) / reduce);
    const std::uint16_t* in = columns.data();
    for (std::uint32_t x = 0; x < width; ++x) {
      const std::uint32_t across = std::min(reduce, source.width - x * reduce), area = across * held;
      for (unsigned c = 0; c < components; ++c) {
        std::uint32_t sum = area / 2;
        for (std::uint32_t i = 0; i < across; ++i) sum += in[std::size_t{i} * components + c];
        *out++ = static_cast<std::uint8_t>(sum / area);
      }
      in += std::size_t{across} * components;
    }
    std::fill(columns.begin(), columns.end(), std::uint16_t{0});
    held = 0;
  };
  OPTIMIZER_TRY(eachRow(source, [&](const std::uint8_t* row) {
    unpackRow(source, tables, row, line.data());
    vectorised([&]() OPTIMIZER_LOOP {
      const std::uint8_t* in = line.data();
      std::uint16_t* to = columns.data();
      const std::size_t n = line.size();
      for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<std::uint16_t>(to[i] + in[i]);
    });
    ++y;
    if (++held == reduce || y == source.height) flush();
  }));
  return pixels;
}

Result<Pixels> decodeBlackAndWhite(const ImageSource& source) {
  const std::size_t limit = maxImageBytes * 8;
  Result<Bitonal> picture = Bitonal{};
  if (source.coding == ImageCoding::ccitt) {
    CcittParams params;
    params.k = source.ccitt.k;
    params.encodedByteAlign = source.ccitt.byteAlign;
    params.endOfLine = source.ccitt.endOfLine;
    params.endOfBlock = source.ccitt.endOfBlock;
    params.columns = static_cast<int>(source.ccitt.columns);
    params.rows = static_cast<int>(source.ccitt.rows != 0 ? source.ccitt.rows : source.height);
    if (source.ccitt.columns != source.width)
      return Error{ErrorKind::unsupported, "columns and width disagree"};
    picture = decodeCcitt(source.data, params, limit);
  } else {
    picture = decodeJbig2(source.data, source.jbig2Globals, limit);
  }
  if (!picture) return picture.error();
  if (picture->width != static_cast<int>(source.width) ||
      picture->height != static_cast<int>(source.height)) {
    return Error{ErrorKind::unsupported, "image dictionary and image data disagree"};
  }
  Pixels pixels = pixelsOf(*picture);
  if (source.coding == ImageCoding::ccitt && source.ccitt.blackIs1) pixels = inverted(std::move(pixels));
  if (source.color.kind == ColorKind::grey && (source.plainDecode() || source.invertedDecode())) {
    return source.plainDecode() ? std::move(pixels) : inverted(std::move(pixels));
  }
  if (source.color.components != 1)
    return Error{ErrorKind::unsupported, "bitonal data of several components"};
  const auto tables = decodeTables(source);
  Pixels samples = expandTo8Bits(pixels);
  for (std::uint8_t& sample : samples.samples()) sample = tables[0][sample & 1];
  samples.setKind(source.color.kind);
  return samples;
}

void applyDecode(const ImageSource& source, Pixels& pixels) {
  if (source.plainDecode()) return;
  const auto tables = decodeTables(source);
  std::size_t c = 0;
  for (std::uint8_t& sample : pixels.samples()) {
    sample = tables[c][sample];
    if (++c == pixels.channels()) c = 0;
  }
}

// Bytes of pixels from which on a JPEG is reduced while it is decoded.
constexpr std::size_t largeJpeg = std::size_t{16} << 20;

// The image dictionary and the data inside must agree, else viewers differ in what they show.
Result<Pixels> checked(const ImageSource& source, Result<Pixels> pixels, unsigned reduce = 1) {
  if (!pixels) return pixels;
  if (pixels->width() != (source.width + reduce - 1) / reduce ||
      pixels->height() != (source.height + reduce - 1) / reduce ||
      pixels->channels() != source.color.components) {
    return Error{ErrorKind::unsupported, "image dictionary and image data disagree"};
  }
  pixels->setKind(source.color.kind);
  applyDecode(source, *pixels);
  return pixels;
}

}  // namespace

std::size_t decodedBytes(const ImageSource& source) {
  if (source.bits == 1 && source.color.components == 1) return source.rowBytes() * source.height;
  return std::size_t{source.width} * source.height * source.color.components;
}

Result<Pixels> decodeImage(const ImageSource& source, std::uint32_t reduce) {
  if (source.color.lab && !source.plainDecode())
    return Error{ErrorKind::unsupported, "Decode array over Lab"};
  const bool bitonal = source.bits == 1 && source.color.kind == ColorKind::grey &&
                       (source.plainDecode() || source.invertedDecode());
  const bool sampled = source.coding == ImageCoding::raw || source.coding == ImageCoding::flate;
  const bool whole = fitsPixelLimit(source.width, source.height, source.color.components, bitonal ? 1 : 8);
  const bool large = decodedBytes(source) > (std::size_t{48} << 20);
  if (sampled && reduce > 1 && (large || !whole) && !bitonal && source.color.kind != ColorKind::indexed &&
      reduce <= 255) {
    return decodeReduced(source, reduce);
  }
  if (!whole) return Error{ErrorKind::limit, "image larger than the limit"};
  switch (source.coding) {
    case ImageCoding::raw:
    case ImageCoding::flate: {
      if (bitonal) return decodeBitonal(source);
      Pixels pixels(source.width, source.height, source.color.components, source.color.kind);
      const auto tables = decodeTables(source);
      std::uint32_t y = 0;
      OPTIMIZER_TRY(
          eachRow(source, [&](const std::uint8_t* row) { unpackRow(source, tables, row, pixels.row(y++)); }));
      return pixels;
    }
    case ImageCoding::jpeg:
      if (reduce > 1 && decodedBytes(source) > largeJpeg && source.color.kind != ColorKind::indexed) {
        // Powers of two that leave at least what is asked for.
        const unsigned scale = reduce >= 8 ? 8 : reduce >= 4 ? 4 : 2;
        return checked(source, decodeJpeg(source.data, source.colorTransform, scale), scale);
      }
      return checked(source, decodeJpeg(source.data, source.colorTransform));
    case ImageCoding::jpx:
      return checked(source, decodeJpx(source.data));
    case ImageCoding::ccitt:
    case ImageCoding::jbig2:
      return decodeBlackAndWhite(source);
  }
  return Error{ErrorKind::unsupported, "no decoder for this image"};
}

Result<PackedSamples> decodeSamples(const ImageSource& source) {
  if (source.rowBytes() * source.height > maxImageBytes)
    return Error{ErrorKind::limit, "image larger than the limit"};
  PackedSamples packed{source.width,
                       source.height,
                       source.color.components,
                       source.bits,
                       source.color.kind,
                       source.rowBytes(),
                       {}};
  packed.samples.reserve(packed.stride * packed.height);
  OPTIMIZER_TRY(eachRow(source, [&](const std::uint8_t* row) {
    packed.samples.insert(packed.samples.end(), row, row + packed.stride);
  }));
  return packed;
}

Pixels applyPalette(const Pixels& indexes, const ImageColorSpace& space) {
  const unsigned channels = space.baseComponents;
  Pixels colors(indexes.width(), indexes.height(), channels, space.baseKind);
  const std::size_t last = space.palette.size() / channels - 1;
  constexpr std::size_t enough = 128 << 10;  // pixels that are worth a thread's while
  inParts(0, indexes.height(), 1 + enough / std::max(1u, indexes.width()), [&](std::size_t begin, std::size_t end) {
    const auto paint = [&](auto n) {
      for (auto y = static_cast<std::uint32_t>(begin); y < end; ++y) {
        const std::uint8_t* in = indexes.row(y);
        std::uint8_t* out = colors.row(y);
        for (std::uint32_t x = 0; x < indexes.width(); ++x, out += n)
          std::memcpy(out, space.palette.data() + std::min<std::size_t>(in[x], last) * n, n);
      }
    };
    if (channels == 3) {
      paint(std::integral_constant<unsigned, 3>());  // a copy of known length takes no call
    } else {
      paint(channels);
    }
  });
  return colors;
}

}  // namespace optimizer
