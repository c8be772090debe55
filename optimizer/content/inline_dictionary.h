// The dictionary of an inline image in the words of an image XObject (ISO 32000-1, 8.9.7, Tables 93 and 94).
#pragma once

#include <optional>
#include <qpdf/QPDFObjectHandle.hh>

#include "optimizer/content/reader.h"

namespace optimizer::content {

// image: an inline image. colorSpaces: the ColorSpace category of the resources of its content, or null.
// Keys, colour spaces and filters have their full names; a colour space that is a resource stands for itself.
// Nothing where readers might understand the image in different ways: a key given twice or not listed in the
// standard, a resource under the name of a device space, a filter that inline images cannot have.
std::optional<QPDFObjectHandle> inlineImageDictionary(const Instruction& image, QPDFObjectHandle colorSpaces);

// Whether nothing inside the data could be taken for its end, so that all readers find the same one.
bool endsUnmistakably(const Instruction& image);

}  // namespace optimizer::content
