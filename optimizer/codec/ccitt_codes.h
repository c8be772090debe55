// The code words of facsimile coding (ITU-T T.4, Tables 2 and 3; T.6, Table 1).
#pragma once

#include <array>
#include <cstdint>

namespace optimizer::ccitt {

struct Code {
  std::uint16_t bits = 0;
  std::uint8_t length = 0;
};

// Code words of one colour: runs 0 to 63, then 64, 128 … 2560 at 64 + run / 64 - 1.
struct RunCodes {
  std::array<Code, 64 + 40> codes;
};
const RunCodes& whiteCodes();
const RunCodes& blackCodes();

enum class Mode : std::uint8_t { pass, horizontal, vertical, extension, endOfLine, invalid };

// What a decoder finds at the front of the next bits.
struct RunEntry {
  std::int16_t run = -1;  // -1: no code word
  std::uint8_t length = 0;
};
struct ModeEntry {
  Mode mode = Mode::invalid;
  std::int8_t shift = 0;  // of a vertical mode: a1 - b1
  std::uint8_t length = 0;
};
constexpr int runBits = 13, modeBits = 7;
using RunTable = std::array<RunEntry, 1 << runBits>;
using ModeTable = std::array<ModeEntry, 1 << modeBits>;
const RunTable& whiteTable();
const RunTable& blackTable();
const ModeTable& modeTable();

constexpr Code passCode{0b0001, 4}, horizontalCode{0b001, 3}, endOfLineCode{1, 12};
// Vertical modes -3 to 3 at shift + 3.
constexpr std::array<Code, 7> verticalCodes = {
    {{0b0000010, 7}, {0b000010, 6}, {0b010, 3}, {1, 1}, {0b011, 3}, {0b000011, 6}, {0b0000011, 7}}};

}  // namespace optimizer::ccitt
