#include "optimizer/codec/jpeg_trellis.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "optimizer/base/pool.h"
#include "optimizer/codec/jpeg_trellis_planes.h"
#include "optimizer/codec/jpeg_trellis_quant.h"
#include "optimizer/codec/jpeg_trellis_write.h"

namespace optimizer {

namespace {

using namespace jpegtrellis;

void loadBlock(const Plane& plane, int bx, int by, Block& samples) {
  const std::uint8_t* from = plane.block(bx, by);
  for (std::size_t y = 0; y < 8; ++y, from += plane.stride())
    for (std::size_t x = 0; x < 8; ++x) samples[y * 8 + x] = static_cast<float>(from[x]) - 128;
}

// Most blocks of what is drawn are of one tone: they have nothing to transform.
bool ofOneTone(const Plane& plane, int bx, int by) {
  const std::uint8_t* row = plane.block(bx, by);
  std::array<std::uint8_t, 8> first;
  first.fill(*row);
  for (int y = 0; y < 8; ++y, row += plane.stride())
    if (std::memcmp(row, first.data(), first.size()) != 0) return false;
  return true;
}

// Learns prices from a spread of block rows quantised plainly.
void learnRates(const Plane& plane, const QuantTable& table, RateModel& rates) {
  int step = std::max(1, plane.blocksHigh / std::max(1, 20000 / plane.blocksWide));
  Block samples, coefficients;
  Quantized block;
  for (int by = 0; by < plane.blocksHigh; by += step) {
    int before = 0;
    for (int bx = 0; bx < plane.blocksWide; ++bx) {
      if (ofOneTone(plane, bx, by)) {
        block.fill(0);
        block[0] = static_cast<std::int16_t>(std::lround((*plane.block(bx, by) - 128) * 8.0 / table[0]));
      } else {
        loadBlock(plane, bx, by, samples);
        forwardDct(samples, coefficients);
        quantizePlainly(coefficients, table, block);
      }
      rates.count(block);
      rates.countDc(block[0] - before);
      before = block[0];
    }
  }
  rates.learn();
}

// Prices of a bit in squared steps, by trial on photographs and scans against structural similarity.
constexpr float acLambda = 0.05f, dcLambda = 0.2f;

QuantSettings settingsFor(const QuantTable& table) {
  QuantSettings settings;
  settings.table = table;
  settings.lambda = acLambda;
  // Half way between equal care for every step and equal care for every squared error of a sample.
  double mean = 0;
  for (auto q : table) mean += std::log(q) / 64;
  for (std::size_t i = 0; i < 64; ++i) {
    settings.inverse[i] = 1.0f / static_cast<float>(table[i]);
    settings.weight[i] = static_cast<float>(table[i] / std::exp(mean));
  }
  return settings;
}

// Where samples are at the end of the range and their neighbours are not (text on white paper), the decoder's
// clamping hides any overshoot: samples there may go as far beyond as the quantised block takes them, which
// leaves less to ring.
bool releaseClamped(Block& samples, const Quantized& block, const QuantTable& table) {
  constexpr float white = 127, black = -128, furthest = 60;
  bool any = false, all = true;
  for (float s : samples) {
    bool end = s >= white || s <= black;
    any |= end;
    all &= end;
  }
  if (!any || all) return false;
  Block coefficients, shown;
  for (std::size_t i = 0; i < 64; ++i) coefficients[i] = static_cast<float>(block[i] * table[i]);
  inverseDct(coefficients, shown);
  for (std::size_t i = 0; i < 64; ++i) {
    if (samples[i] >= white)
      samples[i] = std::clamp(shown[i], white, white + furthest);
    else if (samples[i] <= black)
      samples[i] = std::clamp(shown[i], black - furthest, black);
  }
  return true;
}

constexpr int releases = 3;

Component codePlane(const Plane& plane, const QuantTable& table) {
  RateModel rates;
  learnRates(plane, table, rates);
  QuantSettings settings = settingsFor(table);
  Component component{plane.blocksWide, plane.blocksHigh, plane.h, plane.v, plane.chroma, {}};
  std::size_t count = static_cast<std::size_t>(plane.blocksWide) * static_cast<std::size_t>(plane.blocksHigh);
  component.blocks.resize(count);
  // Blocks are coded MCU by MCU; their DC values are differences in that order.
  std::vector<float> exactDc(count);
  std::vector<std::size_t> order(count);
  const auto rowsOfMcus = static_cast<std::size_t>(plane.blocksHigh / plane.v);
  const std::size_t rowBlocks =
      static_cast<std::size_t>(plane.blocksWide) * static_cast<std::size_t>(plane.v);
  constexpr std::size_t enoughBlocks = 2000;  // to be worth a thread's while
  inParts(0, rowsOfMcus, 1 + enoughBlocks / rowBlocks, [&](std::size_t begin, std::size_t end) {
    Block samples, coefficients;
    std::size_t next = begin * rowBlocks;
    for (int my = static_cast<int>(begin) * plane.v; my < static_cast<int>(end) * plane.v; my += plane.v)
      for (int mx = 0; mx < plane.blocksWide; mx += plane.h)
        for (int by = my; by < my + plane.v; ++by)
          for (int bx = mx; bx < mx + plane.h; ++bx) {
            std::size_t at = static_cast<std::size_t>(by) * static_cast<std::size_t>(plane.blocksWide) +
                             static_cast<std::size_t>(bx);
            Quantized& block = component.blocks[at];
            if (ofOneTone(plane, bx, by)) {
              block.fill(0);
              exactDc[next] = (static_cast<float>(*plane.block(bx, by)) - 128) * 8 / table[0];
              order[next++] = at;
              continue;
            }
            loadBlock(plane, bx, by, samples);
            forwardDct(samples, coefficients);
            float scale = activityScale(coefficients);
            quantizeBlock(coefficients, settings, rates, scale, block);
            for (int i = 0; i < releases && releaseClamped(samples, block, table); ++i) {
              forwardDct(samples, coefficients);
              quantizeBlock(coefficients, settings, rates, scale, block);
            }
            exactDc[next] = coefficients[0] / table[0];
            order[next++] = at;
          }
  });
  std::vector<std::int16_t> dc;
  quantizeDc(exactDc, rates, dcLambda, dc);
  for (std::size_t i = 0; i < count; ++i) component.blocks[order[i]][0] = dc[i];
  return component;
}

}  // namespace

Result<Bytes> encodeTrellisJpeg(const Pixels& pixels, const TrellisJpegOptions& options) {
  if (pixels.bits() != 8 || (pixels.channels() != 1 && pixels.channels() != 3 && pixels.channels() != 4))
    return Error{ErrorKind::unsupported, "JPEG codes 8-bit grey, RGB and CMYK only"};
  QuantTable luma = quantTable(options.quality, false), chroma = quantTable(options.quality, true);
  std::vector<Component> components;
  for (Plane& plane : makePlanes(pixels, options.chroma)) {
    components.push_back(codePlane(plane, plane.chroma ? chroma : luma));
    Plane().samples.swap(plane.samples);
  }
  return writeJpeg(static_cast<int>(pixels.width()), static_cast<int>(pixels.height()), components, luma,
                   chroma);
}

}  // namespace optimizer
