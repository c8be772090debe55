#include "optimizer/codec/jpeg_trellis_planes.h"

#include <algorithm>
#include <cstring>

#include "optimizer/base/pool.h"
#include "optimizer/base/vectorised.h"

namespace optimizer::jpegtrellis {

namespace {

// Rows of one sample per pixel at full resolution, row by row.
using Samples = std::vector<std::uint8_t>;

// Y, Cb, Cr of three channels by the JFIF equations; `complement` for the C, M, Y of CMYK.
void convert(const Pixels& pixels, bool complement, std::array<Samples, 3>& out) {
  std::size_t count = pixels.pixelCount(), step = pixels.channels();
  const std::uint8_t* in = pixels.samples().data();
  for (auto& plane : out) plane.resize(count);
  const int flip = complement ? 0xFF : 0;
  // In parts of 65536, which no sum below leaves the range with.
  constexpr int half = 1 << 15, middle = (128 << 16) + half;
  constexpr std::size_t enough = 256 << 10;  // to be worth a thread's while
  inParts(0, count, enough, [&](std::size_t begin, std::size_t end) {
    vectorised([&]() OPTIMIZER_LOOP {
      std::uint8_t *y = out[0].data(), *cb = out[1].data(), *cr = out[2].data();
      const std::size_t n = end, stride = step;
      const std::uint8_t* at = in + begin * stride;
      const int turn = flip;
      for (std::size_t i = begin; i < n; ++i, at += stride) {
        const int r = at[0] ^ turn, g = at[1] ^ turn, b = at[2] ^ turn;
        y[i] = static_cast<std::uint8_t>((19595 * r + 38470 * g + 7471 * b + half) >> 16);
        cb[i] = static_cast<std::uint8_t>(std::min(255, (-11058 * r - 21710 * g + 32768 * b + middle) >> 16));
        cr[i] = static_cast<std::uint8_t>(std::min(255, (32768 * r - 27439 * g - 5329 * b + middle) >> 16));
      }
    });
  });
}

// Takes the mean of stepX by stepY samples for each of the plane's, edges repeated outward.
Plane planeFrom(const Samples& in, int width, int height, int mcusWide, int mcusHigh, int h, int v, int stepX,
                int stepY) {
  Plane plane;
  plane.h = h;
  plane.v = v;
  plane.blocksWide = mcusWide * h;
  plane.blocksHigh = mcusHigh * v;
  plane.samples.resize(plane.stride() * static_cast<std::size_t>(plane.blocksHigh) * 8);
  int planeWidth = plane.blocksWide * 8, planeHeight = plane.blocksHigh * 8;
  for (int y = 0; y < planeHeight; ++y) {
    std::uint8_t* to = plane.samples.data() + static_cast<std::size_t>(y) * plane.stride();
    const std::uint8_t* rows[2];
    for (int k = 0; k < 2; ++k)
      rows[k] = in.data() + static_cast<std::size_t>(std::min(y * stepY + (stepY == 2 ? k : 0), height - 1)) *
                                static_cast<std::size_t>(width);
    int inside = std::min(planeWidth, width / stepX);
    if (stepX == 1) {
      std::copy(rows[0], rows[0] + inside, to);
    } else {
      for (int x = 0; x < inside; ++x)
        to[x] = static_cast<std::uint8_t>(
            (rows[0][2 * x] + rows[0][2 * x + 1] + rows[1][2 * x] + rows[1][2 * x + 1] + 2) >> 2);
    }
    if (inside < planeWidth) {
      int last = width - 1;
      std::uint8_t edge = static_cast<std::uint8_t>((rows[0][last] + rows[1][last] + 1) / 2);
      std::fill(to + inside, to + planeWidth, edge);
    }
  }
  return plane;
}

}  // namespace

std::vector<Plane> makePlanes(const Pixels& pixels, ChromaSampling chroma) {
  int width = static_cast<int>(pixels.width()), height = static_cast<int>(pixels.height());
  bool color = pixels.channels() >= 3;
  int h = color && chroma != ChromaSampling::full ? 2 : 1,
      v = color && chroma == ChromaSampling::quarter ? 2 : 1;
  int mcusWide = (width + 8 * h - 1) / (8 * h), mcusHigh = (height + 8 * v - 1) / (8 * v);
  std::vector<Plane> planes;
  if (!color) {
    planes.push_back(planeFrom(pixels.samples(), width, height, mcusWide, mcusHigh, 1, 1, 1, 1));
    return planes;
  }
  std::array<Samples, 3> full;
  convert(pixels, pixels.channels() == 4, full);
  for (int i = 0; i < 3; ++i) {
    bool small = i > 0;
    planes.push_back(planeFrom(full[static_cast<std::size_t>(i)], width, height, mcusWide, mcusHigh,
                               small ? 1 : h, small ? 1 : v, small ? h : 1, small ? v : 1));
    planes.back().chroma = small;
    Samples().swap(full[static_cast<std::size_t>(i)]);
  }
  if (pixels.channels() == 4) {
    Samples black(pixels.pixelCount());
    for (std::size_t i = 0; i < black.size(); ++i) black[i] = pixels.samples()[i * 4 + 3];
    planes.push_back(planeFrom(black, width, height, mcusWide, mcusHigh, h, v, 1, 1));
  }
  return planes;
}

namespace {

// Half the cosines of k sixteenths of pi: of the orthonormal transform of eight values.
constexpr float c1 = 0.490392640f, c2 = 0.461939766f, c3 = 0.415734806f, c4 = 0.353553391f, c5 = 0.277785117f,
                c6 = 0.191341716f, c7 = 0.097545161f;

using Rows = float[8][8];

// Columns are transformed side by side, one lane of a vector each.
OPTIMIZER_LOOP inline void transformColumns(const Rows& in, Rows& out) {
  for (std::size_t x = 0; x < 8; ++x) {
    const float s0 = in[0][x] + in[7][x], s1 = in[1][x] + in[6][x], s2 = in[2][x] + in[5][x],
                s3 = in[3][x] + in[4][x], d0 = in[0][x] - in[7][x], d1 = in[1][x] - in[6][x],
                d2 = in[2][x] - in[5][x], d3 = in[3][x] - in[4][x];
    out[0][x] = ((s0 + s3) + (s1 + s2)) * c4;
    out[4][x] = ((s0 + s3) - (s1 + s2)) * c4;
    out[2][x] = (s0 - s3) * c2 + (s1 - s2) * c6;
    out[6][x] = (s0 - s3) * c6 - (s1 - s2) * c2;
    out[1][x] = (d0 * c1 + d1 * c3) + (d2 * c5 + d3 * c7);
    out[3][x] = (d0 * c3 - d1 * c7) - (d2 * c1 + d3 * c5);
    out[5][x] = (d0 * c5 - d1 * c1) + (d2 * c7 + d3 * c3);
    out[7][x] = (d0 * c7 - d1 * c5) + (d2 * c3 - d3 * c1);
  }
}

OPTIMIZER_LOOP inline void restoreColumns(const Rows& in, Rows& out) {
  for (std::size_t x = 0; x < 8; ++x) {
    const float t0 = (in[0][x] + in[4][x]) * c4, t1 = (in[0][x] - in[4][x]) * c4,
                t2 = in[2][x] * c2 + in[6][x] * c6, t3 = in[2][x] * c6 - in[6][x] * c2, e0 = t0 + t2,
                e3 = t0 - t2, e1 = t1 + t3, e2 = t1 - t3,
                o0 = (in[1][x] * c1 + in[3][x] * c3) + (in[5][x] * c5 + in[7][x] * c7),
                o1 = (in[1][x] * c3 - in[3][x] * c7) - (in[5][x] * c1 + in[7][x] * c5),
                o2 = (in[1][x] * c5 - in[3][x] * c1) + (in[5][x] * c7 + in[7][x] * c3),
                o3 = (in[1][x] * c7 - in[3][x] * c5) + (in[5][x] * c3 - in[7][x] * c1);
    out[0][x] = e0 + o0;
    out[7][x] = e0 - o0;
    out[1][x] = e1 + o1;
    out[6][x] = e1 - o1;
    out[2][x] = e2 + o2;
    out[5][x] = e2 - o2;
    out[3][x] = e3 + o3;
    out[4][x] = e3 - o3;
  }
}

OPTIMIZER_LOOP inline void transpose(const Rows& in, Rows& out) {
  for (std::size_t y = 0; y < 8; ++y)
    for (std::size_t x = 0; x < 8; ++x) out[x][y] = in[y][x];
}

void copyRows(const Block& block, Rows& rows) { std::memcpy(rows, block.data(), sizeof(Rows)); }
void copyRows(const Rows& rows, Block& block) { std::memcpy(block.data(), rows, sizeof(Rows)); }

}  // namespace

void forwardDct(const Block& samples, Block& coefficients) {
  Rows a, b;
  copyRows(samples, a);
  vectorised([&]() OPTIMIZER_LOOP {
    transformColumns(a, b);
    transpose(b, a);
    transformColumns(a, b);
    transpose(b, a);
  });
  copyRows(a, coefficients);
}

void inverseDct(const Block& coefficients, Block& samples) {
  Rows a, b;
  copyRows(coefficients, a);
  vectorised([&]() OPTIMIZER_LOOP {
    restoreColumns(a, b);
    transpose(b, a);
    restoreColumns(a, b);
    transpose(b, a);
  });
  copyRows(a, samples);
}

}  // namespace optimizer::jpegtrellis
