#include "optimizer/codec/ccitt_codes.h"

namespace optimizer::ccitt {

namespace {

// {bits, length} of runs 0 to 63, then 64 to 1728 by 64, then the words common to both colours, 1792 to 2560.
constexpr RunCodes whiteRuns = {{{
    {0x35, 8},  {0x07, 6},  {0x07, 4},  {0x08, 4},  {0x0B, 4},  {0x0C, 4},  {0x0E, 4},  {0x0F, 4},
    {0x13, 5},  {0x14, 5},  {0x07, 5},  {0x08, 5},  {0x08, 6},  {0x03, 6},  {0x34, 6},  {0x35, 6},
    {0x2A, 6},  {0x2B, 6},  {0x27, 7},  {0x0C, 7},  {0x08, 7},  {0x17, 7},  {0x03, 7},  {0x04, 7},
    {0x28, 7},  {0x2B, 7},  {0x13, 7},  {0x24, 7},  {0x18, 7},  {0x02, 8},  {0x03, 8},  {0x1A, 8},
    {0x1B, 8},  {0x12, 8},  {0x13, 8},  {0x14, 8},  {0x15, 8},  {0x16, 8},  {0x17, 8},  {0x28, 8},
    {0x29, 8},  {0x2A, 8},  {0x2B, 8},  {0x2C, 8},  {0x2D, 8},  {0x04, 8},  {0x05, 8},  {0x0A, 8},
    {0x0B, 8},  {0x52, 8},  {0x53, 8},  {0x54, 8},  {0x55, 8},  {0x24, 8},  {0x25, 8},  {0x58, 8},
    {0x59, 8},  {0x5A, 8},  {0x5B, 8},  {0x4A, 8},  {0x4B, 8},  {0x32, 8},  {0x33, 8},  {0x34, 8},
    {0x1B, 5},  {0x12, 5},  {0x17, 6},  {0x37, 7},  {0x36, 8},  {0x37, 8},  {0x64, 8},  {0x65, 8},
    {0x68, 8},  {0x67, 8},  {0xCC, 9},  {0xCD, 9},  {0xD2, 9},  {0xD3, 9},  {0xD4, 9},  {0xD5, 9},
    {0xD6, 9},  {0xD7, 9},  {0xD8, 9},  {0xD9, 9},  {0xDA, 9},  {0xDB, 9},  {0x98, 9},  {0x99, 9},
    {0x9A, 9},  {0x18, 6},  {0x9B, 9},  {0x08, 11}, {0x0C, 11}, {0x0D, 11}, {0x12, 12}, {0x13, 12},
    {0x14, 12}, {0x15, 12}, {0x16, 12}, {0x17, 12}, {0x1C, 12}, {0x1D, 12}, {0x1E, 12}, {0x1F, 12},
}}};

constexpr RunCodes blackRuns = {{{
    {0x37, 10}, {0x02, 3},  {0x03, 2},  {0x02, 2},  {0x03, 3},  {0x03, 4},  {0x02, 4},  {0x03, 5},
    {0x05, 6},  {0x04, 6},  {0x04, 7},  {0x05, 7},  {0x07, 7},  {0x04, 8},  {0x07, 8},  {0x18, 9},
    {0x17, 10}, {0x18, 10}, {0x08, 10}, {0x67, 11}, {0x68, 11}, {0x6C, 11}, {0x37, 11}, {0x28, 11},
    {0x17, 11}, {0x18, 11}, {0xCA, 12}, {0xCB, 12}, {0xCC, 12}, {0xCD, 12}, {0x68, 12}, {0x69, 12},
    {0x6A, 12}, {0x6B, 12}, {0xD2, 12}, {0xD3, 12}, {0xD4, 12}, {0xD5, 12}, {0xD6, 12}, {0xD7, 12},
    {0x6C, 12}, {0x6D, 12}, {0xDA, 12}, {0xDB, 12}, {0x54, 12}, {0x55, 12}, {0x56, 12}, {0x57, 12},
    {0x64, 12}, {0x65, 12}, {0x52, 12}, {0x53, 12}, {0x24, 12}, {0x37, 12}, {0x38, 12}, {0x27, 12},
    {0x28, 12}, {0x58, 12}, {0x59, 12}, {0x2B, 12}, {0x2C, 12}, {0x5A, 12}, {0x66, 12}, {0x67, 12},
    {0x0F, 10}, {0xC8, 12}, {0xC9, 12}, {0x5B, 12}, {0x33, 12}, {0x34, 12}, {0x35, 12}, {0x6C, 13},
    {0x6D, 13}, {0x4A, 13}, {0x4B, 13}, {0x4C, 13}, {0x4D, 13}, {0x72, 13}, {0x73, 13}, {0x74, 13},
    {0x75, 13}, {0x76, 13}, {0x77, 13}, {0x52, 13}, {0x53, 13}, {0x54, 13}, {0x55, 13}, {0x5A, 13},
    {0x5B, 13}, {0x64, 13}, {0x65, 13}, {0x08, 11}, {0x0C, 11}, {0x0D, 11}, {0x12, 12}, {0x13, 12},
    {0x14, 12}, {0x15, 12}, {0x16, 12}, {0x17, 12}, {0x1C, 12}, {0x1D, 12}, {0x1E, 12}, {0x1F, 12},
}}};

RunTable makeRunTable(const RunCodes& runs) {
  RunTable table;
  for (std::size_t i = 0; i < runs.codes.size(); ++i) {
    Code code = runs.codes[i];
    RunEntry entry{static_cast<std::int16_t>(i < 64 ? i : (i - 63) * 64), code.length};
    unsigned free = runBits - code.length;
    for (unsigned k = 0; k < 1u << free; ++k) table[(static_cast<unsigned>(code.bits) << free) + k] = entry;
  }
  return table;
}

ModeTable makeModeTable() {
  ModeTable table;
  auto put = [&](Code code, ModeEntry entry) {
    entry.length = code.length;
    unsigned free = modeBits - code.length;
    for (unsigned k = 0; k < 1u << free; ++k) table[(static_cast<unsigned>(code.bits) << free) + k] = entry;
  };
  put(passCode, {Mode::pass, 0, 0});
  put(horizontalCode, {Mode::horizontal, 0, 0});
  for (int shift = -3; shift <= 3; ++shift)
    put(verticalCodes[static_cast<std::size_t>(shift + 3)],
        {Mode::vertical, static_cast<std::int8_t>(shift), 0});
  put({1, 7}, {Mode::extension, 0, 0});
  put({0, 7}, {Mode::endOfLine, 0, 0});
  return table;
}

}  // namespace

const RunCodes& whiteCodes() { return whiteRuns; }
const RunCodes& blackCodes() { return blackRuns; }
const RunTable& whiteTable() {
  static const RunTable table = makeRunTable(whiteRuns);
  return table;
}
const RunTable& blackTable() {
  static const RunTable table = makeRunTable(blackRuns);
  return table;
}
const ModeTable& modeTable() {
  static const ModeTable table = makeModeTable();
  return table;
}

}  // namespace optimizer::ccitt
