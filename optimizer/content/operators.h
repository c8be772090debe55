// The operators of content streams (ISO 32000-1, annex A).
#pragma once

#include <cstdint>
#include <string_view>

namespace optimizer::content {

// An operator's own characters as its value: "BT" is 'B' << 8 | 'T'.
constexpr std::uint32_t operatorCode(std::string_view text) {
  if (text.empty() || text.size() > 3) {
    return 0;
  }
  std::uint32_t code = 0;
  for (char byte : text) {
    code = code << 8 | static_cast<std::uint8_t>(byte);
  }
  return code;
}

enum class Op : std::uint32_t {
  unknown = 0,
  closeFillStroke = operatorCode("b"),
  fillStroke = operatorCode("B"),
  closeEoFillStroke = operatorCode("b*"),
  eoFillStroke = operatorCode("B*"),
  beginMarkedDict = operatorCode("BDC"),
  beginInlineImage = operatorCode("BI"),
  beginMarked = operatorCode("BMC"),
  beginText = operatorCode("BT"),
  beginCompat = operatorCode("BX"),
  curve = operatorCode("c"),
  concatMatrix = operatorCode("cm"),
  strokeColorSpace = operatorCode("CS"),
  fillColorSpace = operatorCode("cs"),
  dash = operatorCode("d"),
  glyphWidth = operatorCode("d0"),
  glyphWidthBox = operatorCode("d1"),
  drawXObject = operatorCode("Do"),
  markedPointDict = operatorCode("DP"),
  endInlineImage = operatorCode("EI"),
  endMarked = operatorCode("EMC"),
  endText = operatorCode("ET"),
  endCompat = operatorCode("EX"),
  fill = operatorCode("f"),
  fillOld = operatorCode("F"),
  eoFill = operatorCode("f*"),
  strokeGray = operatorCode("G"),
  fillGray = operatorCode("g"),
  graphicsState = operatorCode("gs"),
  closePath = operatorCode("h"),
  flatness = operatorCode("i"),
  inlineImageData = operatorCode("ID"),
  lineJoin = operatorCode("j"),
  lineCap = operatorCode("J"),
  strokeCmyk = operatorCode("K"),
  fillCmyk = operatorCode("k"),
  line = operatorCode("l"),
  move = operatorCode("m"),
  miterLimit = operatorCode("M"),
  markedPoint = operatorCode("MP"),
  endPath = operatorCode("n"),
  save = operatorCode("q"),
  restore = operatorCode("Q"),
  rectangle = operatorCode("re"),
  strokeRgb = operatorCode("RG"),
  fillRgb = operatorCode("rg"),
  renderingIntent = operatorCode("ri"),
  closeStroke = operatorCode("s"),
  stroke = operatorCode("S"),
  strokeColor = operatorCode("SC"),
  fillColor = operatorCode("sc"),
  strokeColorN = operatorCode("SCN"),
  fillColorN = operatorCode("scn"),
  shade = operatorCode("sh"),
  nextLine = operatorCode("T*"),
  charSpacing = operatorCode("Tc"),
  textMove = operatorCode("Td"),
  textMoveLeading = operatorCode("TD"),
  font = operatorCode("Tf"),
  showText = operatorCode("Tj"),
  showTextArray = operatorCode("TJ"),
  leading = operatorCode("TL"),
  textMatrix = operatorCode("Tm"),
  textRender = operatorCode("Tr"),
  textRise = operatorCode("Ts"),
  wordSpacing = operatorCode("Tw"),
  horizontalScale = operatorCode("Tz"),
  curveFromCurrent = operatorCode("v"),
  lineWidth = operatorCode("w"),
  clip = operatorCode("W"),
  eoClip = operatorCode("W*"),
  curveToFinal = operatorCode("y"),
  nextLineShow = operatorCode("'"),
  nextLineShowSpaced = operatorCode("\""),
};

// Op::unknown for anything that is not in the enumeration above.
Op operatorOf(std::string_view text);

}  // namespace optimizer::content
