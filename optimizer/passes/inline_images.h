// Inline images that stand as image objects while images are worked on: what the pass that lifted them tells
// the pass that puts back those for which it did not pay.
#pragma once

#include <cstddef>
#include <qpdf/QPDFObjectHandle.hh>
#include <string>
#include <vector>

#include "optimizer/base/bytes.h"

namespace optimizer {

struct LiftedImage {
  std::string name;                      // "/II1", under XObject in the Resources of every owner
  std::vector<QPDFObjectHandle> owners;  // pages, forms, patterns and Type 3 fonts whose content draws it
  std::size_t inlineBytes = 0;           // what it takes in the file as it was
};

struct LiftedStream {
  struct Span {
    std::size_t begin, end;  // from BI to behind EI, in the decoded stream
    std::size_t image;       // index into LiftedImages::images
  };
  QPDFObjectHandle stream, original;
  std::vector<Span> spans;  // in order
};

struct LiftedImages {
  std::vector<LiftedImage> images;
  std::vector<LiftedStream> streams;
};

// The Resources of such an owner; null where it has none.
QPDFObjectHandle resourcesOfOwner(QPDFObjectHandle owner);

// Content with each span replaced by an operator that draws the image of its name.
Bytes withImagesNamed(ByteView content, const std::vector<LiftedStream::Span>& spans,
                      const std::vector<LiftedImage>& images);

}  // namespace optimizer
