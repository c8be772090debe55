#include "optimizer/image/codec_rules.h"

namespace optimizer {
namespace {

bool isBitonal(const ImageSource& source) {
  return source.stencil || (source.bits == 1 && source.color.kind == ColorKind::grey);
}

// The masks' codecs that this engine writes.
constexpr std::uint32_t kWritten = codecBit(Codec::jpeg) | codecBit(Codec::flate) | codecBit(Codec::bitonal) |
                                   codecBit(Codec::jpeg2000) | codecBit(Codec::automatic);

}  // namespace

Codec presentCodec(const ImageSource& source) {
  switch (source.coding) {
    case ImageCoding::jpeg:
      return Codec::jpeg;
    case ImageCoding::jpx:
      return Codec::jpeg2000;
    case ImageCoding::ccitt:
    case ImageCoding::jbig2:
      return Codec::bitonal;
    case ImageCoding::flate:
      return Codec::flate;
    case ImageCoding::raw:
      break;
  }
  return Codec::none;
}

bool CodecRules::may(std::uint32_t mask, Codec codec) const {
  if (allows(mask, codec)) return true;
  if (!allows(mask, Codec::automatic)) return false;
  return codec == Codec::flate || codec == Codec::bitonal || codec == presentCodec(source_);
}

bool CodecRules::mustChange() const {
  if (!settings_.forceCompressionTypes) return false;
  const std::uint32_t mask = isBitonal(source_)                         ? settings_.bitonalCodecs
                             : source_.color.kind == ColorKind::indexed ? settings_.indexedCodecs
                                                                        : settings_.continuousCodecs;
  return (mask & kWritten) != 0 && !may(mask, presentCodec(source_));
}

bool CodecRules::mustBecomeBitonal() const {
  return settings_.forceCompressionTypes &&
         (settings_.continuousCodecs & kWritten) == codecBit(Codec::bitonal) && !isBitonal(source_) &&
         source_.color.kind != ColorKind::indexed;
}

}  // namespace optimizer
