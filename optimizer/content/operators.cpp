#include "optimizer/content/operators.h"

namespace optimizer::content {

Op operatorOf(std::string_view text) {
  const Op op = static_cast<Op>(operatorCode(text));
  switch (op) {
    case Op::closeFillStroke:
    case Op::fillStroke:
    case Op::closeEoFillStroke:
    case Op::eoFillStroke:
    case Op::beginMarkedDict:
    case Op::beginInlineImage:
    case Op::beginMarked:
    case Op::beginText:
    case Op::beginCompat:
    case Op::curve:
    case Op::concatMatrix:
    case Op::strokeColorSpace:
    case Op::fillColorSpace:
    case Op::dash:
    case Op::glyphWidth:
    case Op::glyphWidthBox:
    case Op::drawXObject:
    case Op::markedPointDict:
    case Op::endInlineImage:
    case Op::endMarked:
    case Op::endText:
    case Op::endCompat:
    case Op::fill:
    case Op::fillOld:
    case Op::eoFill:
    case Op::strokeGray:
    case Op::fillGray:
    case Op::graphicsState:
    case Op::closePath:
    case Op::flatness:
    case Op::inlineImageData:
    case Op::lineJoin:
    case Op::lineCap:
    case Op::strokeCmyk:
    case Op::fillCmyk:
    case Op::line:
    case Op::move:
    case Op::miterLimit:
    case Op::markedPoint:
    case Op::endPath:
    case Op::save:
    case Op::restore:
    case Op::rectangle:
    case Op::strokeRgb:
    case Op::fillRgb:
    case Op::renderingIntent:
    case Op::closeStroke:
    case Op::stroke:
    case Op::strokeColor:
    case Op::fillColor:
    case Op::strokeColorN:
    case Op::fillColorN:
    case Op::shade:
    case Op::nextLine:
    case Op::charSpacing:
    case Op::textMove:
    case Op::textMoveLeading:
    case Op::font:
    case Op::showText:
    case Op::showTextArray:
    case Op::leading:
    case Op::textMatrix:
    case Op::textRender:
    case Op::textRise:
    case Op::wordSpacing:
    case Op::horizontalScale:
    case Op::curveFromCurrent:
    case Op::lineWidth:
    case Op::clip:
    case Op::eoClip:
    case Op::curveToFinal:
    case Op::nextLineShow:
    case Op::nextLineShowSpaced:
      return op;
    case Op::unknown:
      break;
  }
  return Op::unknown;
}

}  // namespace optimizer::content
