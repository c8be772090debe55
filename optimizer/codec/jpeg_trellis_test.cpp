#include "optimizer/codec/jpeg_trellis.h"

#include <gtest/gtest.h>
#include <jpeglib.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace optimizer {
namespace {

ColorKind kindOf(unsigned channels) {
  return channels == 1 ? ColorKind::grey : channels == 3 ? ColorKind::rgb : ColorKind::cmyk;
}

// Soft shapes with a little grain, like a photograph.
Pixels photo(std::uint32_t w, std::uint32_t h, unsigned channels) {
  Pixels p(w, h, channels, kindOf(channels));
  std::mt19937 random(5);
  for (std::uint32_t y = 0; y < h; ++y)
    for (std::uint32_t x = 0; x < w; ++x)
      for (unsigned c = 0; c < channels; ++c) {
        double v = 128 + 60 * std::sin(x * 0.05 + c) * std::cos(y * 0.03) +
                   30 * std::sin(x * 0.21 + y * 0.17) + (x / 40 + y / 30) % 3 * 12 +
                   static_cast<double>(random() % 9) - 4;
        p.row(y)[x * channels + c] = static_cast<std::uint8_t>(std::clamp(v, 0.0, 255.0));
      }
  return p;
}

// Black strokes on white paper.
Pixels text(std::uint32_t w, std::uint32_t h) {
  Pixels p(w, h, 1, ColorKind::grey);
  for (auto& s : p.samples()) s = 255;
  std::mt19937 random(2);
  for (std::uint32_t line = 8; line + 16 < h; line += 20)
    for (std::uint32_t x = 8; x + 10 < w; x += 9) {
      unsigned shape = random() % 8;
      for (std::uint32_t dy = 0; dy < 12; ++dy)
        for (std::uint32_t dx = 0; dx < 7; ++dx)
          if ((shape & 1 && dx < 2) || (shape & 2 && dy < 2) || (shape & 4 && dx == dy))
            p.row(line + dy)[x + dx] = 20;
    }
  return p;
}

Pixels decode(const Bytes& data) {
  jpeg_decompress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, data.data(), data.size());
  jpeg_read_header(&info, TRUE);
  if (info.num_components == 4) info.out_color_space = JCS_CMYK;
  if (info.num_components == 3) info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&info);
  auto channels = static_cast<unsigned>(info.output_components);
  Pixels p(info.output_width, info.output_height, channels, kindOf(channels));
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = p.row(info.output_scanline);
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return p;
}

// libjpeg's own encoder at its best: progressive, optimized tables.
Bytes plain(const Pixels& pixels, int quality) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = pixels.width();
  info.image_height = pixels.height();
  info.input_components = static_cast<int>(pixels.channels());
  info.in_color_space = pixels.channels() == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, quality, TRUE);
  info.optimize_coding = TRUE;
  info.write_JFIF_header = FALSE;
  jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(pixels.row(info.next_scanline));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  Bytes out(buffer, buffer + size);
  std::free(buffer);
  return out;
}

double meanSquaredError(const Pixels& a, const Pixels& b) {
  EXPECT_EQ(a.samples().size(), b.samples().size());
  double sum = 0;
  for (std::size_t i = 0; i < a.samples().size(); ++i) sum += std::pow(a.samples()[i] - b.samples()[i], 2);
  return sum / static_cast<double>(a.samples().size());
}

TEST(TrellisJpeg, DecodesNearTheOriginalInEveryColorAndSize) {
  for (unsigned channels : {1u, 3u, 4u})
    for (ChromaSampling chroma : {ChromaSampling::full, ChromaSampling::half, ChromaSampling::quarter})
      for (auto [w, h] : {std::pair{1u, 1u}, {7u, 9u}, {17u, 33u}, {160u, 120u}}) {
        SCOPED_TRACE(testing::Message() << channels << " channels, " << w << 'x' << h);
        Pixels pixels = photo(w, h, channels);
        auto coded = encodeTrellisJpeg(pixels, {92, chroma});
        ASSERT_TRUE(coded.ok());
        Pixels shown = decode(*coded);
        ASSERT_EQ(shown.width(), w);
        ASSERT_EQ(shown.height(), h);
        ASSERT_EQ(shown.channels(), channels);
        // Halved chroma loses the channels' separate grain; the shapes must stay.
        EXPECT_LT(meanSquaredError(pixels, shown), chroma == ChromaSampling::full || channels == 1 ? 12 : 60);
      }
}

TEST(TrellisJpeg, TakesFewerBytesThanThePlainEncoderAtTheSameError) {
  struct Case {
    const char* name;
    Pixels pixels;
    double atMost;  // share of the plain encoder's bytes
  };
  const Case cases[] = {{"photo", photo(400, 300, 1), 0.97}, {"text", text(400, 300), 0.9}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    for (int quality : {50, 75, 85}) {
      auto coded = encodeTrellisJpeg(c.pixels, {quality, ChromaSampling::full});
      ASSERT_TRUE(coded.ok());
      double error = meanSquaredError(c.pixels, decode(*coded));
      int same = 100;
      while (same > 1 && meanSquaredError(c.pixels, decode(plain(c.pixels, same - 1))) <= error) --same;
      EXPECT_LT(static_cast<double>(coded->size()),
                c.atMost * static_cast<double>(plain(c.pixels, same).size()))
          << quality;
    }
  }
}

TEST(TrellisJpeg, ErrorAndSizeFollowQuality) {
  Pixels pixels = photo(200, 200, 3);
  double lastError = 1e9;
  std::size_t lastSize = 0;
  for (int quality : {10, 30, 50, 70, 90, 97}) {
    auto coded = encodeTrellisJpeg(pixels, {quality, ChromaSampling::full});
    ASSERT_TRUE(coded.ok());
    double error = meanSquaredError(pixels, decode(*coded));
    EXPECT_LT(error, lastError);
    EXPECT_GT(coded->size(), lastSize);
    lastError = error;
    lastSize = coded->size();
  }
}

TEST(TrellisJpeg, PaperStaysWhiteAroundText) {
  Pixels pixels = text(320, 240);
  auto coded = encodeTrellisJpeg(pixels, {60, ChromaSampling::full});
  ASSERT_TRUE(coded.ok());
  Pixels shown = decode(*coded);
  std::size_t paper = 0, grey = 0;
  for (std::size_t i = 0; i < shown.samples().size(); ++i) {
    if (pixels.samples()[i] != 255) continue;
    ++paper;
    grey += shown.samples()[i] < 245;
  }
  EXPECT_LT(static_cast<double>(grey), 0.08 * static_cast<double>(paper));
}

TEST(TrellisJpeg, IsDeterministicAndRefusesOtherPixels) {
  Pixels pixels = photo(100, 80, 3);
  EXPECT_EQ(*encodeTrellisJpeg(pixels, {70, ChromaSampling::quarter}),
            *encodeTrellisJpeg(pixels, {70, ChromaSampling::quarter}));
  EXPECT_FALSE(encodeTrellisJpeg(Pixels(8, 8, 2, ColorKind::other), {}).ok());
  EXPECT_FALSE(encodeTrellisJpeg(Pixels(8, 8, 1, ColorKind::grey, 1), {}).ok());
}

}  // namespace
}  // namespace optimizer
