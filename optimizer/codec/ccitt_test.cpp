#include "optimizer/codec/ccitt.h"

#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>

namespace optimizer {
namespace {

// Strokes and noise of several densities, with black at the left edge in some rows.
Bitonal sample(int w, int h, unsigned seed) {
  Bitonal b(w, h);
  std::mt19937 random(seed);
  for (int y = 0; y < h; ++y) {
    if (y % 5 == 0 && y > 0) {
      std::copy(b.row(y - 1), b.row(y), b.row(y));
      continue;
    }
    unsigned run = 0;
    bool black = random() % 2;
    for (int x = 0; x < w; ++x) {
      if (run == 0) {
        black = !black;
        run = 1 + random() % (y % 3 == 0 ? 4u : y % 3 == 1 ? 40u : 3000u);
      }
      --run;
      if (black) b.set(x, y);
    }
  }
  return b;
}

void expectSame(BitonalView a, BitonalView b) {
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  for (int y = 0; y < a.height; ++y)
    for (int x = 0; x < a.width; ++x) ASSERT_EQ(a.at(x, y), b.at(x, y)) << x << ',' << y;
}

const int widths[] = {1, 2, 7, 8, 9, 63, 64, 65, 300, 1728, 2561, 5300};

// libtiff as the coder of another make: the raw code of one strip, or the picture that it finds in one.
struct TiffFile {
  TiffFile() : path(std::filesystem::temp_directory_path() / ("ccitt_test_" + std::to_string(::getpid()))) {}
  ~TiffFile() { std::filesystem::remove(path); }

  TIFF* create(int w, int h, int compression, std::uint32_t options) {
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, h);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    if (compression == COMPRESSION_CCITTFAX3) TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, options);
    return tiff;
  }
  Bytes encode(const Bitonal& b, int compression, std::uint32_t options) {
    TIFF* tiff = create(b.width, b.height, compression, options);
    Bytes copy = b.bits;
    TIFFWriteEncodedStrip(tiff, 0, copy.data(), static_cast<tmsize_t>(copy.size()));
    TIFFClose(tiff);
    tiff = TIFFOpen(path.c_str(), "r");
    Bytes raw(static_cast<std::size_t>(TIFFRawStripSize(tiff, 0)));
    TIFFReadRawStrip(tiff, 0, raw.data(), static_cast<tmsize_t>(raw.size()));
    TIFFClose(tiff);
    return raw;
  }
  Bitonal decodeG4(Bytes code, int w, int h) {
    TIFF* tiff = create(w, h, COMPRESSION_CCITTFAX4, 0);
    TIFFWriteRawStrip(tiff, 0, code.data(), static_cast<tmsize_t>(code.size()));
    TIFFClose(tiff);
    tiff = TIFFOpen(path.c_str(), "r");
    Bitonal b(w, h);
    EXPECT_EQ(TIFFReadEncodedStrip(tiff, 0, b.bits.data(), static_cast<tmsize_t>(b.bits.size())),
              static_cast<tmsize_t>(b.bits.size()));
    TIFFClose(tiff);
    return b;
  }
  std::filesystem::path path;
};

TEST(Ccitt, Group4ReadsBackBitForBit) {
  for (int w : widths) {
    SCOPED_TRACE(w);
    Bitonal b = sample(w, 60, 5);
    for (int rows : {0, 60}) {
      auto read = decodeCcitt(encodeCcittG4(b), {.k = -1, .columns = w, .rows = rows}, 1 << 24);
      ASSERT_TRUE(read.ok()) << read.error().message;
      expectSame(b, *read);
    }
  }
}

TEST(Ccitt, Group4IsReadBitForBitByAnotherDecoder) {
  TiffFile file;
  for (int w : widths) {
    SCOPED_TRACE(w);
    Bitonal b = sample(w, 60, 6);
    expectSame(b, file.decodeG4(encodeCcittG4(b), w, 60));
  }
}

