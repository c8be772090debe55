// lcms2's objects with owners.
#pragma once

#include <lcms2.h>

#include <memory>
#include <type_traits>

namespace optimizer {

struct ProfileCloser {
  void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct TransformCloser {
  void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
struct ContextCloser {
  void operator()(cmsContext context) const { cmsDeleteContext(context); }
};
struct CurveCloser {
  void operator()(cmsToneCurve* curve) const { cmsFreeToneCurve(curve); }
};
using ProfilePtr = std::unique_ptr<void, ProfileCloser>;
using TransformPtr = std::unique_ptr<void, TransformCloser>;
using ContextPtr = std::unique_ptr<std::remove_pointer_t<cmsContext>, ContextCloser>;
using CurvePtr = std::unique_ptr<cmsToneCurve, CurveCloser>;

}  // namespace optimizer
