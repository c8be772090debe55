// What the codec masks of the settings allow for one image.
#pragma once

#include "optimizer/image/source.h"
#include "optimizer/settings/settings.h"

namespace optimizer {

class CodecRules {
 public:
  CodecRules(const ImageSource& source, const Settings& settings) : source_(source), settings_(settings) {}

  // Whether pixels of each class may be coded so. Automatic allows the codings without loss, and the present
  // one.
  bool bitonal(Codec codec) const { return may(settings_.bitonalCodecs, codec); }
  bool indexed(Codec codec) const { return may(settings_.indexedCodecs, codec); }
  bool continuous(Codec codec) const { return may(settings_.continuousCodecs, codec); }

  // JPEG 2000 is of PDF 1.5.
  bool jpeg2000() const {
    return allows(settings_.continuousCodecs, Codec::jpeg2000) && !settings_.onlyPdf14;
  }

  // The present coding is not among those allowed, and must be left whatever the size.
  bool mustChange() const;
  // Grey and colours must become black and white: nothing else is allowed for them.
  bool mustBecomeBitonal() const;

 private:
  bool may(std::uint32_t mask, Codec codec) const;

  const ImageSource& source_;
  const Settings& settings_;
};

// The codec in which the image stands in the file.
Codec presentCodec(const ImageSource& source);

}  // namespace optimizer