TEST(Ccitt, ReadsWhatAnotherEncoderWrote) {
  struct Variant {
    const char* name;
    int compression;
    std::uint32_t options;
    CcittParams params;
  };
  const Variant variants[] = {
      {"group 4", COMPRESSION_CCITTFAX4, 0, {.k = -1}},
      {"group 3, one-dimensional", COMPRESSION_CCITTFAX3, 0, {.k = 0, .endOfLine = true}},
      {"the same, end-of-line not announced", COMPRESSION_CCITTFAX3, 0, {.k = 0}},
      {"group 3, mixed", COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING, {.k = 4, .endOfLine = true}},
      {"group 3, mixed, not announced", COMPRESSION_CCITTFAX3, GROUP3OPT_2DENCODING, {.k = 4}},
      {"group 3 with fill", COMPRESSION_CCITTFAX3, GROUP3OPT_FILLBITS, {.k = 0, .endOfLine = true}},
      {"group 3 with fill, aligned",
       COMPRESSION_CCITTFAX3,
       GROUP3OPT_FILLBITS,
       {.k = 0, .encodedByteAlign = true, .endOfLine = true}},
      {"mixed with fill",
       COMPRESSION_CCITTFAX3,
       GROUP3OPT_FILLBITS | GROUP3OPT_2DENCODING,
       {.k = 4, .endOfLine = true}},
      {"rows at byte boundaries", COMPRESSION_CCITTRLE, 0, {.k = 0, .encodedByteAlign = true}},
      {"the same, without end of block",
       COMPRESSION_CCITTRLE,
       0,
       {.k = 0, .encodedByteAlign = true, .endOfBlock = false}},
  };
  TiffFile file;
  for (const Variant& v : variants)
    for (int w : widths) {
      SCOPED_TRACE(std::string(v.name) + ' ' + std::to_string(w));
      Bitonal b = sample(w, 40, 8);
      CcittParams params = v.params;
      params.columns = w;
      params.rows = b.height;
      auto read = decodeCcitt(file.encode(b, v.compression, v.options), params, 1 << 24);
      ASSERT_TRUE(read.ok()) << read.error().message;
      expectSame(b, *read);
    }
}

TEST(Ccitt, DataThatEndsTooEarlyIsRefused) {
  Bitonal b = sample(500, 60, 9);
  Bytes code = encodeCcittG4(b);
  code.resize(code.size() / 2);
  auto read = decodeCcitt(code, {.k = -1, .columns = 500, .rows = 60}, 1 << 24);
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().kind, ErrorKind::damaged);
  auto longer = decodeCcitt(encodeCcittG4(b), {.k = -1, .columns = 500, .rows = 61}, 1 << 24);
  ASSERT_FALSE(longer.ok());
}

TEST(Ccitt, PicturesAboveTheLimitAreRefused) {
  auto read = decodeCcitt(encodeCcittG4(Bitonal(5000, 500)), {.k = -1, .columns = 5000, .rows = 0}, 1 << 20);
  ASSERT_FALSE(read.ok());
  EXPECT_EQ(read.error().kind, ErrorKind::limit);
}

TEST(Ccitt, NoiseIsReadOrRefusedInBoundedTime) {
  std::mt19937 random(4);
  int refused = 0;
  for (int i = 0; i < 3000; ++i) {
    Bytes noise(random() % 300);
    for (auto& byte : noise) byte = static_cast<std::uint8_t>(random() % (i % 2 ? 256 : 4));
    CcittParams params{.k = i % 3 - 1,
                       .encodedByteAlign = i % 4 == 0,
                       .endOfLine = i % 8 < 2,
                       .columns = 1 + static_cast<int>(random() % 4000),
                       .rows = static_cast<int>(random() % 50)};
    refused += !decodeCcitt(noise, params, 1 << 20).ok();
  }
  EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace optimizer
