#include "optimizer/image/color.h"

#include <lcms2.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

namespace optimizer {
namespace {

// Levels of 255 by which a colour may move without anyone seeing it, even side by side.
constexpr int sameColor = 5;

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct TransformCloser {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
struct ContextCloser {
  void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
using ProfilePtr = std::unique_ptr<void, ProfileCloser>;
using TransformPtr = std::unique_ptr<void, TransformCloser>;
using ContextPtr = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextCloser>;

}  // namespace

bool looksLikeDevice(const ImageColorSpace& space) {
  if (space.baseKind == ColorKind::other) return false;
  if (!space.profiled) return true;
  if (space.profile.empty() || space.baseKind == ColorKind::cmyk) return false;
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context) return false;
  const ProfilePtr from(cmsOpenProfileFromMemTHR(context.get(), space.profile.data(),
                                                 static_cast<cmsUInt32Number>(space.profile.size())));
  const ProfilePtr to(cmsCreate_sRGBProfileTHR(context.get()));
  if (!from || !to) return false;
  const bool grey = space.baseKind == ColorKind::grey;
  if (cmsGetColorSpace(from.get()) != (grey ? cmsSigGrayData : cmsSigRgbData)) return false;
  const TransformPtr transform(cmsCreateTransformTHR(context.get(), from.get(),
                                                     grey ? TYPE_GRAY_8 : TYPE_RGB_8, to.get(), TYPE_RGB_8,
                                                     INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE));
  if (!transform) return false;
  constexpr int steps = 6;  // 0, 51, … 255
  std::vector<std::uint8_t> in, out;
  for (int i = 0; i < (grey ? steps : steps * steps * steps); ++i) {
    in.push_back(static_cast<std::uint8_t>(i % steps * 51));
    if (grey) continue;
    in.push_back(static_cast<std::uint8_t>(i / steps % steps * 51));
    in.push_back(static_cast<std::uint8_t>(i / steps / steps * 51));
  }
  const std::size_t count = grey ? in.size() : in.size() / 3;
  out.resize(count * 3);
  cmsDoTransform(transform.get(), in.data(), out.data(), static_cast<cmsUInt32Number>(count));
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (std::abs(int{out[i]} - int{grey ? in[i / 3] : in[i]}) > sameColor) return false;
  }
  return true;
}

}  // namespace optimizer
