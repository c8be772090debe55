#include "optimizer/codec/flate.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "optimizer/base/deflate.h"
#include "optimizer/base/pool.h"

namespace optimizer {
namespace {

enum class RowFilter : std::uint8_t { none = 0, sub = 1, up = 2, average = 3, paeth = 4 };

std::uint8_t paeth(int left, int up, int corner) {
  const int toLeft = std::abs(up - corner), toUp = std::abs(left - corner),
            toCorner = std::abs(left + up - 2 * corner);
  if (toLeft <= toUp && toLeft <= toCorner) return static_cast<std::uint8_t>(left);
  return static_cast<std::uint8_t>(toUp <= toCorner ? up : corner);
}

// Undoes one PNG-filtered row in place (ISO/IEC 15948, 9.2). previous is the finished row above, all zero for
// the first.
bool unfilter(std::uint8_t filter, std::uint8_t* row, const std::uint8_t* previous, std::size_t length,
              std::size_t pixel) {
  switch (filter) {
    case 0:
      return true;
    case 1:
      for (std::size_t i = pixel; i < length; ++i)
        row[i] = static_cast<std::uint8_t>(row[i] + row[i - pixel]);
      return true;
    case 2:
      for (std::size_t i = 0; i < length; ++i) row[i] = static_cast<std::uint8_t>(row[i] + previous[i]);
      return true;
    case 3:
      for (std::size_t i = 0; i < length; ++i) {
        const unsigned left = i >= pixel ? row[i - pixel] : 0;
        row[i] = static_cast<std::uint8_t>(row[i] + (left + previous[i]) / 2);
      }
      return true;
    case 4:
      for (std::size_t i = 0; i < length; ++i) {
        const int left = i >= pixel ? row[i - pixel] : 0, corner = i >= pixel ? previous[i - pixel] : 0;
        row[i] = static_cast<std::uint8_t>(row[i] + paeth(left, previous[i], corner));
      }
      return true;
    default:
      return false;
  }
}

// Undoes the TIFF predictor (TIFF 6.0, section 14) for 8- and 16-bit components.
bool untiff(std::uint8_t* row, std::size_t length, unsigned colors, unsigned bits) {
  if (bits == 8) {
    for (std::size_t i = colors; i < length; ++i)
      row[i] = static_cast<std::uint8_t>(row[i] + row[i - colors]);
    return true;
  }
  if (bits == 16) {
    for (std::size_t i = 2 * std::size_t{colors}; i + 1 < length; i += 2) {
      const std::size_t before = i - 2 * std::size_t{colors};
      const unsigned sum = (row[i] << 8 | row[i + 1]) + (row[before] << 8 | row[before + 1]);
      row[i] = static_cast<std::uint8_t>(sum >> 8);
      row[i + 1] = static_cast<std::uint8_t>(sum);
    }
    return true;
  }
  return false;
}

void filterRow(RowFilter filter, const std::uint8_t* row, const std::uint8_t* up, std::size_t length,
               std::size_t pixel, std::uint8_t* out) {
  switch (filter) {
    case RowFilter::none:
      std::memcpy(out, row, length);
      break;
    case RowFilter::sub:
      std::memcpy(out, row, std::min(pixel, length));
      for (std::size_t i = pixel; i < length; ++i)
        out[i] = static_cast<std::uint8_t>(row[i] - row[i - pixel]);
      break;
    case RowFilter::up:
      for (std::size_t i = 0; i < length; ++i) out[i] = static_cast<std::uint8_t>(row[i] - up[i]);
      break;
    case RowFilter::average:
      for (std::size_t i = 0; i < length; ++i) {
        const unsigned left = i >= pixel ? row[i - pixel] : 0;
        out[i] = static_cast<std::uint8_t>(row[i] - (left + up[i]) / 2);
      }
      break;
    case RowFilter::paeth:
      for (std::size_t i = 0; i < length; ++i) {
        const int left = i >= pixel ? row[i - pixel] : 0, corner = i >= pixel ? up[i - pixel] : 0;
        out[i] = static_cast<std::uint8_t>(row[i] - paeth(left, up[i], corner));
      }
      break;
  }
}

std::uint64_t magnitude(const std::uint8_t* row, std::size_t length) {
  std::uint64_t sum = 0;
  for (std::size_t i = 0; i < length; ++i) sum += row[i] < 128 ? row[i] : 256u - row[i];
  return sum;
}

// The rows with a filter byte each. One filter for all of them, or the one of least magnitude for each row.
Bytes filterRows(const PackedSamples& image, std::size_t pixel, const RowFilter* fixed) {
  const std::size_t stride = image.stride;
  Bytes out((stride + 1) * image.height);
  const Bytes zero(stride);
  Bytes trial(stride);
  for (std::uint32_t y = 0; y < image.height; ++y) {
    const std::uint8_t* row = image.samples.data() + stride * y;
    const std::uint8_t* up = y > 0 ? row - stride : zero.data();
    std::uint8_t* to = out.data() + (stride + 1) * y;
    if (fixed != nullptr) {
      to[0] = static_cast<std::uint8_t>(*fixed);
      filterRow(*fixed, row, up, stride, pixel, to + 1);
      continue;
    }
    std::uint64_t best = ~std::uint64_t{0};
    for (RowFilter filter :
         {RowFilter::none, RowFilter::sub, RowFilter::up, RowFilter::average, RowFilter::paeth}) {
      filterRow(filter, row, up, stride, pixel, trial.data());
      const std::uint64_t size = magnitude(trial.data(), stride);
      if (size >= best) continue;
      best = size;
      to[0] = static_cast<std::uint8_t>(filter);
      std::memcpy(to + 1, trial.data(), stride);
    }
  }
  return out;
}

// The bytes of a zlib stream one part after the other.
class Inflated {
 public:
  // bytes: how many there should be, or 0 where that is not known.
  Inflated(ByteView coded, std::size_t bytes) {
    constexpr std::size_t mostAtOnce = std::size_t{32} << 20;
    if (bytes > 0 && bytes <= mostAtOnce) whole_ = inflateExactly(coded, bytes);
    if (!whole_.empty()) return;
    if (inflateInit(&stream_) != Z_OK) throw std::bad_alloc();
    closing_.reset(&stream_);
    // What the checksum would tell comes after the last row.
    inflateValidate(&stream_, 0);
    stream_.next_in = const_cast<Bytef*>(coded.data());
    stream_.avail_in = static_cast<uInt>(std::min<std::size_t>(coded.size(), 0xFFFFFFFF));
  }

