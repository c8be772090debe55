#include "optimizer/codec/jpeg_trellis_planes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace optimizer::jpegtrellis {

namespace {

std::uint8_t clamped(float value) {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5f, 0.0f, 255.0f));
}

// Rows of one sample per pixel at full resolution, row by row.
using Samples = std::vector<std::uint8_t>;

// Y, Cb, Cr of three channels by the JFIF equations; `complement` for the C, M, Y of CMYK.
void convert(const Pixels& pixels, bool complement, std::array<Samples, 3>& out) {
  std::size_t count = pixels.pixelCount(), step = pixels.channels();
  const std::uint8_t* in = pixels.samples().data();
  for (auto& plane : out) plane.resize(count);
  unsigned flip = complement ? 0xFF : 0;
  for (std::size_t i = 0; i < count; ++i, in += step) {
    float r = static_cast<float>(in[0] ^ flip), g = static_cast<float>(in[1] ^ flip),
          b = static_cast<float>(in[2] ^ flip);
    out[0][i] = clamped(0.299f * r + 0.587f * g + 0.114f * b);
    out[1][i] = clamped(-0.168735892f * r - 0.331264108f * g + 0.5f * b + 128);
    out[2][i] = clamped(0.5f * r - 0.418687589f * g - 0.081312411f * b + 128);
  }
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

// Row u holds the cosines of frequency u, scaled so that the matrix is orthonormal.
const std::array<float, 64>& basis() {
  static const std::array<float, 64> matrix = [] {
    std::array<float, 64> m{};
    for (std::size_t u = 0; u < 8; ++u)
      for (std::size_t x = 0; x < 8; ++x)
        m[u * 8 + x] = static_cast<float>(
            (u == 0 ? std::sqrt(0.125) : 0.5) *
            std::cos((2.0 * static_cast<double>(x) + 1) * static_cast<double>(u) * std::numbers::pi / 16));
    return m;
  }();
  return matrix;
}

// out = a * b for 8 by 8 matrices; the inner loops run over whole rows, which the compiler vectorises.
void multiply(const float* a, const float* b, float* out) {
  for (std::size_t i = 0; i < 8; ++i) {
    float row[8] = {};
    for (std::size_t k = 0; k < 8; ++k)
      for (std::size_t j = 0; j < 8; ++j) row[j] += a[i * 8 + k] * b[k * 8 + j];
    std::copy(row, row + 8, out + i * 8);
  }
}

const std::array<float, 64>& transposedBasis() {
  static const std::array<float, 64> matrix = [] {
    std::array<float, 64> m{};
    for (std::size_t u = 0; u < 8; ++u)
      for (std::size_t x = 0; x < 8; ++x) m[x * 8 + u] = basis()[u * 8 + x];
    return m;
  }();
  return matrix;
}

}  // namespace

void forwardDct(const Block& samples, Block& coefficients) {
  Block half;
  multiply(basis().data(), samples.data(), half.data());
  multiply(half.data(), transposedBasis().data(), coefficients.data());
}

void inverseDct(const Block& coefficients, Block& samples) {
  Block half;
  multiply(transposedBasis().data(), coefficients.data(), half.data());
  multiply(half.data(), basis().data(), samples.data());
}

}  // namespace optimizer::jpegtrellis
