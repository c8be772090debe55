#include "optimizer/image/profile.h"

#include <cmath>

#include "optimizer/image/lcms_handles.h"

namespace optimizer {
namespace {

Bytes bytesOf(cmsHPROFILE profile) {
  cmsUInt32Number size = 0;
  if (profile == nullptr || !cmsSaveProfileToMem(profile, nullptr, &size) || size == 0) return {};
  Bytes bytes(size);
  if (!cmsSaveProfileToMem(profile, bytes.data(), &size)) return {};
  bytes.resize(size);
  // The time of creation, which lcms takes from the clock: the same picture gives the same file.
  constexpr std::size_t date = 24, dateSize = 12;
  static constexpr std::array<std::uint8_t, dateSize> fixedDate = {7, 208, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0};
  if (bytes.size() >= date + dateSize) std::copy(fixedDate.begin(), fixedDate.end(), bytes.begin() + date);
  return bytes;
}

// The curve of sRGB (IEC 61966-2-1), as lcms takes it.
CurvePtr srgbCurve(cmsContext context) {
  static constexpr cmsFloat64Number parameters[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
  return CurvePtr(cmsBuildParametricToneCurve(context, 4, parameters));
}

bool isWhitePoint(const std::array<double, 3>& xyz) {
  return std::isfinite(xyz[0] + xyz[2]) && xyz[0] > 0.01 && xyz[0] < 10 && xyz[1] == 1 && xyz[2] > 0.01 &&
         xyz[2] < 10;
}

bool isGamma(double gamma) { return gamma > 0.05 && gamma < 20; }

cmsCIExyY chromaticityOf(double x, double y, double z) {
  const cmsCIEXYZ xyz = {x, y, z};
  cmsCIExyY point;
  cmsXYZ2xyY(&point, &xyz);
  return point;
}

}  // namespace

Bytes srgbProfile() {
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context) return {};
  const ProfilePtr profile(cmsCreate_sRGBProfileTHR(context.get()));
  if (profile) cmsSetProfileVersion(profile.get(), 2.1);  // read by everything, PDF 1.4 included
  return bytesOf(profile.get());
}

Bytes greyProfile() {
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context) return {};
  const CurvePtr curve = srgbCurve(context.get());
  if (!curve) return {};
  const ProfilePtr profile(cmsCreateGrayProfileTHR(context.get(), cmsD50_xyY(), curve.get()));
  if (profile) cmsSetProfileVersion(profile.get(), 2.1);
  return bytesOf(profile.get());
}

Bytes calibratedGrey(const std::array<double, 3>& whitePoint, double gamma) {
  if (!isWhitePoint(whitePoint) || !isGamma(gamma)) return {};
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context) return {};
  const CurvePtr curve(cmsBuildGamma(context.get(), gamma));
  if (!curve) return {};
  // Relative to its own white, which becomes the white of the paper.
  const ProfilePtr profile(cmsCreateGrayProfileTHR(context.get(), cmsD50_xyY(), curve.get()));
  return bytesOf(profile.get());
}

Bytes calibratedRgb(const std::array<double, 3>& whitePoint, const std::array<double, 3>& gamma,
                    const std::array<double, 9>& matrix) {
  if (!isWhitePoint(whitePoint)) return {};
  for (double g : gamma) {
    if (!isGamma(g)) return {};
  }
  cmsCIExyYTRIPLE primaries;
  cmsCIExyY* points[] = {&primaries.Red, &primaries.Green, &primaries.Blue};
  for (std::size_t c = 0; c < 3; ++c) {
    const double sum = matrix[3 * c] + matrix[3 * c + 1] + matrix[3 * c + 2];
    if (!std::isfinite(sum) || sum < 1e-4 || sum > 100) return {};
    *points[c] = chromaticityOf(matrix[3 * c], matrix[3 * c + 1], matrix[3 * c + 2]);
  }
  // A profile's primaries make its white; a matrix that makes another is no calibration that a profile could
  // hold.
  for (std::size_t i = 0; i < 3; ++i) {
    if (std::abs(matrix[i] + matrix[3 + i] + matrix[6 + i] - whitePoint[i]) > 0.02) return {};
  }
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context) return {};
  const CurvePtr red(cmsBuildGamma(context.get(), gamma[0])), green(cmsBuildGamma(context.get(), gamma[1])),
      blue(cmsBuildGamma(context.get(), gamma[2]));
  if (!red || !green || !blue) return {};
  cmsToneCurve* curves[] = {red.get(), green.get(), blue.get()};
  const cmsCIExyY white = chromaticityOf(whitePoint[0], whitePoint[1], whitePoint[2]);
  const ProfilePtr profile(cmsCreateRGBProfileTHR(context.get(), &white, &primaries, curves));
  return bytesOf(profile.get());
}

bool profileIsFor(const Bytes& profile, ColorKind kind) {
  const ContextPtr context(cmsCreateContext(nullptr, nullptr));
  if (!context || profile.empty()) return false;
  const ProfilePtr opened(
      cmsOpenProfileFromMemTHR(context.get(), profile.data(), static_cast<cmsUInt32Number>(profile.size())));
  if (!opened) return false;
  const cmsColorSpaceSignature space = cmsGetColorSpace(opened.get());
  return (kind == ColorKind::grey && space == cmsSigGrayData) ||
         (kind == ColorKind::rgb && space == cmsSigRgbData) ||
         (kind == ColorKind::cmyk && space == cmsSigCmykData);
}

}  // namespace optimizer
