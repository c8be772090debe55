// Lossy JPEG 2000, our own encoder: a picture is coded once and then cut to any size.
#pragma once

#include <cstddef>
#include <memory>

#include "optimizer/base/result.h"
#include "optimizer/codec/codec.h"
#include "optimizer/codec/jpx_rate.h"
#include "optimizer/image/pixels.h"

namespace optimizer {

class JpxCoding {
 public:
  // Takes pixels of 8 bits, grey or RGB, up to 32768 on a side. mostBytes: the largest size that will be
  // asked for; finer than it takes the picture is not coded. Errors: unsupported.
  static Result<JpxCoding> begin(const Pixels& pixels, std::size_t mostBytes);

  // What is left of the picture in at most so many bytes. A few hundred are needed for any.
  jpx::Cuts cutTo(std::size_t bytes) { return cutAt(slopesFor(bytes)); }
  // The same in two steps, in between of which either slope may be made steeper: for fewer bytes, or flatter:
  // where the picture was coded finely enough, for more.
  jpx::Slopes slopesFor(std::size_t bytes);
  jpx::Cuts cutAt(const jpx::Slopes& slopes) const { return rate_->cutsAt(slopes); }
  // Bytes of the file.
  std::size_t sizeOf(const jpx::Cuts& cuts) const { return jpx::sizeOfJp2(*picture_, cuts); }
  // Of such a cut: what a decoder shows, but for rounding, and a JP2 file.
  Pixels shown(const jpx::Cuts& cuts);
  EncodedImage encoded(const jpx::Cuts& cuts) const;
  // The same as shown, at half the size, rounded up.
  Pixels shownHalved(const jpx::Cuts& cuts) const;

 private:
  JpxCoding(const Pixels& pixels, std::size_t mostBytes);
  void code();

  std::size_t mostBytes_;
  double ones_ = 0;                         // coefficients that are to be coded as something else than zero
  std::vector<jpx::Samples> coefficients_;  // once they are coded, room for those that are shown
  std::unique_ptr<jpx::CodedPicture> picture_;
  std::unique_ptr<jpx::RateControl> rate_;
};

}  // namespace optimizer
