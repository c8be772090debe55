#include "optimizer/image/color.h"

#include <array>
#include <cstdlib>
#include <vector>

#include "optimizer/image/lcms_handles.h"

namespace optimizer {
bool looksLikeDevice(const ImageColorSpace& space, int tolerance) {
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
  // Dark colours more closely: that is where the curves of profiles part.
  static constexpr std::array<std::uint8_t, 8> levels = {0, 10, 26, 51, 102, 153, 204, 255};
  const std::size_t steps = levels.size();
  std::vector<std::uint8_t> in, out;
  for (std::size_t i = 0; i < (grey ? steps : steps * steps * steps); ++i) {
    in.push_back(levels[i % steps]);
    if (grey) continue;
    in.push_back(levels[i / steps % steps]);
    in.push_back(levels[i / steps / steps]);
  }
  const std::size_t count = grey ? in.size() : in.size() / 3;
  out.resize(count * 3);
  for (const cmsUInt32Number intent : {INTENT_RELATIVE_COLORIMETRIC, INTENT_PERCEPTUAL}) {
    const TransformPtr transform(cmsCreateTransformTHR(context.get(), from.get(),
                                                       grey ? TYPE_GRAY_8 : TYPE_RGB_8, to.get(), TYPE_RGB_8,
                                                       intent, cmsFLAGS_NOCACHE));
    if (!transform) return false;
    cmsDoTransform(transform.get(), in.data(), out.data(), static_cast<cmsUInt32Number>(count));
    for (std::size_t i = 0; i < out.size(); ++i) {
      if (std::abs(int{out[i]} - int{grey ? in[i / 3] : in[i]}) > tolerance) return false;
    }
  }
  return true;
}

}  // namespace optimizer
