#include "optimizer/codec/jbig2_generic.h"

#include <algorithm>
#include <cstring>

namespace optimizer::jbig2 {

namespace {

// A template as three runs of neighbours, adaptive pixels at their nominal places included: `left` pixels
// before this one, in the row above from x - above1.before to x + above1.after, likewise two rows up (T.88,
// Figures 3 to 6). The context's bits follow from the left pixels (lowest) over the row above to the row
// above that one, each run from right to left; adaptiveBit says where the adaptive pixels are among them.
struct Run {
  int before, after;
  constexpr int length() const { return before + after + 1; }
};
struct Shape {
  int left;
  Run above1, above2;
  int adaptiveCount;
  std::array<int, 4> adaptiveBit;
  std::array<AdaptivePixel, 4> nominal;
  unsigned typicalContext;  // T.88, Figures 8 to 11

  constexpr int bits() const { return left + above1.length() + (above2.after < 0 ? 0 : above2.length()); }
};

constexpr Shape shapes[4] = {
    {4, {3, 3}, {2, 2}, 4, {4, 10, 11, 15}, {{{3, -1}, {-3, -1}, {2, -2}, {-2, -2}}}, 0x9B25},
    {3, {2, 3}, {1, 2}, 1, {3}, {{{3, -1}}}, 0x0795},
    {2, {2, 2}, {1, 1}, 1, {2}, {{{2, -1}}}, 0x00E5},
    {4, {3, 2}, {0, -1}, 1, {4}, {{{2, -1}}}, 0x0195},
};

// The three windows that hold the contexts of a group of pixels starting at x: bit 55 - i of each belongs to
// x + i.
constexpr int lead = 8;  // pixels of a window before the group
constexpr int groupSize = 32;

// Which adaptive pixels are away from their nominal places, and where.
struct Moved {
  int count = 0;
  int bit[4];
  AdaptivePixel from[4];
  unsigned keep = ~0u;  // context bits that the shape itself supplies
};

template <int T>
Moved movedPixels(const GenericParams& params) {
  Moved moved;
  for (int i = 0; i < shapes[T].adaptiveCount; ++i) {
    if (params.at[i] == shapes[T].nominal[i]) continue;
    moved.bit[moved.count] = shapes[T].adaptiveBit[i];
    moved.from[moved.count++] = params.at[i];
    moved.keep &= ~(1u << shapes[T].adaptiveBit[i]);
  }
  return moved;
}

template <int T>
unsigned contextFrom(std::uint64_t row0, std::uint64_t row1, std::uint64_t row2, int i) {
  constexpr Shape s = shapes[T];
  // In a window the pixel x + i + d is bit 63 - lead - i - d.
  auto run = [i](std::uint64_t row, int after, int length) {
    return static_cast<unsigned>(row >> (63 - lead - i - after)) & ((1u << length) - 1);
  };
  unsigned context = run(row0, -1, s.left);
  context |= run(row1, s.above1.after, s.above1.length()) << s.left;
  if constexpr (s.above2.after >= 0)
    context |= run(row2, s.above2.after, s.above2.length()) << (s.left + s.above1.length());
  return context;
}

template <int T>
void encodeRow(Encoder& encoder, Contexts& contexts, const Padded& picture, int y, const Moved& moved) {
  constexpr unsigned allBlack = (1u << shapes[T].bits()) - 1;
  for (int x = 0; x < picture.width(); x += groupSize) {
    int count = std::min(groupSize, picture.width() - x);
    std::uint64_t row0 = picture.window(y, x - lead);
    std::uint64_t row1 = picture.window(y - 1, x - lead);
    std::uint64_t row2 = picture.window(y - 2, x - lead);
    std::uint64_t far[4];
    std::uint64_t farAll = ~std::uint64_t{0}, farAny = 0;
    for (int k = 0; k < moved.count; ++k) {
      far[k] = picture.window(y + moved.from[k].y, x + moved.from[k].x);
      farAll &= far[k];
      farAny |= far[k];
    }
    // Wholly white or black neighbourhoods are most of a page; they go as one run.
    if ((row0 | row1 | row2 | farAny) == 0) {
      encoder.encodeRun(contexts[0], 0, count);
      continue;
    }
    if ((row0 & row1 & row2 & farAll) == ~std::uint64_t{0}) {
      encoder.encodeRun(contexts[allBlack], 1, count);
      continue;
    }
    for (int i = 0; i < count; ++i) {
      unsigned context = contextFrom<T>(row0, row1, row2, i) & moved.keep;
      for (int k = 0; k < moved.count; ++k)
        context |= static_cast<unsigned>(far[k] >> (63 - i) & 1) << moved.bit[k];
      encoder.encode(contexts[context], row0 >> (63 - lead - i) & 1);
    }
  }
}

template <int T>
void decodeRow(Decoder& decoder, Contexts& contexts, Padded& picture, int y, const Moved& moved) {
  for (int x = 0; x < picture.width(); x += groupSize) {
    int count = std::min(groupSize, picture.width() - x);
    std::uint64_t row0 = picture.window(y, x - lead);
    std::uint64_t row1 = picture.window(y - 1, x - lead);
    std::uint64_t row2 = picture.window(y - 2, x - lead);
    for (int i = 0; i < count; ++i) {
      unsigned context = contextFrom<T>(row0, row1, row2, i) & moved.keep;
      for (int k = 0; k < moved.count; ++k)
        context |= static_cast<unsigned>(picture.at(x + i + moved.from[k].x, y + moved.from[k].y))
                   << moved.bit[k];
      if (decoder.decode(contexts[context])) {
        row0 |= std::uint64_t{1} << (63 - lead - i);
        picture.set(x + i, y);
      }
    }
  }
}

template <int T>
void encodeAll(Encoder& encoder, Contexts& contexts, const Padded& picture, const GenericParams& params) {
  Moved moved = movedPixels<T>(params);
  bool typical = false;
  for (int y = 0; y < picture.height(); ++y) {
    if (params.typicalPrediction) {
      bool same = picture.sameRows(y - 1, y);
      encoder.encode(contexts[shapes[T].typicalContext], same != typical);
      typical = same;
      if (typical) continue;
    }
    encodeRow<T>(encoder, contexts, picture, y, moved);
  }
}

// A conforming stream ends with its marker; a decoder that has read this much more is decoding noise.
constexpr std::size_t mostOverrun = 64;

template <int T>
Status decodeAll(Decoder& decoder, Contexts& contexts, Padded& picture, const GenericParams& params) {
  Moved moved = movedPixels<T>(params);
  bool typical = false;
  for (int y = 0; y < picture.height(); ++y) {
    if (decoder.overrun() > mostOverrun) return Error{ErrorKind::damaged, "JBIG2 data ends too early"};
    if (params.typicalPrediction) {
      typical ^= decoder.decode(contexts[shapes[T].typicalContext]) != 0;
      if (typical) {
        picture.copyRow(y - 1, y);
        continue;
      }
    }
    decodeRow<T>(decoder, contexts, picture, y, moved);
  }
  return {};
}

}  // namespace

GenericParams nominalParams(int templateNumber, bool typicalPrediction) {
  return {templateNumber, typicalPrediction, shapes[templateNumber].nominal};
}

std::size_t contextCount(int templateNumber) { return std::size_t{1} << shapes[templateNumber].bits(); }
int adaptivePixelCount(int templateNumber) { return shapes[templateNumber].adaptiveCount; }

Padded::Padded(int width, int height)
    : width_(width),
      height_(height),
      stride_((static_cast<std::size_t>(width) + 2 * margin) / 8 + 10),
      bytes_(stride_ * (static_cast<std::size_t>(height) + above)) {}

Padded::Padded(BitonalView picture) : Padded(picture.width, picture.height) {
  std::size_t bytes = (static_cast<std::size_t>(width_) + 7) / 8;
  for (int y = 0; y < height_; ++y) {
    std::uint8_t* row = rowStart(y) + margin / 8;
    std::memcpy(row, picture.row(y), bytes);
    if (width_ & 7) row[bytes - 1] &= static_cast<std::uint8_t>(0xFF00 >> (width_ & 7));
  }
}

void Padded::copyRow(int from, int to) { std::memcpy(rowStart(to), rowStart(from), stride_); }
bool Padded::sameRows(int a, int b) const { return std::memcmp(rowStart(a), rowStart(b), stride_) == 0; }
bool Padded::blankRow(int y) const { return sameRows(y, -above); }

Bitonal Padded::picture() const {
  Bitonal out(width_, height_);
  for (int y = 0; y < height_; ++y) std::memcpy(out.row(y), rowStart(y) + margin / 8, out.stride);
  return out;
}

void encodeGeneric(Encoder& encoder, Contexts& contexts, const Padded& picture, const GenericParams& params) {
  switch (params.template_) {
    case 0:
      return encodeAll<0>(encoder, contexts, picture, params);
    case 1:
      return encodeAll<1>(encoder, contexts, picture, params);
    case 2:
      return encodeAll<2>(encoder, contexts, picture, params);
    default:
      return encodeAll<3>(encoder, contexts, picture, params);
  }
}

Result<Padded> decodeGeneric(Decoder& decoder, Contexts& contexts, int width, int height,
                             const GenericParams& params) {
  Padded picture(width, height);
  Status status;
  switch (params.template_) {
    case 0:
      status = decodeAll<0>(decoder, contexts, picture, params);
      break;
    case 1:
      status = decodeAll<1>(decoder, contexts, picture, params);
      break;
    case 2:
      status = decodeAll<2>(decoder, contexts, picture, params);
      break;
    default:
      status = decodeAll<3>(decoder, contexts, picture, params);
      break;
  }
  if (!status) return status.error();
  return picture;
}

}  // namespace optimizer::jbig2
