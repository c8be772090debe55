// Font programs are read, written, subset and checked, whatever the bytes say. The first byte chooses the
// format; the rest is the program. Beyond not crashing, what is written must be readable again, and say the
// same with subroutines as without.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>

#include "optimizer/font/cmap_text.h"
#include "optimizer/font/ps_font.h"
#include "optimizer/font/subset.h"
#include "optimizer/font/truetype.h"

namespace {

using namespace optimizer;

void roundTrip(const Result<font::PsFont>& parsed) {
  if (!parsed.ok()) return;
  const Result<Bytes> plain = font::writeCff(*parsed, font::Subroutines::none);
  const Result<Bytes> shared = font::writeCff(*parsed, font::Subroutines::build);
  if (plain.ok() != shared.ok()) std::abort();
  if (!plain.ok()) return;
  const Result<font::PsFont> one = font::readCff(*plain), other = font::readCff(*shared);
  if (!one.ok() || !other.ok() || one->glyphs.size() != parsed->glyphs.size()) std::abort();
  if (other->glyphs.size() != one->glyphs.size()) std::abort();
  for (std::size_t i = 0; i < one->glyphs.size(); ++i) {
    if (one->glyphs[i].outline != other->glyphs[i].outline) std::abort();
  }
}

// A Type 1 program whose second part is given in the clear, so that changes of its bytes reach the parser.
Bytes encrypted(ByteView program) {
  static constexpr std::string_view kMark = "eexec ";
  const auto mark = std::search(program.begin(), program.end(), kMark.begin(), kMark.end());
  if (mark == program.end()) return {};
  Bytes out(program.begin(), mark + kMark.size());
  std::uint16_t key = 55665;
  const auto put = [&](std::uint8_t plain) {
    const auto cipher = static_cast<std::uint8_t>(plain ^ (key >> 8));
    key = static_cast<std::uint16_t>((cipher + key) * 52845u + 22719u);
    out.push_back(cipher);
  };
  for (int i = 0; i < 4; ++i) put(0);
  for (auto at = mark + kMark.size(); at != program.end(); ++at) put(*at);
  return out;
}

font::ShownCodes someCodes(bool composite) {
  font::ShownCodes shown;
  shown.composite = composite;
  for (std::uint32_t code = 0; code < 256; code += 3) shown.codes.insert(code);
  shown.encoding.base = font::BaseEncoding::winAnsi;
  return shown;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const ByteView program(data + 1, size - 1);
  switch (data[0] % 7) {
    case 0:
      roundTrip(font::readType1(program));
      break;
    case 1:
      roundTrip(font::readCff(program));
      break;
    case 2:
      (void)font::subsetCff(program, {someCodes(false)});
      break;
    case 3:
      (void)font::subsetCff(program, {someCodes(true)});
      break;
    case 4:
      (void)font::subsetTrueType(program, {someCodes(false), someCodes(true)});
      break;
    case 5:
      roundTrip(font::readType1(encrypted(program)));
      break;
    default:
      if (const auto cmap = font::readCmapText(program)) {
        std::set<std::uint32_t> codes, cids;
        for (std::uint32_t code = 0; code < 0x10000; code += 7) codes.insert(code);
        (void)font::addCids(*cmap, codes, cids);
        const std::string text = font::writeToUnicode(*cmap);
        const auto again =
            font::readCmapText(ByteView(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
        if (!again || again->unicode != cmap->unicode) std::abort();
      }
      break;
  }
  return 0;
}
