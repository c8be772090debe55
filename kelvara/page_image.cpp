#include "kelvara/page_image.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "kelvara/json.h"
#include "kelvara/programs.h"
#include "optimizer/base/deflate.h"
#include "optimizer/codec/jpeg.h"

namespace kelvara {
namespace {

using optimizer::Bytes;
using optimizer::ByteView;
using optimizer::ColorKind;
using optimizer::Pixels;

// A number of the header behind blanks and comments; 0 for none.
std::uint32_t headerNumber(const std::string& bytes, std::size_t& position) {
  while (position < bytes.size() &&
         (std::isspace(static_cast<unsigned char>(bytes[position])) || bytes[position] == '#')) {
    if (bytes[position] == '#') position = std::min(bytes.find('\n', position), bytes.size() - 1);
    ++position;
  }
  std::uint32_t value = 0;
  while (position < bytes.size() && bytes[position] >= '0' && bytes[position] <= '9' && value < 1000000) {
    value = value * 10 + static_cast<std::uint32_t>(bytes[position++] - '0');
  }
  return value;
}

void put32(Bytes& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

// CRC of PNG chunks (ISO/IEC 15948, Annex D).
std::uint32_t crcOf(ByteView bytes) {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> made{};
    for (std::uint32_t i = 0; i < 256; ++i) {
      std::uint32_t value = i;
      for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? 0xEDB88320U ^ (value >> 1) : value >> 1;
      made[i] = value;
    }
    return made;
  }();
  std::uint32_t crc = 0xFFFFFFFFU;
  for (const std::uint8_t byte : bytes) crc = table[(crc ^ byte) & 0xFF] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFU;
}

void putChunk(Bytes& png, std::string_view type, ByteView data) {
  put32(png, static_cast<std::uint32_t>(data.size()));
  Bytes body(type.begin(), type.end());
  body.insert(body.end(), data.begin(), data.end());
  png.insert(png.end(), body.begin(), body.end());
  put32(png, crcOf(body));
}

// 8-bit grey or RGB. Every row is filtered by the one above it (filter type 2), which suits pages.
Bytes pngOf(const Pixels& pixels) {
  Bytes rows;
  rows.reserve((pixels.stride() + 1) * pixels.height());
  for (std::uint32_t y = 0; y < pixels.height(); ++y) {
    rows.push_back(y == 0 ? 0 : 2);
    const std::uint8_t* row = pixels.row(y);
    for (std::size_t x = 0; x < pixels.stride(); ++x) {
      rows.push_back(static_cast<std::uint8_t>(y == 0 ? row[x] : row[x] - pixels.row(y - 1)[x]));
    }
  }
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes header;
  put32(header, pixels.width());
  put32(header, pixels.height());
  header.insert(header.end(), {8, static_cast<std::uint8_t>(pixels.channels() == 1 ? 0 : 2), 0, 0, 0});
  putChunk(png, "IHDR", header);
  putChunk(png, "IDAT", optimizer::deflate(rows, 7));
  putChunk(png, "IEND", {});
  return png;
}

std::string base64(ByteView bytes) {
  constexpr char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < left ? bytes[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k) text += k <= left ? letters[group >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

// Grey where every pixel is: a third of the bytes.
Pixels greyWhereItIs(const Pixels& pixels) {
  if (pixels.channels() != 3) return pixels;
  const Bytes& samples = pixels.samples();
  for (std::size_t i = 0; i + 2 < samples.size(); i += 3) {
    if (samples[i] != samples[i + 1] || samples[i] != samples[i + 2]) return pixels;
  }
  Pixels grey(pixels.width(), pixels.height(), 1, ColorKind::grey);
  for (std::size_t i = 0; i < grey.samples().size(); ++i) grey.samples()[i] = samples[3 * i];
  return grey;
}

}  // namespace

RenderedPage renderPage(const Renderer& renderer, const std::string& path, const std::string& password,
                        int page, double width, double height) {
  const std::string number = std::to_string(page);
  std::vector<std::string> command = {renderer.program, "-cropbox", "-f", number, "-l", number};
  const double longest = std::max(width, height) * renderer.dpi / 72;
  if (longest > renderer.longestSide) {
    command.insert(command.end(), {"-scale-to", std::to_string(renderer.longestSide)});
  } else {
    command.insert(command.end(), {"-r", std::to_string(renderer.dpi)});
  }
  if (!password.empty()) command.insert(command.end(), {"-upw", password});
  command.push_back(path);
  ProgramRun run = runProgram(command, {std::chrono::seconds(30)});
  RenderedPage rendered;
  rendered.pixels = readPpm(run.output);
  if (rendered.pixels.empty()) {
    rendered.problem = "pdftoppm " + (run.problem.empty() ? "drew nothing" : run.problem);
  }
  return rendered;
}

Pixels readPpm(const std::string& bytes) {
  if (!bytes.starts_with("P6")) return {};
  std::size_t position = 2;
  const std::uint32_t width = headerNumber(bytes, position);
  const std::uint32_t height = headerNumber(bytes, position);
  const std::uint32_t levels = headerNumber(bytes, position);
  if (levels != 255 || !optimizer::fitsPixelLimit(width, height, 3, 8)) return {};
  ++position;
  Pixels pixels(width, height, 3, ColorKind::rgb);
  if (position > bytes.size() || bytes.size() - position < pixels.samples().size()) return {};
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(position), pixels.samples().size(),
              pixels.samples().begin());
  return pixels;
}

Pixels differenceOf(const Pixels& left, const Pixels& right) {
  Pixels difference(left.width(), left.height(), 1, ColorKind::grey);
  for (std::size_t i = 0; i < difference.samples().size(); ++i) {
    int most = 0;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      most = std::max(most, std::abs(left.samples()[3 * i + channel] - right.samples()[3 * i + channel]));
    }
    difference.samples()[i] = static_cast<std::uint8_t>(std::min(255, 4 * most));
  }
  return difference;
}

std::string pictureAddress(const Pixels& pixels, bool exact) {
  const Pixels simple = greyWhereItIs(pixels);
  const Bytes png = pngOf(simple);
  if (!exact) {
    const auto jpeg = optimizer::encodeJpeg(simple, {90, false, true});
    if (jpeg.ok() && jpeg->data.size() + jpeg->data.size() / 2 < png.size()) {
      return "data:image/jpeg;base64," + base64(jpeg->data);
    }
  }
  return "data:image/png;base64," + base64(png);
}

}  // namespace kelvara