  // False where there are fewer.
  bool read(std::uint8_t* to, std::size_t bytes) {
    if (!whole_.empty()) {
      if (bytes > whole_.size() - at_) return false;
      std::memcpy(to, whole_.data() + at_, bytes);
      at_ += bytes;
      return true;
    }
    stream_.next_out = to;
    stream_.avail_out = static_cast<uInt>(bytes);
    while (stream_.avail_out > 0) {
      const int code = inflate(&stream_, Z_NO_FLUSH);
      if (code == Z_STREAM_END || (code != Z_OK && stream_.avail_out > 0)) break;
    }
    return stream_.avail_out == 0;
  }

 private:
  Bytes whole_;
  std::size_t at_ = 0;
  z_stream stream_{};
  std::unique_ptr<z_stream, int (*)(z_stream*)> closing_{nullptr, inflateEnd};
};

// Rows for the choice of a filter: all of a small image, evenly spaced bands of a large one.
PackedSamples sampleRows(const PackedSamples& image) {
  constexpr std::size_t enough = 384 << 10;
  constexpr std::uint32_t wanted = 12;  // bands: a few would miss what stands between them
  if (image.samples.size() <= enough) return image;
  const auto rowsOfAll = static_cast<std::uint32_t>(enough / image.stride);
  const std::uint32_t band = std::clamp(rowsOfAll / wanted, 3u, 16u);
  const std::uint32_t bands = std::clamp(rowsOfAll / band, 1u, std::max(1u, image.height / band));
  PackedSamples part = image;
  part.samples.clear();
  part.height = 0;
  for (std::uint32_t i = 0; i < bands; ++i) {
    const auto top = static_cast<std::uint32_t>(std::uint64_t{image.height} * i / bands);
    const std::uint32_t rows = std::min(band, image.height - top);
    const auto from = image.samples.begin() + static_cast<std::ptrdiff_t>(image.stride * top);
    part.samples.insert(part.samples.end(), from, from + static_cast<std::ptrdiff_t>(image.stride * rows));
    part.height += rows;
  }
  return part;
}

std::size_t pixelBytes(const PackedSamples& image) {
  return std::max<std::size_t>(1, std::size_t{image.channels} * image.bits / 8);
}

Bytes rowsWith(const PackedSamples& image, std::size_t pixel, int choice) {
  const auto filter = static_cast<RowFilter>(choice);
  return filterRows(image, pixel, choice == 5 ? nullptr : &filter);
}

// The strongest levels take seconds for each megabyte and gain a hundredth or two.
int mostEffortFor(std::size_t bytes) {
  return bytes <= (std::size_t{64} << 10)    ? kStrongestDeflate
         : bytes <= (std::size_t{768} << 10) ? kStrongestDeflate - 1
         : bytes <= (std::size_t{4} << 20)   ? 10
                                             : 9;
}

}  // namespace

Status inflateRows(ByteView data, const FlateParms& parms, std::size_t rowBytes, std::uint32_t rows,
                   const std::function<void(const std::uint8_t* row)>& sink) {
  const bool predicted = parms.predictor > 1, png = parms.predictor >= 10;
  if (predicted && (parms.colors == 0 || parms.colors > 32 || parms.bits == 0 || parms.bits > 16 ||
                    parms.columns == 0 || parms.columns > maxImageSide * 8)) {
    return Error{ErrorKind::damaged, "impossible predictor parameters"};
  }
  const std::size_t line =
      predicted ? (std::size_t{parms.columns} * parms.colors * parms.bits + 7) / 8 : rowBytes;
  const std::size_t pixel = std::max<std::size_t>(1, std::size_t{parms.colors} * parms.bits / 8);
  if (predicted && !png && parms.bits != 8 && parms.bits != 16) {
    return Error{ErrorKind::unsupported, "TIFF predictor on packed samples"};
  }
  const std::size_t step = line + (png ? 1 : 0);
  Inflated plain(data, line == rowBytes ? step * rows : 0);
  Bytes current(line + 1), previous(line + 1), image(rowBytes);
  std::size_t filled = 0;  // of `image`, where the predictor's rows and the image's differ
  std::uint32_t delivered = 0;
  while (delivered < rows) {
    if (!plain.read(current.data() + (png ? 0 : 1), step))
      return Error{ErrorKind::damaged, "image data ends early"};
    std::uint8_t* row = current.data() + 1;
    if (png && !unfilter(current[0], row, previous.data() + 1, line, pixel)) {
      return Error{ErrorKind::damaged, "unknown row filter"};
    }
    if (predicted && !png && !untiff(row, line, parms.colors, parms.bits)) {
      return Error{ErrorKind::unsupported, "TIFF predictor on packed samples"};
    }
    if (line == rowBytes) {
      sink(row);
      ++delivered;
    } else {
      for (std::size_t used = 0; used < line && delivered < rows;) {
        const std::size_t take = std::min(line - used, rowBytes - filled);
        std::memcpy(image.data() + filled, row + used, take);
        used += take;
        filled += take;
        if (filled == rowBytes) {
          sink(image.data());
          ++delivered;
          filled = 0;
        }
      }
    }
    std::swap(current, previous);
  }
  return {};
}

FlateDraft draftFlate(const PackedSamples& image) {
  const std::size_t pixel = pixelBytes(image);
  const PackedSamples part = sampleRows(image);
  constexpr int quick = 5;
  FlateDraft draft;
  // The order breaks ties. Packed pixels and palette indexes seldom gain from arithmetic on their values; Up
  // and Sub find repeats.
  constexpr std::array<int, 6> filters = {-1, 2, 1, 4, 5, 3};
  const std::size_t count = image.bits < 8 || image.kind == ColorKind::indexed ? 3 : filters.size();
  std::array<std::size_t, filters.size()> sizes{};
  inParts(0, count, 1, [&](std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end; ++i)
      sizes[i] =
          (i == 0 ? deflate(part.samples, quick) : deflate(rowsWith(part, pixel, filters[i]), quick)).size();
  });
  const auto best = static_cast<std::size_t>(
      std::min_element(sizes.begin(), sizes.begin() + static_cast<std::ptrdiff_t>(count)) - sizes.begin());
  const std::size_t least = sizes[best];
  draft.filter = filters[best];
  draft.estimate = static_cast<std::size_t>(static_cast<double>(least) * image.height / part.height);
  return draft;
}

