// Pages as pictures: rendered by poppler's pdftoppm, and written for a page in the browser.
#pragma once

#include <string>

#include "optimizer/base/result.h"
#include "optimizer/image/pixels.h"

namespace kelvara {

struct RenderedPage {
  optimizer::Pixels pixels;  // RGB, 8 bits; empty when there is none
  std::string problem;       // then why
};

// What rendering takes besides the file.
struct Renderer {
  std::string program;  // the path of pdftoppm
  int dpi = 100;
  int longestSide = 2400;  // samples; larger pages are rendered more coarsely
};

// page: from 1. width, height: of the page in points, as near as they are known.
RenderedPage renderPage(const Renderer& renderer, const std::string& path, const std::string& password,
                        int page, double width, double height);

// A binary PPM (P6, 255 levels) as pixels; empty when it is none.
optimizer::Pixels readPpm(const std::string& bytes);

// The difference of two pictures of the same size, four times as strong: black where they are alike.
optimizer::Pixels differenceOf(const optimizer::Pixels& left, const optimizer::Pixels& right);

// A picture as a "data:" address: PNG (ISO/IEC 15948) where that is about as small as JPEG, else JPEG.
std::string pictureAddress(const optimizer::Pixels& pixels, bool exact);

}  // namespace kelvara