EncodedImage encodeFlate(const PackedSamples& image, const FlateDraft& draft, int effort) {
  EncodedImage result;
  result.codec = Codec::flate;
  result.filter = "FlateDecode";
  result.width = image.width;
  result.height = image.height;
  result.bitsPerComponent = image.bits;
  result.kind = image.kind;
  effort = deflateLevelFor(image.samples.size(), draft.estimate, std::min(effort, mostEffortFor(image.samples.size())));
  if (draft.filter < 0) {
    result.data = deflate(image.samples, effort);
    return result;
  }
  result.data = deflate(rowsWith(image, pixelBytes(image), draft.filter), effort);
  result.decodeParms = "<</Predictor 15/Columns " + std::to_string(image.width);
  if (image.channels != 1) result.decodeParms += "/Colors " + std::to_string(image.channels);
  if (image.bits != 8) result.decodeParms += "/BitsPerComponent " + std::to_string(image.bits);
  result.decodeParms += ">>";
  return result;
}

EncodedImage encodeFlate(const PackedSamples& image, int effort) {
  return encodeFlate(image, draftFlate(image), effort);
}

PackedSamples packedOf(const Pixels& pixels) {
  return {pixels.width(), pixels.height(), pixels.channels(), pixels.bits(),
          pixels.kind(),  pixels.stride(), pixels.samples()};
}

}  // namespace optimizer
